#include "modules/busload/bus_vocabulary.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "network/ksl_info.h"

namespace {

const std::map<unsigned int, std::string> kBusTexts = {
    {1, "BUSID_CAN"},    {2, "BUSID_SERIAL"},   {3, "BUSID_MOST25"},  {4, "BUSID_FLEXRAY"},
    {5, "BUSID_LIN"},    {6, "BUSID_ETHERNET"}, {7, "BUSID_CAMERA"},  {8, "BUSID_MOST150"},
    {9, "BUSID_MOST50"}, {10, "BUSID_ANALOG"},  {11, "BUSID_CCPXCP"}, {12, "BUSID_GPIO"},
    {13, "BUSID_GPS"},   {14, "BUSID_ECL"},     {16, "BUSID_TTY"},    {19, "BUSID_MII"},
};

const std::map<unsigned int, std::string> kUnitTexts = {
    {0, "UNIT_NONE"},       {1, "UNIT_PERCENT"},    {2, "UNIT_BYTES_SEC"},  {3, "UNIT_KBYTES_SEC"},
    {4, "UNIT_MBYTES_SEC"}, {5, "UNIT_GBYTES_SEC"}, {6, "UNIT_FRAMES_SEC"}, {7, "UNIT_KFRAMES_SEC"},
    {8, "UNIT_BYTES"},      {9, "UNIT_KBYTES"},     {10, "UNIT_MBYTES"},    {11, "UNIT_GBYTES"},
};

std::string textOr(const std::map<unsigned int, std::string>& texts, unsigned int number,
                   const std::string& otherwise) {
    const auto found = texts.find(number);
    return found != texts.end() ? found->second : otherwise;
}

class BusVocabulary : public testing::Test {
  protected:
    BusVocabulary() : object_(rapidjson::kObjectType) {}

    std::string member(const char* name) const { return object_[name].GetString(); }

    Document object_;
};

}  // namespace

TEST_F(BusVocabulary, NamesEveryBusAndCallsAllOthersUnknown) {
    for (unsigned int number = 0; number < 256; ++number) {
        object_.SetObject();
        addBusIdToDom(object_, static_cast<busid_t>(number), object_.GetAllocator());
        EXPECT_EQ(object_.MemberCount(), 1U);
        EXPECT_EQ(member("bus_id"), textOr(kBusTexts, number, "BUSID_UNKNOWN")) << number;
    }
}

TEST_F(BusVocabulary, NamesEveryUnitAndCallsAllOthersNone) {
    for (unsigned int number = 0; number < 256; ++number) {
        object_.SetObject();
        addBusloadUnitToDom(object_, static_cast<BusLoadExtMessage::unit_t>(number),
                            object_.GetAllocator());
        EXPECT_EQ(object_.MemberCount(), 1U);
        EXPECT_EQ(member("unit"), textOr(kUnitTexts, number, "UNIT_NONE")) << number;
    }
}

TEST_F(BusVocabulary, KnowsTheThreeGenerationsOfMost) {
    for (unsigned int number = 0; number < 256; ++number) {
        EXPECT_EQ(isMostBus(static_cast<busid_t>(number)),
                  number == 3 || number == 8 || number == 9)
            << number;
    }
}

TEST_F(BusVocabulary, CountsTheLocalLoggersChannelsFromOne) {
    kslInfo->setNeighbours({"02:00:00:00:00:02"});
    EXPECT_EQ(shownChannel(0, 0), 1U);
    EXPECT_EQ(shownChannel(4, 0), 5U);
    EXPECT_EQ(shownChannel(255, 0), 256U);
}

TEST_F(BusVocabulary, ShiftsANetworkMembersChannelsByTheirOffsetAlone) {
    kslInfo->setNeighbours({"02:00:00:00:00:02"});
    EXPECT_EQ(shownChannel(0, 10), 10U);
    EXPECT_EQ(shownChannel(3, 10), 13U);
    EXPECT_EQ(shownChannel(255, 255), 510U);
}

TEST_F(BusVocabulary, IgnoresTheOffsetOfALoggerThatStandsAlone) {
    kslInfo->setNeighbours({});
    EXPECT_EQ(shownChannel(3, 10), 4U);
}

TEST_F(BusVocabulary, IgnoresTheOffsetBeforeTheNeighboursAreKnown) {
    EXPECT_EQ(shownChannel(3, 10), 4U);
}

TEST_F(BusVocabulary, IgnoresTheOffsetWithoutANetworkRecord) {
    kslInfo->setNeighbours({"02:00:00:00:00:02"});
    delete kslInfo;
    kslInfo = nullptr;
    EXPECT_EQ(shownChannel(3, 10), 4U);
}
