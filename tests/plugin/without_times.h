// Making log texts comparable.
#pragma once

#include <string>
#include <string_view>

// The text with every UTC time, duration and thread number in it replaced by "<time>", "<ms>" and
// "<tid>".
std::string withoutTimes(std::string_view text);
