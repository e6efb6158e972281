// The display name of a logger's device type.
#pragma once

#include <string_view>

/// Chosen from the device class and the sub-type of the logger's device components.
std::string_view getLoggerType(unsigned int deviceClass, unsigned int subType);

/// Whether the device is a control unit that is held in the hand.
bool isHandheldControlUnit(unsigned int deviceClass, unsigned int subType);
