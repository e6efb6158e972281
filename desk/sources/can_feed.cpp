#include "desk/sources/can_feed.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "desk/can/socket_input.h"
#include "krpbus/messages/signal_message.h"

namespace desk {

namespace {

constexpr std::uint32_t kExtendedFlag = 0x80000000U;
constexpr std::size_t kMostWholeFrames = 4096;  // identifiers of all interfaces
constexpr std::size_t kNotListed = SIZE_MAX;
/// A load that nobody has asked for so long is not wanted, and frames that no database knows need
/// not come.
constexpr std::uint64_t kLoadWantedFor = 3'000'000;

std::uint32_t keyOf(std::uint32_t id, bool isExtended) {
    return isExtended ? id | kExtendedFlag : id;
}

/// The parameter group of a J1939 identifier: without priority and source, and without the
/// destination where there is one.
std::uint32_t groupOf(std::uint32_t id) {
    const std::uint32_t group = id >> 8U & 0x3FFFFU;
    const bool hasDestination = (id >> 16U & 0xFFU) < 240;
    return hasDestination ? group & 0x3FF00U : group;
}

std::unique_ptr<can::FrameInput> makeInput(const CanSetup& setup) {
    if (!setup.interfaces.empty()) {
        return std::make_unique<can::SocketInput>(setup.interfaces);
    }
    // Interfaces that databases name come first, in the order of the options.
    std::vector<std::string> named;
    for (const CanDatabase& database : setup.databases) {
        if (!database.interface.empty() &&
            std::find(named.begin(), named.end(), database.interface) == named.end()) {
            named.push_back(database.interface);
        }
    }
    return std::make_unique<can::TextInput>(setup.file, setup.playback, named);
}

unsigned char valueTypeOf(const dbc::Signal& signal) {
    if (signal.length > 64) {
        return SIGNALVALUE_BYTES;
    }
    switch (signal.kind) {
        case dbc::ValueKind::Signed:
            return SIGNALVALUE_SIGNED;
        case dbc::ValueKind::Float:
            return SIGNALVALUE_FLOAT;
        case dbc::ValueKind::Double:
            return SIGNALVALUE_DOUBLE;
        case dbc::ValueKind::Unsigned:
            break;
    }
    return SIGNALVALUE_UNSIGNED;
}

std::string hexText(std::span<const std::uint8_t> bytes) {
    static constexpr const char* kDigits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

std::string idText(std::uint32_t key) {
    std::array<char, 16> text{};
    const bool isExtended = (key & kExtendedFlag) != 0;
    std::snprintf(text.data(), text.size(), isExtended ? "%08X" : "%03X",
                  static_cast<unsigned int>(key & ~kExtendedFlag));
    return text.data();
}

}  // namespace

CanFeed::CanFeed(CanSetup setup) : setup_(std::move(setup)), input_(makeInput(setup_)) {}

CanFeed::Interface& CanFeed::interfaceAt(std::size_t place) {
    const std::vector<std::string> names =
        place < interfaces_.size() && !interfaces_[place].name.empty() ? std::vector<std::string>()
                                                                       : interfaces();
    while (interfaces_.size() <= place) {
        interfaces_.emplace_back();
    }
    Interface& interface = interfaces_[place];
    if (interface.name.empty() && place < names.size()) {
        interface.name = names[place];
    }
    if (!interface.load) {
        const auto own = setup_.rates.find(interface.name);
        interface.load =
            std::make_unique<can::LoadMeter>(own == setup_.rates.end() ? setup_.rate : own->second,
                                             setup_.file.empty() ? 1.0 : setup_.playback.speed);
    }
    return interface;
}

void CanFeed::list() {
    const std::size_t count = interfaces().size();
    if (!hasPrefixes_) {
        hasPrefixes_ = count > 1;
        hasUnnamedInterface_ = count == 0;
    }
    for (std::size_t place = 0; place < std::max<std::size_t>(count, hasUnnamedInterface_ ? 1 : 0);
         ++place) {
        listInterface(place);
    }
    updateFilters();
}

/// An interface that turns up later is told from those before by its name; they keep theirs.
std::string CanFeed::prefix(const Interface& interface) const {
    const bool isLater = &interface != interfaces_.data();
    return *hasPrefixes_ || isLater ? interface.name + ":" : "";
}

void CanFeed::listInterface(std::size_t place) {
    if (!interfaceAt(place).isListed) {
        interfaces_[place].isListed = true;
        for (const CanDatabase& database : setup_.databases) {
            const std::string& wanted = database.interface;
            if (!wanted.empty() && wanted != interfaces_[place].name) {
                continue;
            }
            // An identifier that an earlier database knows is that one's.
            std::set<std::uint32_t> taken;
            for (const auto& [id, messages] : interfaces_[place].byId) {
                taken.insert(id);
            }
            for (const dbc::Message& message : database.content->messages) {
                if (taken.count(keyOf(message.id, message.isExtended)) == 0) {
                    listMessage(message, place);
                }
            }
        }
    }
    for (const std::uint32_t id : std::exchange(interfaces_[place].newFrames, {})) {
        listFrame(id, place);
    }
}

void CanFeed::listMessage(const dbc::Message& message, std::size_t place) {
    Interface& interface = interfaces_[place];
    Known known{&message, dbc::Decoder(message), {}, {}};
    const std::string before = interface.name.empty() ? "CAN" : interface.name;
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        const dbc::Signal& signal = message.signals[i];
        SignalConfig config;
        config.webappName = prefix(interface) + message.name + "." + signal.name;
        config.instanceName = before + "." + message.name + "." + signal.name;
        config.userName = config.webappName;
        config.unit = signal.unit;
        config.busId = BUSID_CAN;
        config.channel = static_cast<unsigned char>(place);
        config.valueType = valueTypeOf(signal);
        config.scale = signal.scaling.factor();
        config.offset = signal.scaling.offset();
        config.valueDescriptionTable = signal.texts;
        known.places.push_back(values_.add(std::move(config), &signal).value_or(kNotListed));
        if (signal.length > 64 && known.places.back() != kNotListed) {
            known.longSignals.push_back(i);
        }
    }
    interface.byId[keyOf(message.id, message.isExtended)].push_back(known_.size());
    if (message.isJ1939) {
        interface.byGroup[groupOf(message.id)].push_back(known_.size());
    }
    known_.push_back(std::move(known));
}

void CanFeed::listFrame(std::uint32_t id, std::size_t place) {
    Interface& interface = interfaces_[place];
    SignalConfig config;
    config.webappName = prefix(interface) + "Frame." + idText(id);
    config.instanceName = interface.name + ".Frame." + idText(id);
    config.userName = config.webappName;
    config.busId = BUSID_CAN;
    config.channel = static_cast<unsigned char>(place);
    config.valueType = SIGNALVALUE_BYTES;
    config.scale = 1.0;
    interface.wholeFrames[id] = values_.add(std::move(config), nullptr).value_or(kNotListed);
}

void CanFeed::poll() {
    frames_.clear();
    input_->queue().takeAll(frames_);
    for (const can::Frame& frame : frames_) {
        handle(frame);
    }
    if (!frames_.empty()) {
        ahead_ = static_cast<std::int64_t>(frames_.back().time - getTimeOfDay());
        tellOfLosses();
    }
    const bool wantsFilters = getTimeOfDay() - loadAsked_ > kLoadWantedFor;
    if (wantsFilters != hasFilters_) {
        updateFilters();
    }
}

void CanFeed::handle(const can::Frame& frame) {
    Interface& interface = interfaceAt(frame.interface);
    if (!interface.isListed && values_.isWatched()) {
        list();  // conditions do not wait for somebody who looks
        return handle(frame);
    }
    interface.load->add(frame);
    if (frame.kind != can::Frame::Kind::Data) {
        return;
    }
    if (setup_.raw) {
        handleWhole(frame, interface);
    }
    if (const auto byId = interface.byId.find(keyOf(frame.id, frame.isExtended));
        byId != interface.byId.end()) {
        for (const std::size_t known : byId->second) {
            decode(frame, known_[known]);
        }
    } else if (frame.isExtended && !interface.byGroup.empty()) {
        const auto byGroup = interface.byGroup.find(groupOf(frame.id));
        if (byGroup != interface.byGroup.end()) {
            for (const std::size_t known : byGroup->second) {
                decode(frame, known_[known]);
            }
        }
    }
}

void CanFeed::handleWhole(const can::Frame& frame, Interface& interface) {
    const std::uint32_t key = keyOf(frame.id, frame.isExtended);
    const auto listed = interface.wholeFrames.find(key);
    if (listed == interface.wholeFrames.end()) {
        if (interface.newFrames.size() + interface.wholeFrames.size() < kMostWholeFrames) {
            interface.newFrames.insert(key);
        }
    } else if (listed->second != kNotListed) {
        values_.setText(listed->second, hexText(frame.bytes()), frame.time);
    }
}

void CanFeed::decode(const can::Frame& frame, const Known& known) {
    decoded_.clear();
    known.decoder.decode(frame.bytes(), decoded_);
    for (const dbc::RawValue& value : decoded_) {
        if (known.places[value.signal] != kNotListed) {
            values_.set(known.places[value.signal], value.raw, frame.time);
        }
    }
    for (const std::size_t signal : known.longSignals) {
        if (auto text = dbc::longValueText(known.message->signals[signal], frame.bytes())) {
            values_.setText(known.places[signal], std::move(*text), frame.time);
        }
    }
}

/// The window ends where the frames' clock is now, which runs on between frames.
std::optional<double> CanFeed::load(std::size_t interface) {
    loadAsked_ = getTimeOfDay();
    if (!input_->isUp(interface)) {
        return std::nullopt;
    }
    return interfaceAt(interface).load->percent(loadAsked_ + static_cast<std::uint64_t>(ahead_));
}

/// Loads and whole frames need every frame; groups of J1939 cannot be told apart by identifiers.
void CanFeed::updateFilters() {
    hasFilters_ = getTimeOfDay() - loadAsked_ > kLoadWantedFor;
    std::vector<std::uint32_t> ids;
    for (const Interface& interface : interfaces_) {
        if (setup_.raw || !hasFilters_ || !interface.byGroup.empty()) {
            input_->want(std::nullopt);
            return;
        }
        for (const auto& [id, known] : interface.byId) {
            ids.push_back(id);
        }
    }
    input_->want(ids);
}

void CanFeed::tellOfLosses() {
    const std::uint64_t lost = counters().lost;
    if (lost != toldLost_) {
        LogUtil::log(LogLevel::Warning, "tellOfLosses",
                     std::to_string(lost - toldLost_) + " frames were lost");
        toldLost_ = lost;
    }
}

}  // namespace desk
