// Feeds the readers of a handshake's headers with anything.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/protocol/origin.h"
#include "host/protocol/token_list.h"

namespace {

/// So many elements are looked for in the list: a long list has hundreds.
constexpr std::size_t kLookedFor = 4;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::size_t elements = 0;
    for (const std::string_view element : websocket::splitList(text)) {
        const bool inside =
            element.data() >= text.data() && element.data() + element.size() <= text.data() + size;
        if (element.empty() || !inside ||
            (++elements <= kLookedFor && !websocket::listHas(text, element))) {
            std::abort();
        }
        websocket::isToken(element);
    }
    const auto origin = websocket::parseOrigin(text);
    if (origin && (origin->host.empty() || origin->port > 65535 ||
                   *websocket::parseOrigin(text) != *origin)) {
        std::abort();
    }
    const auto scheme = text.substr(0, text.find('\n'));
    websocket::originOfRequest(scheme, text.substr(scheme.size()));
    websocket::originOfRequest("https", text);
    return 0;
}
