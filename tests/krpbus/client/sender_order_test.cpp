// The order of what came in by different subjects.
#include "krpbus/client/sender_order.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

// Messages can be destroyed only while the library is open, which a connection sees to elsewhere.
const natsStatus kOpened = nats_Open(-1);

using Lists = std::vector<std::vector<krpbus::Received>>;

// A message whose payload is its text; without a header where that is empty.
krpbus::Received message(const std::string& header, const std::string& text) {
    natsMsg* raw = nullptr;
    natsMsg_Create(&raw, "krp.M.to.me", nullptr, text.data(), static_cast<int>(text.size()));
    if (!header.empty()) {
        natsMsgHeader_Set(raw, krpbus::kOrderHeader, header.c_str());
    }
    krpbus::Received received;
    received.message.reset(raw);
    return received;
}

// One whose text is its header.
krpbus::Received numbered(const std::string& sender, std::uint64_t number) {
    const std::string header = sender + " " + std::to_string(number);
    return message(header, header);
}

std::vector<std::string> merged(Lists& lists) {
    std::vector<krpbus::Received> all;
    krpbus::mergeBySender(lists, all);
    std::vector<std::string> texts;
    for (const krpbus::Received& received : all) {
        texts.emplace_back(natsMsg_GetData(received.message.get()),
                           static_cast<std::size_t>(natsMsg_GetDataLength(received.message.get())));
    }
    return texts;
}

template <class... Messages>
std::vector<krpbus::Received> list(Messages... messages) {
    std::vector<krpbus::Received> result;
    (result.push_back(std::move(messages)), ...);
    return result;
}

Lists lists(std::vector<krpbus::Received> first, std::vector<krpbus::Received> second) {
    Lists result;
    result.push_back(std::move(first));
    result.push_back(std::move(second));
    return result;
}

TEST(SenderOrder, IsThatOfTheNumbersAcrossSubjects) {
    Lists both = lists(list(numbered("a", 2), numbered("a", 3), numbered("a", 7)),
                       list(numbered("a", 1), numbered("a", 5), numbered("a", 10)));
    EXPECT_EQ(merged(both), (std::vector<std::string>{"a 1", "a 2", "a 3", "a 5", "a 7", "a 10"}));
    EXPECT_TRUE(both[0].empty() && both[1].empty()) << "ready for what comes next";
}

TEST(SenderOrder, HoldsForEachSenderThoughOthersStandBetween) {
    Lists both = lists(list(numbered("a", 100), numbered("b", 3)), list(numbered("b", 5)));
    EXPECT_EQ(merged(both), (std::vector<std::string>{"a 100", "b 3", "b 5"}));
    Lists other = lists(list(numbered("b", 5)), list(numbered("a", 100), numbered("b", 3)));
    EXPECT_EQ(merged(other), (std::vector<std::string>{"a 100", "b 3", "b 5"}));
}

TEST(SenderOrder, IsThatOfArrivalWithoutNumbers) {
    Lists both = lists(list(message("", "first"), message("nonsense", "second"), numbered("a", 2)),
                       list(numbered("a", 1), message("a 1x", "third")));
    EXPECT_EQ(merged(both), (std::vector<std::string>{"first", "second", "a 1", "third", "a 2"}));
}

TEST(SenderOrder, LosesNothingWhereTheNumbersContradictEachOther) {
    Lists both = lists(list(numbered("a", 9), numbered("a", 2), numbered("b", 1)),
                       list(numbered("b", 1), numbered("a", 2), numbered("b", 1)));
    EXPECT_EQ(merged(both).size(), 6U);
}

TEST(SenderOrder, LeavesTheOrderOfOneSubjectAlone) {
    Lists one = lists(list(numbered("a", 2), numbered("a", 1)), {});
    EXPECT_EQ(merged(one), (std::vector<std::string>{"a 2", "a 1"}));
}

TEST(SenderOrder, BringsBackWhatRandomSendersSent) {
    std::minstd_rand random(4711);
    for (int round = 0; round < 50; ++round) {
        Lists bySubject(4);
        std::vector<std::uint64_t> numbers(3, 0);
        for (int i = 0; i < 200; ++i) {
            const std::size_t sender = random() % numbers.size();
            bySubject[random() % bySubject.size()].push_back(
                numbered(std::string(1, static_cast<char>('a' + sender)), ++numbers[sender]));
        }
        std::vector<std::uint64_t> next(numbers.size(), 0);
        for (const std::string& text : merged(bySubject)) {
            EXPECT_EQ(std::stoull(text.substr(2)),
                      ++next[static_cast<std::size_t>(text.front() - 'a')]);
        }
        EXPECT_EQ(next, numbers);
    }
}

TEST(SenderOrder, IsCountedByEachSender) {
    krpbus::SendCounter first;
    krpbus::SendCounter second;
    const std::string one = first.next();
    const std::string two = first.next();
    const std::string other = second.next();
    EXPECT_EQ(one.substr(one.find(' ')), " 1");
    EXPECT_EQ(two.substr(two.find(' ')), " 2");
    EXPECT_EQ(one.substr(0, one.find(' ')), two.substr(0, two.find(' ')));
    EXPECT_NE(one.substr(0, one.find(' ')), other.substr(0, other.find(' ')));
}

}  // namespace
