// Writing JSON documents as text.
#pragma once

#include <cstddef>
#include <string>

#include "json/document.h"

/// The document as pretty-printed text: zero-terminated, valid UTF-8 whatever it holds, obtained
/// with malloc; the caller releases it with free. Ill-formed bytes are replaced by U+FFFD and a
/// number that is not finite is written as the text "NaN", "Infinity" or "-Infinity": a browser
/// must not lose its connection over one odd value. Null, after an "[ERROR] " line, when nothing
/// could be written. Any thread.
char* dom_to_json(const Document* doc);

/// The same as a string, and logged; empty when there is nothing. Any thread.
std::string dom_to_string(const Document* doc);

/// Whether dom_to_json() would write more than `limit` bytes. Takes no memory for the text and
/// stops at the limit. Any thread.
bool isLongerThan(const Document& doc, std::size_t limit);
