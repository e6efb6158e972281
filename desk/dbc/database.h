// A CAN database: the messages of a bus and the signals inside them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "desk/dbc/scaling.h"

namespace dbc {

enum class ByteOrder { Intel, Motorola };
/// What the bits of a signal are.
enum class ValueKind { Unsigned, Signed, Float, Double };

/// Which values of another signal of the message let a signal be there.
struct Multiplexing {
    std::size_t switchSignal = 0;  ///< its place among the message's signals
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;  ///< raw values, both ends included
};

/// One signal. Whatever its bits are, `raw` values are 64 bits wide: signed ones with their sign
/// extended, Float and Double ones as they came.
struct Signal {
    std::string name;
    std::uint32_t start = 0;   ///< Intel: its lowest bit; Motorola: its highest one
    std::uint32_t length = 0;  ///< in bits; more than 64 make a row of bytes instead of a number
    ByteOrder order = ByteOrder::Intel;
    ValueKind kind = ValueKind::Unsigned;
    Scaling scaling;
    std::string unit;
    bool isSwitch = false;  ///< selects which other signals are there
    std::optional<Multiplexing> multiplexing;
    std::map<std::uint64_t, std::string> texts;  ///< by raw value
};

/// One message.
struct Message {
    std::string name;
    std::uint32_t id = 0;  ///< 11 bits, of an extended one 29
    bool isExtended = false;
    bool isJ1939 = false;  ///< known by its parameter group, whatever its priority and source are
    std::uint32_t size = 0;  ///< in bytes
    std::vector<Signal> signals;
};

/// Something about a file that its reader has to be told of.
struct Remark {
    std::size_t line = 0;  ///< from 1
    std::string text;      ///< what was found and what was expected
    bool isLoss = false;   ///< something is left out; otherwise it was taken all the same
};

/// What one file describes.
struct Database {
    std::vector<Message> messages;
    std::vector<Remark> remarks;  ///< in the order of the file, up to kMostRemarks
    std::size_t moreRemarks = 0;  ///< how many came after these

    static constexpr std::size_t kMostRemarks = 100;

    std::size_t signalCount() const;
};

}  // namespace dbc
