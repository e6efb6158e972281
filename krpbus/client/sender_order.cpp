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

std::string_view replyOf(const Received& received) {
    const char* const reply = natsMsg_GetReply(received.message.get());
    return reply != nullptr ? reply : std::string_view();
}

/// What is left of what came with one reply subject.
struct Left {
    std::size_t begun = 0;  // belongs to numbers that came earlier
    std::map<std::string_view, std::deque<std::uint64_t>> numbers;  // by sender
};

/// A message's place among those with its reply subject.
struct Place {
    Left* left = nullptr;
    std::deque<std::uint64_t>* numbers = nullptr;  // its sender's; null where it has begun earlier
    std::uint64_t number = 0;
};

/// The lists while they are merged.
class Merge {
  public:
    explicit Merge(std::vector<std::vector<Received>>& lists) : lists_(lists), next_(lists.size()) {
        for (const auto& list : lists) {
            auto& places = places_.emplace_back();
            std::map<std::string_view, Place> last;  // of this list, by reply subject
            for (const Received& received : list) {
                places.push_back(placeOf(received, last));
            }
            count_ += list.size();
        }
        for (auto& [reply, left] : left_) {
            for (auto& [sender, numbers] : left.numbers) {
                std::sort(numbers.begin(), numbers.end());
            }
        }
    }

    void run(std::vector<Received>& all) {
        while (count_ > 0) {
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
    /// A message without a number has that of the one before it.
    Place placeOf(const Received& received, std::map<std::string_view, Place>& last) {
        const std::string_view reply = replyOf(received);
        Left& left = left_[reply];
        Place& place = last.try_emplace(reply, Place{&left, nullptr, 0}).first->second;
        if (const auto mark = markOf(received)) {
            place.numbers = &left.numbers[mark->sender];
            place.number = mark->number;
        }
        if (place.numbers != nullptr) {
            place.numbers->push_back(place.number);
        } else {
            ++left.begun;
        }
        return place;
    }

    /// Whether nothing that is left has to come before the first that is left of the list.
    bool hasTurn(std::size_t list) const {
        if (next_[list] == lists_[list].size()) {
            return false;
        }
        const Place& place = places_[list][next_[list]];
        return place.numbers == nullptr ||
               (place.left->begun == 0 && place.numbers->front() == place.number);
    }

    void take(std::size_t list, std::vector<Received>& all) {
        const std::size_t at = next_[list]++;
        if (const Place& place = places_[list][at]; place.numbers == nullptr) {
            --place.left->begun;
        } else {
            auto& numbers = *place.numbers;
            numbers.erase(std::find(numbers.begin(), numbers.end(), place.number));
        }
        all.push_back(std::move(lists_[list][at]));
        --count_;
    }

    std::vector<std::vector<Received>>& lists_;
    std::vector<std::size_t> next_;  // of each list
    std::vector<std::vector<Place>> places_;
    std::map<std::string_view, Left> left_;  // by reply subject
    std::size_t count_ = 0;
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

const char* SendCounter::next(std::string_view subject, std::string_view reply) {
    if (subject == subject_ && reply == reply_) {
        return nullptr;
    }
    char* const end =
        std::to_chars(text_.data() + senderLength_, text_.data() + text_.size() - 1, ++number_).ptr;
    *end = '\0';
    subject_.clear();  // a failure must leave none, or both
    reply_ = reply;
    subject_ = subject;
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
