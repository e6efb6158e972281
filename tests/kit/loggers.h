// The loggers of the tests' networks, by their hardware addresses.
#pragma once

#include <string>

inline const std::string kLocalLogger = "02:00:00:00:00:01";
inline const std::string kOtherLogger = "02:00:00:00:00:02";
inline const std::string kThirdLogger = "02:00:00:00:00:03";
