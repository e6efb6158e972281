#include "desk/dbc/database_completion.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "desk/dbc/half_float.h"

namespace dbc {

namespace {

constexpr std::uint32_t kMostBits = 64;  // of a number

std::string nameOf(const MessageDraft& message, const SignalDraft& signal) {
    return message.message.name + "." + signal.signal.name;
}

/// 1 and 2 in SIG_VALTYPE_. A float of 16 bits is not usual but can be read.
void settleKind(Draft& draft, const MessageDraft& message, SignalDraft& signal) {
    const std::uint32_t length = signal.signal.length;
    if (signal.valueType == 0) {
        return;
    }
    if (signal.valueType == 1 && (length == 32 || length == 16)) {
        signal.signal.kind = ValueKind::Float;
    } else if (signal.valueType <= 2 && length == 64) {
        signal.signal.kind = ValueKind::Double;
    } else {
        draft.remark(signal.line, nameOf(message, signal) + " with " + std::to_string(length) +
                                      " bits is no floating-point number of kind " +
                                      std::to_string(signal.valueType) +
                                      " and is taken for a whole one");
    }
}

/// The key of a text as a raw value of the signal: signs extended, bits of a float.
std::uint64_t rawKey(const Signal& signal, std::int64_t key) {
    const auto bits = static_cast<std::uint64_t>(key);
    if (signal.kind == ValueKind::Double) {
        return std::bit_cast<std::uint64_t>(static_cast<double>(key));
    }
    if (signal.kind == ValueKind::Float) {
        return signal.length == 16 ? toHalf(static_cast<float>(key))
                                   : std::bit_cast<std::uint32_t>(static_cast<float>(key));
    }
    if (signal.length == 0 || signal.length >= kMostBits) {
        return bits;
    }
    const std::uint64_t mask = (std::uint64_t{1} << signal.length) - 1;
    const std::uint64_t sign = std::uint64_t{1} << (signal.length - 1);
    const std::uint64_t kept = bits & mask;
    return signal.kind == ValueKind::Signed && (kept & sign) != 0 ? kept | ~mask : kept;
}

/// Whether a key is a value that the signal can have, written as such a value.
bool isOwnKey(const Signal& signal, std::int64_t key) {
    return rawKey(signal, key) == static_cast<std::uint64_t>(key);
}

/// A key that is written with the other sign than the signal has means the same bits, unless a key
/// of the signal's own says something else.
void settleTexts(SignalDraft& draft) {
    Signal& signal = draft.signal;
    for (const bool own : {true, false}) {
        for (auto& [key, text] : draft.texts) {
            const bool isFloating =
                signal.kind == ValueKind::Float || signal.kind == ValueKind::Double;
            if ((isFloating || isOwnKey(signal, key)) == own) {
                signal.texts.emplace(rawKey(signal, key), text);
            }
        }
    }
}

std::optional<std::size_t> placeOf(const MessageDraft& message, std::string_view name) {
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        if (message.signals[i].signal.name == name) {
            return i;
        }
    }
    return std::nullopt;
}

/// The switch of signals that name none: the one that is not switched itself, else any.
std::optional<std::size_t> rootSwitch(const MessageDraft& message) {
    std::optional<std::size_t> any;
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        const SignalDraft& signal = message.signals[i];
        if (signal.signal.isSwitch && !signal.selectedBy) {
            return i;
        }
        any = signal.signal.isSwitch && !any ? std::optional(i) : any;
    }
    return any;
}

/// Whether the switches of a signal, and theirs, come to an end.
bool endsAtRoot(const MessageDraft& message, std::size_t signal) {
    for (std::size_t steps = 0; steps <= message.signals.size(); ++steps) {
        const auto& multiplexing = message.signals[signal].signal.multiplexing;
        if (!multiplexing) {
            return true;
        }
        signal = multiplexing->switchSignal;
    }
    return false;
}

void settleMultiplexing(Draft& draft, MessageDraft& message) {
    const auto root = rootSwitch(message);
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        SignalDraft& signal = message.signals[i];
        if (!signal.selectedBy && signal.ranges.empty()) {
            if (signal.isBareMultiplexed) {
                draft.remark(signal.line, nameOf(message, signal) +
                                              " has an 'm' without a number and is always there");
            }
            continue;
        }
        auto place = signal.switchName.empty() ? root : placeOf(message, signal.switchName);
        if (!place && !signal.switchName.empty()) {
            draft.remark(signal.line, nameOf(message, signal) +
                                          " is switched by the unknown signal " +
                                          signal.switchName);
            place = root;
        }
        if (!place || *place == i) {
            draft.remark(signal.line,
                         nameOf(message, signal) +
                             " is multiplexed, but nothing switches it; it is always there");
            continue;
        }
        message.signals[*place].signal.isSwitch = true;
        Multiplexing multiplexing{*place, signal.ranges};
        if (multiplexing.ranges.empty()) {
            multiplexing.ranges.emplace_back(*signal.selectedBy, *signal.selectedBy);
        }
        signal.signal.multiplexing = std::move(multiplexing);
    }
    for (std::size_t i = 0; i < message.signals.size(); ++i) {
        if (!endsAtRoot(message, i)) {
            SignalDraft& signal = message.signals[i];
            draft.remark(signal.line,
                         nameOf(message, signal) + " switches itself; it is always there");
            signal.signal.multiplexing.reset();
        }
    }
}

void settleLongNames(MessageDraft& message) {
    if (!message.longName.empty()) {
        message.message.name = message.longName;
    }
    for (SignalDraft& signal : message.signals) {
        if (!signal.longName.empty()) {
            signal.signal.name = signal.longName;
        }
    }
}

void settle(Draft& draft, MessageDraft& message) {
    settleMultiplexing(draft, message);
    for (SignalDraft& signal : message.signals) {
        settleKind(draft, message, signal);
        settleTexts(signal);
    }
    settleLongNames(message);
    message.message.isJ1939 = message.message.isExtended && message.isJ1939.value_or(draft.isJ1939);
}

}  // namespace

Database finish(Draft draft) {
    Database database;
    for (MessageDraft& message : draft.messages) {
        settle(draft, message);
        for (SignalDraft& signal : message.signals) {
            message.message.signals.push_back(std::move(signal.signal));
        }
        database.messages.push_back(std::move(message.message));
    }
    std::stable_sort(
        draft.remarks.begin(), draft.remarks.end(),
        [](const Remark& left, const Remark& right) { return left.line < right.line; });
    database.remarks = std::move(draft.remarks);
    database.moreRemarks = draft.moreRemarks;
    return database;
}

std::size_t Database::signalCount() const {
    std::size_t count = 0;
    for (const Message& message : messages) {
        count += message.signals.size();
    }
    return count;
}

}  // namespace dbc
