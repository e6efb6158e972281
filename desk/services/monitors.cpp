#include "desk/services/monitors.h"

#include <algorithm>

namespace desk {

namespace {

std::string firstPart(const std::string& name) {
    return name.substr(0, name.find('.'));
}

/// Without what stands behind the second point, or, where there is but one, behind that.
std::string subject(const std::string& name) {
    const std::size_t first = name.find('.');
    const std::size_t second = first == std::string::npos ? first : name.find('.', first + 1);
    return name.substr(0, second == std::string::npos ? first : second);
}

}  // namespace

std::vector<Monitor> makeMonitors(const std::vector<SignalConfig>& signals) {
    const bool differ = std::any_of(signals.begin(), signals.end(), [&](const SignalConfig& other) {
        return firstPart(other.instanceName) != firstPart(signals.front().instanceName);
    });
    std::vector<Monitor> monitors;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const std::string& signal = signals[i].instanceName;
        const std::string name = differ ? firstPart(signal) : subject(signal);
        auto monitor = std::find_if(monitors.begin(), monitors.end(),
                                    [&](const Monitor& known) { return known.name == name; });
        if (monitor == monitors.end()) {
            if (monitors.size() == kMostMonitors) {
                continue;
            }
            monitor = monitors.insert(monitor, {name, {}});
        }
        monitor->signals.push_back(i);
    }
    return monitors;
}

}  // namespace desk
