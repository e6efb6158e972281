// What a plug-in that has been taken over would try.
#pragma once

#include <istream>
#include <string>

/// Makes one attempt: its name and its argument come from `words`. "ok", or the name of the error
/// that the system answered with.
std::string attempt(std::istream& words);
