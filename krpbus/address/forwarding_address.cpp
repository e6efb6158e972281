#include "krpbus/address/ksl_util.h"

#include <charconv>

namespace {

constexpr std::string_view kScheme = "ksl://";
constexpr std::string_view kAllOthers = "*";

std::string upperCase(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        if (letter >= 'a' && letter <= 'z') {
            letter = static_cast<char>(letter - 'a' + 'A');
        }
    }
    return result;
}

}  // namespace

bool KSLUtil::parseForwardMsgAddr(const std::string& source, unsigned char& link,
                                  std::string& mac) {
    auto address = splitAddress(source);
    if (!address || address->allOthers) {
        return false;
    }
    link = address->link;
    mac = std::move(address->mac);
    return true;
}

std::optional<KslAddress> KSLUtil::splitAddress(std::string_view address) {
    if (!address.starts_with(kScheme)) {
        return std::nullopt;
    }
    const std::string_view rest = address.substr(kScheme.size());
    const std::size_t linkEnd = rest.find('/');
    if (linkEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t macEnd = rest.find('/', linkEnd + 1);
    if (macEnd == std::string_view::npos) {
        return std::nullopt;
    }
    KslAddress parts;
    const char* const linkStart = rest.data();
    const auto [end, error] = std::from_chars(linkStart, linkStart + linkEnd, parts.link);
    if (error != std::errc() || end != linkStart + linkEnd) {
        return std::nullopt;
    }
    const std::string_view mac = rest.substr(linkEnd + 1, macEnd - linkEnd - 1);
    parts.allOthers = mac == kAllOthers;
    if (!parts.allOthers) {
        parts.mac = upperCase(mac);
    }
    parts.participant = rest.substr(macEnd + 1);
    return parts;
}

std::string KSLUtil::createKslRouterMsgAddress(unsigned char link, const std::string& mac,
                                               const std::string& destination) {
    return std::string(kScheme) + std::to_string(link) + "/" + upperCase(mac) + "/" + destination;
}

std::string KSLUtil::createKslBroadcastRouterMsgAddress(const std::string& destination) {
    return std::string(kScheme) + "0/" + std::string(kAllOthers) + "/" + destination;
}
