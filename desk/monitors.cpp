#include "desk/monitors.h"

#include <algorithm>

namespace desk {

namespace {

std::string firstPart(const std::string& name) {
    return name.substr(0, name.find('.'));
}

std::string allButLastPart(const std::string& name) {
    return name.substr(0, name.rfind('.'));
}

}  // namespace

std::vector<Monitor> makeMonitors(const std::vector<SignalConfig>& signals) {
    const bool differ = std::any_of(signals.begin(), signals.end(), [&](const SignalConfig& other) {
        return firstPart(other.instanceName) != firstPart(signals.front().instanceName);
    });
    std::vector<Monitor> monitors;
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const std::string& signal = signals[i].instanceName;
        const std::string name = differ ? firstPart(signal) : allButLastPart(signal);
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
