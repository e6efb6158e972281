#include "krpbus/client/nats_subject.h"

namespace krpbus {

namespace {

constexpr std::string_view kRoot = "krp.";
constexpr std::string_view kTo = ".to.";
constexpr std::string_view kBus = ".bus.";
constexpr std::string_view kLive = ".bus.live.";
constexpr std::string_view kProbe = ".probe.";
constexpr std::string_view kDigits = "0123456789ABCDEF";

bool isPlain(unsigned char byte) {
    return byte > ' ' && byte < 0x7F && byte != '.' && byte != '*' && byte != '>' && byte != '%';
}

std::string root(std::string_view mac) {
    std::string subject;
    subject.reserve(64);
    subject = kRoot;
    appendToken(subject, mac);
    return subject;
}

/// Of all loggers where `mac` is empty.
std::string rootOrAll(std::string_view mac) {
    return mac.empty() ? std::string(kRoot) + "*" : root(mac);
}

}  // namespace

void appendToken(std::string& subject, std::string_view name) {
    if (name.empty()) {
        subject += '%';
        return;
    }
    for (const char letter : name) {
        const auto byte = static_cast<unsigned char>(letter);
        if (isPlain(byte)) {
            subject += letter;
        } else {
            subject += '%';
            subject += kDigits[byte >> 4];
            subject += kDigits[byte & 0x0F];
        }
    }
}

std::optional<std::string> decodeToken(std::string_view token) {
    if (token == "%") {
        return std::string();
    }
    std::string name;
    name.reserve(token.size());
    for (std::size_t i = 0; i < token.size(); ++i) {
        if (token[i] != '%') {
            name += token[i];
            continue;
        }
        if (i + 2 >= token.size()) {
            return std::nullopt;
        }
        const std::size_t high = kDigits.find(token[i + 1]);
        const std::size_t low = kDigits.find(token[i + 2]);
        if (high == std::string_view::npos || low == std::string_view::npos) {
            return std::nullopt;
        }
        name += static_cast<char>(high << 4 | low);
        i += 2;
    }
    if (name.empty()) {
        return std::nullopt;
    }
    return name;
}

std::string participantSubject(std::string_view mac, std::string_view participant) {
    std::string subject = root(mac);
    subject += kTo;
    appendToken(subject, participant);
    return subject;
}

std::string busSubject(std::string_view mac, std::string_view bus) {
    std::string subject = rootOrAll(mac);
    subject += kBus;
    appendToken(subject, bus);
    return subject;
}

std::string liveSubject(std::string_view mac, LiveData data, LiveReach reach) {
    std::string subject = rootOrAll(mac);
    subject += kLive;
    subject += data == LiveData::Signals ? "signals" : "loads";
    subject += reach == LiveReach::OwnLogger ? ".own" : ".others";
    return subject;
}

bool isLiveSubject(std::string_view subject) {
    if (!subject.starts_with(kRoot)) {
        return false;
    }
    const std::size_t macEnd = subject.find('.', kRoot.size());
    return macEnd != std::string_view::npos && subject.substr(macEnd).starts_with(kLive);
}

std::string everybodySubject(std::string_view mac) {
    return root(mac) + ".all";
}

std::string probeSubject(std::string_view mac, std::string_view participant,
                         std::string_view address) {
    std::string subject = participantSubject(mac, participant);
    subject += kProbe;
    appendToken(subject, address);
    return subject;
}

std::string probeWildcard(std::string_view mac, std::string_view participant) {
    std::string subject = participantSubject(mac, participant);
    subject += kProbe;
    subject += '*';
    return subject;
}

std::optional<SubjectAddress> parseParticipantSubject(std::string_view subject) {
    if (!subject.starts_with(kRoot)) {
        return std::nullopt;
    }
    const std::size_t macEnd = subject.find('.', kRoot.size());
    if (macEnd == std::string_view::npos || !subject.substr(macEnd).starts_with(kTo)) {
        return std::nullopt;
    }
    const std::string_view participant = subject.substr(macEnd + kTo.size());
    if (participant.find('.') != std::string_view::npos) {
        return std::nullopt;
    }
    auto mac = decodeToken(subject.substr(kRoot.size(), macEnd - kRoot.size()));
    auto name = decodeToken(participant);
    if (!mac || !name) {
        return std::nullopt;
    }
    return SubjectAddress{std::move(*mac), std::move(*name)};
}

std::optional<std::string> parseProbeSubject(std::string_view subject) {
    const std::size_t at = subject.rfind(kProbe);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    return decodeToken(subject.substr(at + kProbe.size()));
}

}  // namespace krpbus
