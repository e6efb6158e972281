#include "host/protocol/origin.h"

#include <algorithm>
#include <charconv>

namespace websocket {

namespace {

std::string lowered(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return out;
}

unsigned usualPort(std::string_view scheme) {
    if (scheme == "http" || scheme == "ws") {
        return 80;
    }
    if (scheme == "https" || scheme == "wss") {
        return 443;
    }
    return 0;
}

/// Splits "host[:port]", where the host may be an IPv6 address in brackets.
std::optional<Origin> parseAuthority(std::string scheme, std::string_view authority) {
    if (authority.find_first_of("/?#@ \t") != std::string_view::npos) {
        return std::nullopt;
    }
    std::size_t hostEnd = authority.find(':');
    if (!authority.empty() && authority.front() == '[') {
        const auto bracket = authority.find(']');
        if (bracket == std::string_view::npos) {
            return std::nullopt;
        }
        hostEnd = bracket + 1 == authority.size() ? std::string_view::npos : bracket + 1;
    }
    Origin origin{std::move(scheme), lowered(authority.substr(0, hostEnd)), 0};
    if (origin.host.empty()) {
        return std::nullopt;
    }
    origin.port = usualPort(origin.scheme);
    if (hostEnd == std::string_view::npos) {
        return origin;
    }
    if (authority[hostEnd] != ':') {
        return std::nullopt;
    }
    const std::string_view port = authority.substr(hostEnd + 1);
    if (port.empty()) {
        return origin;
    }
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), origin.port);
    if (error != std::errc{} || end != port.data() + port.size() || origin.port > 65535) {
        return std::nullopt;
    }
    return origin;
}

}  // namespace

std::optional<Origin> parseOrigin(std::string_view text) {
    const auto colon = text.find("://");
    if (colon == std::string_view::npos || colon == 0) {
        return std::nullopt;
    }
    return parseAuthority(lowered(text.substr(0, colon)), text.substr(colon + 3));
}

std::optional<Origin> originOfRequest(std::string_view scheme, std::string_view hostHeader) {
    return parseAuthority(lowered(scheme), hostHeader);
}

}  // namespace websocket
