#include "desk/can/frame_input.h"

#include <algorithm>

namespace desk::can {

std::optional<std::uint8_t> InterfaceNames::placeOf(std::string_view name) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) {
        if (names_.size() == kMost) {
            return std::nullopt;
        }
        names_.emplace_back(name);
        return static_cast<std::uint8_t>(names_.size() - 1);
    }
    return static_cast<std::uint8_t>(found - names_.begin());
}

std::vector<std::string> InterfaceNames::list() const {
    const std::lock_guard lock(mutex_);
    return names_;
}

}  // namespace desk::can
