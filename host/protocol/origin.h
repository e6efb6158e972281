#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace websocket {

/// Where a page came from, as browsers tell it: scheme, host and port, in lower case, with the
/// scheme's usual port where none is named.
struct Origin {
    std::string scheme;
    std::string host;
    unsigned port = 0;

    bool operator==(const Origin&) const = default;
};

/// Reads "scheme://host[:port]". Nothing when the text is anything else, "null" among them.
std::optional<Origin> parseOrigin(std::string_view text);

/// The origin that a request was sent to: the scheme of its connection and its Host header.
std::optional<Origin> originOfRequest(std::string_view scheme, std::string_view hostHeader);

}  // namespace websocket
