// What a database file holds, as text.
#pragma once

#include <string>
#include <string_view>

namespace dbc {

/// The bytes of a file as UTF-8: as they are where they are well-formed, otherwise from
/// Windows-1252, in which most tools write. Byte order marks, zero bytes and the end mark of old
/// systems (1Ah) are left out.
std::string toText(std::string_view bytes);

}  // namespace dbc
