// Reading the files that describe CAN buses: .dbc.
#pragma once

#include <filesystem>
#include <string_view>

#include "desk/dbc/database.h"

namespace dbc {

/// Reads the bytes of a database. Sections may come in any order, and what real files damage is
/// taken with a remark; a message or signal that is not understood is left out with one. Throws
/// std::invalid_argument that says what was expected in which line, where there is nothing of a
/// database at all.
Database readDatabase(std::string_view bytes);

/// Reads a file. Throws std::invalid_argument that names it, also where it cannot be read.
Database readDatabaseFile(const std::filesystem::path& file);

}  // namespace dbc
