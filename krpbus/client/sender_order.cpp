#include "krpbus/client/sender_order.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <string_view>
#include <utility>

namespace krpbus {

namespace {

struct Mark {
    std::string_view sender;
    std::uint64_t number = 0;
};

/// What the sender says of a message, where it says it well.
std::optional<Mark> markOf(const Received& received) {
    const char* value = nullptr;
    if (natsMsgHeader_Get(received.message.get(), kOrderHeader, &value) != NATS_OK ||
        value == nullptr) {
        return std::nullopt;
    }
    const std::string_view text = value;
    const std::size_t blank = text.find(' ');
    if (blank == std::string_view::npos) {
        return std::nullopt;
    }
    Mark mark{text.substr(0, blank), 0};
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + blank + 1, end, mark.number);
    if (parsed.ec != std::errc() || parsed.ptr != end) {
        return std::nullopt;
    }
    return mark;
}

/// The lists while they are merged.
class Merge {
  public:
    explicit Merge(std::vector<std::vector<Received>>& lists) : lists_(lists), next_(lists.size()) {
        for (const auto& list : lists) {
            auto& marks = marks_.emplace_back();
            for (const Received& received : list) {
                marks.push_back(markOf(received));
                if (marks.back()) {
                    expected_[marks.back()->sender].push_back(marks.back()->number);
                }
            }
            left_ += list.size();
        }
        for (auto& [sender, numbers] : expected_) {
            std::sort(numbers.begin(), numbers.end());
        }
    }

    void run(std::vector<Received>& all) {
        while (left_ > 0) {
            bool found = false;
            for (std::size_t i = 0; i < lists_.size(); ++i) {
                while (hasTurn(i)) {
                    take(i, all);
                    found = true;
                }
            }
            for (std::size_t i = 0; !found && i < lists_.size(); ++i) {
                if (next_[i] < lists_[i].size()) {
                    take(i, all);
                    found = true;
                }
            }
        }
    }

  private:
    /// Whether nothing that is left has to come before the first that is left of the list.
    bool hasTurn(std::size_t list) const {
        if (next_[list] == lists_[list].size()) {
            return false;
        }
        const auto& mark = marks_[list][next_[list]];
        return !mark || expected_.at(mark->sender).front() == mark->number;
    }

    void take(std::size_t list, std::vector<Received>& all) {
        const std::size_t at = next_[list]++;
        if (const auto& mark = marks_[list][at]) {
            auto& numbers = expected_.at(mark->sender);
            numbers.erase(std::find(numbers.begin(), numbers.end(), mark->number));
        }
        all.push_back(std::move(lists_[list][at]));
        --left_;
    }

    std::vector<std::vector<Received>>& lists_;
    std::vector<std::size_t> next_;  // of each list
    std::vector<std::vector<std::optional<Mark>>> marks_;
    std::map<std::string_view, std::deque<std::uint64_t>> expected_;  // what is left, by sender
    std::size_t left_ = 0;
};

bool isEmpty(const std::vector<Received>& list) {
    return list.empty();
}

}  // namespace

SendCounter::SendCounter() {
    std::random_device random;
    char* const end = std::to_chars(text_.data(), text_.data() + text_.size(),
                                    std::uint64_t{random()} << 32 | random(), 16)
                          .ptr;
    *end = ' ';
    senderLength_ = static_cast<std::size_t>(end - text_.data()) + 1;
}

const char* SendCounter::next() {
    char* const end =
        std::to_chars(text_.data() + senderLength_, text_.data() + text_.size() - 1, ++number_).ptr;
    *end = '\0';
    return text_.data();
}

void mergeBySender(std::vector<std::vector<Received>>& lists, std::vector<Received>& all) {
    const auto empty = std::count_if(lists.begin(), lists.end(), isEmpty);
    if (static_cast<std::size_t>(empty) + 1 < lists.size()) {
        Merge(lists).run(all);
    } else {
        for (auto& list : lists) {
            std::move(list.begin(), list.end(), std::back_inserter(all));
        }
    }
    for (auto& list : lists) {
        list.clear();
    }
}

}  // namespace krpbus
