#include "desk/option_values.h"

namespace desk {

void reject(const std::string& option, const std::string& why) {
    throw CLI::ValidationError(option, why);
}

Milliseconds readDuration(const std::string& option, const std::string& text) {
    const auto duration = parseDuration(text);
    if (!duration) {
        reject(option, durationHelp(text));
    }
    return *duration;
}

}  // namespace desk
