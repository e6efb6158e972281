#include "network/logger_type.h"

namespace {

constexpr unsigned int kHandheldClass = 16;
constexpr unsigned int kControlUnit = 21;

std::string_view handheldType(unsigned int subType) {
    switch (subType) {
        case kControlUnit:
            return "Handheld Control Unit";
        case 22:
            return "Stratolog Relay";
        default:
            return "Stratolog Pocket";
    }
}

}  // namespace

std::string_view getLoggerType(unsigned int deviceClass, unsigned int subType) {
    switch (deviceClass) {
        case 1:
        case 6:
            return "Stratolog2";
        case kHandheldClass:
            return handheldType(subType);
        case 112:
            return subType == 113 ? "Stratolog Bus Recorder" : "Stratolog Sprint";
        default:
            return "unknown";
    }
}

bool isHandheldControlUnit(unsigned int deviceClass, unsigned int subType) {
    return deviceClass == kHandheldClass && subType == kControlUnit;
}
