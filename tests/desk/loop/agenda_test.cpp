#include "desk/loop/agenda.h"

#include <gtest/gtest.h>

#include <string>

using desk::Agenda;
using desk::Clock;
using std::chrono::seconds;

namespace {

const Clock::time_point kStart{seconds(1000)};

TEST(Agenda, RunsWhatIsDueInTheOrderOfTime) {
    Agenda agenda;
    std::string ran;
    agenda.at(kStart + seconds(2), [&ran] { ran += "b"; });
    agenda.at(kStart + seconds(1), [&ran] { ran += "a"; });
    agenda.at(kStart + seconds(3), [&ran] { ran += "c"; });

    agenda.runDue(kStart + seconds(2));

    EXPECT_EQ(ran, "ab");
    EXPECT_EQ(agenda.next(), kStart + seconds(3));
}

TEST(Agenda, KeepsTheOrderOfActionsOfOneTime) {
    Agenda agenda;
    std::string ran;
    for (const char* const name : {"a", "b", "c", "d"}) {
        agenda.at(kStart, [&ran, name] { ran += name; });
    }
    agenda.runDue(kStart);
    EXPECT_EQ(ran, "abcd");
}

TEST(Agenda, LeavesWhatAnActionAddsForTheNextCall) {
    Agenda agenda;
    int ran = 0;
    agenda.at(kStart, [&] {
        ++ran;
        agenda.at(kStart, [&ran] { ++ran; });
    });
    agenda.runDue(kStart);
    EXPECT_EQ(ran, 1);
    agenda.runDue(kStart);
    EXPECT_EQ(ran, 2);
}

TEST(Agenda, HasNoNextTimeWhileItIsEmpty) {
    Agenda agenda;
    EXPECT_EQ(agenda.next(), std::nullopt);
    agenda.at(kStart, [] {});
    agenda.runDue(kStart);
    EXPECT_EQ(agenda.next(), std::nullopt);
}

}  // namespace
