// A database while its file is read.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "desk/dbc/database.h"

namespace dbc {

/// The key of a value's text, as it is written, and the text.
using ValueText = std::pair<std::int64_t, std::string>;

struct SignalDraft {
    Signal signal;
    std::size_t line = 0;
    std::optional<std::uint64_t> selectedBy;                      ///< the number of its "m4"
    bool isBareMultiplexed = false;                               ///< an "m" without a number
    std::string switchName;                                       ///< as SG_MUL_VAL_ names it
    std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;  ///< of SG_MUL_VAL_
    std::string longName;
    std::vector<ValueText> texts;
    std::uint64_t valueType = 0;  ///< 1: float, 2: double
};

struct MessageDraft {
    Message message;
    std::uint32_t fileId = 0;  ///< as other sections refer to it
    std::string longName;
    std::optional<bool> isJ1939;  ///< what an attribute of its own says
    std::vector<SignalDraft> signals;

    SignalDraft* find(std::string_view name);
};

struct Draft {
    std::vector<MessageDraft> messages;
    std::map<std::uint32_t, std::size_t> byFileId;  ///< of several with one id the first
    std::map<std::string, std::vector<ValueText>, std::less<>> tables;
    /// The names of an enumerated attribute's values; attributes are known by name.
    std::map<std::string, std::vector<std::string>, std::less<>> enumerations;
    bool isJ1939 = false;  ///< all extended messages, where theirs does not say otherwise
    std::vector<Remark> remarks;
    std::size_t moreRemarks = 0;

    MessageDraft* find(std::uint64_t fileId);
    void remark(std::size_t line, std::string text, bool isLoss = false);
};

}  // namespace dbc
