#include "desk/sources/bus_title.h"

#include <charconv>
#include <stdexcept>

namespace desk {

namespace {

using Unit = BusLoadExtMessage::unit_t;

constexpr unsigned int kMostNumbers = 256;  // of kinds and of units, each a byte
constexpr unsigned int kMostChannels = 256;

std::optional<busid_t> kindOf(std::string_view text) {
    for (unsigned int number = 1; number < kMostNumbers; ++number) {
        const auto id = static_cast<busid_t>(number);
        if (text == busIdText(id) && text != busIdText(BUSID_UNKNOWN)) {
            return id;
        }
    }
    return std::nullopt;
}

Unit unitOf(std::string_view text) {
    if (text.empty()) {
        return BusLoadExtMessage::UNIT_NONE;
    }
    for (unsigned int number = 0; number < kMostNumbers; ++number) {
        const auto unit = static_cast<Unit>(number);
        if (text == busLoadUnitText(unit)) {
            return unit;
        }
    }
    throw std::invalid_argument("\"" + std::string(text) + "\" is no unit of a load");
}

}  // namespace

std::optional<RecordedBus> readBusTitle(std::string_view title, std::string_view unit) {
    const std::size_t end = title.find(' ');
    const auto kind = end != std::string_view::npos ? kindOf(title.substr(0, end)) : std::nullopt;
    if (!kind) {
        return std::nullopt;
    }
    const std::string_view rest = title.substr(end + 1);
    unsigned int channel = 0;
    const auto number = std::from_chars(rest.data(), rest.data() + rest.size(), channel);
    const std::string_view name = rest.substr(static_cast<std::size_t>(number.ptr - rest.data()));
    if (number.ec != std::errc() || channel < 1 || channel > kMostChannels || name.size() < 2 ||
        name.front() != ' ') {
        throw std::invalid_argument("\"" + std::string(title) +
                                    "\" is no bus: there must be its kind, channel and name");
    }
    return RecordedBus{*kind, static_cast<std::uint8_t>(channel - 1), std::string(name.substr(1)),
                       unitOf(unit)};
}

}  // namespace desk
