#include "desk/services/event_store.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/kit/temporary_directory.h"

using desk::EventStore;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace {

class EventStoreTest : public testing::Test {
  protected:
    std::string file() const { return (directory.path() / "events").string(); }
    static std::vector<EventStore::Event> eventsOf(const EventStore& store) {
        return {store.events().begin(), store.events().end()};
    }

    const TemporaryDirectory directory;
};

const EventStore::Event kFirst{1700000000000001U, "Europe/Berlin", 1, "a marker"};
const EventStore::Event kSecond{18446744073709551615U, "", 2, ""};

TEST_F(EventStoreTest, NumbersEventsFromOne) {
    EventStore store("", 10);
    EXPECT_EQ(store.lastNumber(), 0);
    EXPECT_EQ(store.add(kFirst.timestamp, kFirst.time_zone, kFirst.marker_id), kFirst);
    EXPECT_EQ(store.add(kSecond.timestamp, kSecond.time_zone, kSecond.marker_id), kSecond);
    EXPECT_THAT(eventsOf(store), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(store.lastNumber(), 2);
    EXPECT_TRUE(store.hasEventAt(kFirst.timestamp));
    EXPECT_FALSE(store.hasEventAt(7));
}

TEST_F(EventStoreTest, KeepsEventsOverARestart) {
    {
        EventStore store(file(), 10);
        store.add(kFirst.timestamp, kFirst.time_zone, kFirst.marker_id);
        store.add(kSecond.timestamp, kSecond.time_zone, kSecond.marker_id);
    }
    EventStore store(file(), 10);
    EXPECT_THAT(eventsOf(store), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(store.add(3, "UTC", "c").number, 3);
    EXPECT_EQ(contentOf(file()),
              "1 1700000000000001 Europe/Berlin a%20marker\n"
              "2 18446744073709551615 % %\n"
              "3 3 UTC c\n");
}

TEST_F(EventStoreTest, KeepsAnyByteOfAMarker) {
    std::string marker;
    for (int byte = 0; byte < 256; ++byte) {
        marker += static_cast<char>(byte);
    }
    EventStore(file(), 10).add(1, "%", marker + "%");
    EXPECT_THAT(eventsOf(EventStore(file(), 10)),
                ElementsAre(EventStore::Event{1, "%", 1, marker + "%"}));
}

TEST_F(EventStoreTest, CutsOffWhatWasBeingWrittenWhenTheLoggerDied) {
    directory.write("events", "1 5 UTC a\n2 6 UT");
    {
        EventStore store(file(), 10);
        EXPECT_EQ(store.lastNumber(), 1);
        store.add(7, "UTC", "b");
    }
    EXPECT_EQ(contentOf(file()), "1 5 UTC a\n2 7 UTC b\n");
}

TEST_F(EventStoreTest, RefusesAFileThatHoldsSomethingElse) {
    for (const char* const line : {"hello", "0 5 UTC a", "1 5 UTC", "1 5 UTC a b", "1 x UTC a",
                                   "1 5 UTC %", "1 5 UTC a%2", "1 5 UTC %ZZ", ""}) {
        directory.write("events", std::string("1 5 UTC a\n") + line + "\n");
        const auto open = [this] { EventStore store(file(), 10); };
        if (std::string(line) == "1 5 UTC %") {
            EXPECT_NO_THROW(open()) << line;  // an empty marker
        } else {
            EXPECT_THAT(open, ThrowsMessage<std::runtime_error>("line 2 of the event file \"" +
                                                                file() + "\" is no event"))
                << line;
        }
    }
}

TEST_F(EventStoreTest, SaysWhyAFileCannotBeUsed) {
    const std::string missing = (directory.path() / "nowhere" / "events").string();
    EXPECT_THAT(
        [&] { EventStore store(missing, 10); },
        ThrowsMessage<std::runtime_error>("the event file \"" + missing +
                                          "\" cannot be opened: No such file or directory"));
}

TEST_F(EventStoreTest, KeepsTheNewestEventsOnly) {
    EventStore store(file(), 2);
    for (std::uint64_t time = 1; time <= 5; ++time) {
        store.add(time, "UTC", "m");
    }
    EXPECT_EQ(store.events().size(), 2U);
    EXPECT_EQ(store.events().front().number, 4);
    EXPECT_EQ(store.lastNumber(), 5);
    EXPECT_EQ(EventStore(file(), 2).events().front().number, 4);
}

TEST_F(EventStoreTest, DoesNotLetTheFileGrowWithoutBound) {
    EventStore store(file(), 2);
    for (std::uint64_t time = 1; time <= 105; ++time) {
        store.add(time, "UTC", "m");
    }
    EXPECT_EQ(contentOf(file()), "104 104 UTC m\n105 105 UTC m\n");
    store.add(106, "UTC", "m");
    EXPECT_EQ(contentOf(file()), "104 104 UTC m\n105 105 UTC m\n106 106 UTC m\n");
}

TEST_F(EventStoreTest, KeepsTheNewestOfEventsWithALotOfText) {
    const std::string half(EventStore::kMostText / 2, 'm');
    EventStore store("", 10);
    for (std::uint64_t time = 1; time <= 4; ++time) {
        store.add(time, "", half);
    }
    EXPECT_EQ(store.events().size(), 2U);
    EXPECT_EQ(store.events().front().number, 3);
    store.add(5, "UTC", "m");
    EXPECT_EQ(store.events().size(), 2U);
    EXPECT_EQ(store.events().front().number, 4);
    store.add(6, "UTC", std::string(EventStore::kMostText + 1, 'm'));
    EXPECT_EQ(store.events().size(), 1U);
    store.clear();
    store.add(7, "", half);
    store.add(8, "", half);
    EXPECT_EQ(store.events().size(), 2U);
}

TEST_F(EventStoreTest, DoesNotLetALotOfTextMakeTheFileGrowWithoutBound) {
    const std::string most(EventStore::kMostText, 'm');
    for (std::uint64_t time = 1; time <= 2; ++time) {
        EventStore(file(), 10).add(time, "", most);
    }
    EXPECT_GT(contentOf(file()).size(), 2 * most.size());
    EventStore store(file(), 10);
    store.add(3, "UTC", "m");
    EXPECT_EQ(contentOf(file()), "3 3 UTC m\n");
    store.add(4, "", most);
    EXPECT_EQ(contentOf(file()), "3 3 UTC m\n4 4 % " + most + "\n");
}

TEST_F(EventStoreTest, BeginsAnewWhenItIsCleared) {
    EventStore store(file(), 10);
    store.add(1, "UTC", "a");
    store.clear();
    EXPECT_THAT(eventsOf(store), IsEmpty());
    EXPECT_EQ(store.lastNumber(), 0);
    EXPECT_EQ(contentOf(file()), "");
    EXPECT_EQ(store.add(2, "UTC", "b").number, 1);
    EXPECT_EQ(contentOf(file()), "1 2 UTC b\n");
}

}  // namespace
