#include "desk/network/heartbeat.h"

#include <gtest/gtest.h>

#include "krpbus/messages/system_message.h"

using desk::Heartbeat;
using desk::isHeartbeat;

namespace {

TEST(Heartbeat, ReadsWhatItWrites) {
    for (const auto kind :
         {Heartbeat::Kind::Join, Heartbeat::Kind::Alive, Heartbeat::Kind::Leave}) {
        const auto read = Heartbeat::fromText(Heartbeat{kind, "0001-7"}.toText());
        EXPECT_EQ(read.kind, kind);
        EXPECT_EQ(read.instance, "0001-7");
    }
}

TEST(Heartbeat, HasItsWordsInFrontOfTheInstance) {
    EXPECT_EQ((Heartbeat{Heartbeat::Kind::Join, "i"}.toText()), "join i");
    EXPECT_EQ((Heartbeat{Heartbeat::Kind::Alive, "i"}.toText()), "alive i");
    EXPECT_EQ((Heartbeat{Heartbeat::Kind::Leave, "i"}.toText()), "leave i");
}

TEST(Heartbeat, CountsEveryOtherTextAsAlive) {
    for (const char* const text : {"", "here", "joining x", " leave", "Alive 7"}) {
        EXPECT_EQ(Heartbeat::fromText(text).kind, Heartbeat::Kind::Alive) << text;
    }
    EXPECT_EQ(Heartbeat::fromText("leave").kind, Heartbeat::Kind::Leave);
    EXPECT_EQ(Heartbeat::fromText("leave").instance, "");
}

TEST(Heartbeat, IsASystemMessageOfItsTypeOnItsBus) {
    SystemMessage message(SystemMessage::SM_KSL_HEARTBEAT, "alive x");
    EXPECT_FALSE(isHeartbeat(message));
    message.setDestination("KSLHeartbeat");
    EXPECT_TRUE(isHeartbeat(message));
    SystemMessage other(SystemMessage::SM_STATE, "alive x");
    other.setDestination("KSLHeartbeat");
    EXPECT_FALSE(isHeartbeat(other));
}

}  // namespace
