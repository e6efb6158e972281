#include "desk/dbc/unfinished_database.h"

#include <algorithm>
#include <limits>

namespace dbc {

SignalDraft* MessageDraft::find(std::string_view name) {
    const auto found = std::find_if(signals.begin(), signals.end(), [&](const SignalDraft& signal) {
        return signal.signal.name == name;
    });
    return found == signals.end() ? nullptr : &*found;
}

MessageDraft* Draft::find(std::uint64_t fileId) {
    if (fileId > std::numeric_limits<std::uint32_t>::max()) {
        return nullptr;
    }
    const auto found = byFileId.find(static_cast<std::uint32_t>(fileId));
    return found == byFileId.end() ? nullptr : &messages[found->second];
}

void Draft::remark(std::size_t line, std::string text, bool isLoss) {
    if (remarks.size() == Database::kMostRemarks) {
        ++moreRemarks;
        return;
    }
    remarks.push_back({line, std::move(text), isLoss});
}

}  // namespace dbc
