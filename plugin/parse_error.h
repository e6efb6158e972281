// The parser's errors in English.
#pragma once

namespace klv {

/// The text for an error code of the JSON parser, from 0 to 17; "Unknown error." for any other.
/// Our own table: the library's wording differs in one place, and browsers are shown these texts.
const char* parseErrorText(int code);

}  // namespace klv
