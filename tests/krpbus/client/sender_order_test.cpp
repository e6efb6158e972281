// The order of what came in by different subjects.
#include "krpbus/client/sender_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// Messages can be destroyed only while the library is open, which a connection sees to elsewhere.
const natsStatus kOpened = nats_Open(-1);

using Lists = std::vector<std::vector<krpbus::Received>>;

// A message whose payload is its text; without a header where that is empty.
krpbus::Received message(const std::string& header, const std::string& text,
                         const char* reply = "krp.M.to.sender") {
    natsMsg* raw = nullptr;
    natsMsg_Create(&raw, "krp.M.to.me", reply, text.data(), static_cast<int>(text.size()));
    if (!header.empty()) {
        natsMsgHeader_Set(raw, krpbus::kOrderHeader, header.c_str());
    }
    return krpbus::received(krpbus::NatsMessage(raw));
}

// One whose text is its header.
krpbus::Received numbered(const std::string& sender, std::uint64_t number) {
    const std::string header = sender + " " + std::to_string(number);
    return message(header, header, ("krp.M.to." + sender).c_str());
}

// One without a number.
krpbus::Received following(const std::string& sender, const std::string& text) {
    return message("", text, ("krp.M.to." + sender).c_str());
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

TEST(SenderOrder, KeepsWhatFollowsWithoutANumberBehindTheNumber) {
    // The second message of the first list waits, and so does the third, which followed the first.
    Lists three = lists(list(numbered("a", 1), numbered("b", 2), following("a", "after a 1")),
                        list(numbered("a", 5)));
    three.push_back(list(numbered("b", 1)));
    EXPECT_EQ(merged(three), (std::vector<std::string>{"a 1", "b 1", "b 2", "after a 1", "a 5"}));
}

TEST(SenderOrder, PutsFirstWhatFollowsANumberThatCameEarlier) {
    Lists both = lists(list(numbered("a", 7), numbered("a", 8)),
                       list(following("a", "after a 5"), following("a", "too"), numbered("a", 6)));
    EXPECT_EQ(merged(both), (std::vector<std::string>{"after a 5", "too", "a 6", "a 7", "a 8"}));
}

TEST(SenderOrder, DoesNotTakeOneSendersMessagesForWhatFollowedAnothers) {
    Lists both = lists(list(numbered("a", 2), following("b", "b's")),
                       list(numbered("a", 1), following("c", "c's")));
    EXPECT_EQ(merged(both), (std::vector<std::string>{"a 1", "c's", "a 2", "b's"}));
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

// What a sender has sent: where it goes, and its header.
struct Sent {
    std::size_t subject = 0;
    std::size_t sender = 0;
    std::string header;
    std::string text;
};

// Three senders in turns, runs of each to four subjects, as they number them.
std::vector<Sent> sentAtRandom(std::minstd_rand& random) {
    std::vector<krpbus::SendCounter> counters(3);
    std::vector<std::uint64_t> numbers(counters.size(), 0);
    std::vector<std::size_t> subjects(counters.size(), 0);
    std::vector<Sent> all;
    for (int i = 0; i < 200; ++i) {
        const std::size_t sender = random() % counters.size();
        if (random() % 3 == 0) {
            subjects[sender] = random() % 4;
        }
        const char* const header = counters[sender].next(std::to_string(subjects[sender]), "reply");
        all.push_back({subjects[sender], sender, header != nullptr ? header : "",
                       std::to_string(sender) + " " + std::to_string(++numbers[sender])});
    }
    return all;
}

TEST(SenderOrder, BringsBackWhatRandomSendersSentHoweverItIsRead) {
    std::minstd_rand random(4711);
    for (int round = 0; round < 100; ++round) {
        const std::vector<Sent> all = sentAtRandom(random);
        std::vector<std::uint64_t> next(3, 0);
        for (std::size_t begin = 0; begin < all.size();) {
            const std::size_t end = std::min<std::size_t>(all.size(), begin + 1 + random() % 40);
            Lists read(4);
            for (; begin < end; ++begin) {
                const Sent& sent = all[begin];
                const std::string reply = "krp.M.to." + std::to_string(sent.sender);
                read[sent.subject].push_back(message(sent.header, sent.text, reply.c_str()));
            }
            for (const std::string& text : merged(read)) {
                EXPECT_EQ(std::stoull(text.substr(2)),
                          ++next[static_cast<std::size_t>(std::stoull(text))]);
            }
        }
        EXPECT_EQ(next[0] + next[1] + next[2], all.size());
    }
}

TEST(SenderOrder, IsCountedByEachSender) {
    krpbus::SendCounter first;
    krpbus::SendCounter second;
    const std::string one = first.next("x", "r");
    const std::string two = first.next("y", "r");
    const std::string other = second.next("x", "r");
    EXPECT_EQ(one.substr(one.find(' ')), " 1");
    EXPECT_EQ(two.substr(two.find(' ')), " 2");
    EXPECT_EQ(one.substr(0, one.find(' ')), two.substr(0, two.find(' ')));
    EXPECT_NE(one.substr(0, one.find(' ')), other.substr(0, other.find(' ')));
}

TEST(SenderOrder, IsSaidAgainWhereASubjectChangesOrAMessageMayNotHaveBeenSent) {
    krpbus::SendCounter counter;
    EXPECT_NE(counter.next("x", "r"), nullptr);
    EXPECT_EQ(counter.next("x", "r"), nullptr);
    EXPECT_NE(counter.next("x", "other"), nullptr);
    EXPECT_NE(counter.next("y", "other"), nullptr);
    EXPECT_EQ(counter.next("y", "other"), nullptr);
    counter.beginAgain();
    EXPECT_NE(counter.next("y", "other"), nullptr);
}

}  // namespace
