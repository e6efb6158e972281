#pragma once

#include <string_view>
#include <vector>

namespace websocket {

/// The elements of a comma-separated header value, in order, without the blanks around them. Empty
/// elements are left out, as HTTP lists allow them. The views point into `list`.
std::vector<std::string_view> splitList(std::string_view list);

/// Whether the list has this element, in any case of its letters.
bool listHas(std::string_view list, std::string_view element);

/// Whether the text is an HTTP token, as a sub-protocol's name has to be.
bool isToken(std::string_view text);

/// Whether two texts are equal but for the case of their ASCII letters.
bool equalIgnoringCase(std::string_view a, std::string_view b);

}  // namespace websocket
