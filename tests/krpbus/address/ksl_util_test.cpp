#include "krpbus/address/ksl_util.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "krpbus/address/macaddr.h"
#include "tests/kit/log_capture.h"

namespace {

TEST(MacAddress, IsWrittenInLowerOrUpperCase) {
    const macaddr_t address{{0x02, 0xAB, 0x00, 0xFF, 0x10, 0x0c}};
    EXPECT_EQ(address.toString(), "02:ab:00:ff:10:0c");
    EXPECT_EQ(address.toString(std::ios::uppercase), "02:AB:00:FF:10:0C");
    EXPECT_EQ(address.toString(std::ios::uppercase | std::ios::hex), "02:AB:00:FF:10:0C");
    EXPECT_EQ(address.toString(std::ios::hex), "02:ab:00:ff:10:0c");
}

TEST(MacAddress, IsReadInEitherCase) {
    const macaddr_t address{{0x02, 0xAB, 0x00, 0xFF, 0x10, 0x0c}};
    EXPECT_EQ(macaddr_t::parse("02:ab:00:FF:10:0C"), address);
    EXPECT_EQ(macaddr_t::parse("02-ab-00-ff-10-0c"), address);
    for (const char* text : {"", "02:ab:00:ff:10", "02:ab:00:ff:10:0c:00", "02:ab:00:ff:10:0g",
                             "02 ab 00 ff 10 0c", "2:ab:00:ff:10:0c0", "02:ab:00:ff:10:0c "}) {
        EXPECT_EQ(macaddr_t::parse(text), std::nullopt) << text;
    }
}

TEST(MacAddress, IsOrderedFromTheLeft) {
    EXPECT_LT(*macaddr_t::parse("01:ff:ff:ff:ff:ff"), *macaddr_t::parse("02:00:00:00:00:00"));
    EXPECT_LT(*macaddr_t::parse("02:00:00:00:00:7f"), *macaddr_t::parse("02:00:00:00:00:80"));
}

TEST(KslUtil, TakesTheLowestAddressFromTheEnvironmentOncePerProcess) {
    setenv("KRPBUS_MAC", "02:aa:00:00:00:01", 1);
    EXPECT_EQ(KSLUtil::findLowestMAC().toString(std::ios::uppercase), "02:AA:00:00:00:01");
    setenv("KRPBUS_MAC", "02:aa:00:00:00:02", 1);
    EXPECT_EQ(KSLUtil::findLowestMAC().toString(std::ios::uppercase), "02:AA:00:00:00:01");
}

// The machine's interfaces as the kernel shows them elsewhere.
std::optional<macaddr_t> lowestOfTheSystem() {
    std::optional<macaddr_t> lowest;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net")) {
        std::string text;
        std::ifstream(entry.path() / "address") >> text;
        const auto address = macaddr_t::parse(text);
        if (address && *address != macaddr_t{} && entry.path().filename() != "lo" &&
            (!lowest || *address < *lowest)) {
            lowest = address;
        }
    }
    return lowest;
}

TEST(KslUtil, TakesTheLowestAddressOfTheInterfaces) {
    unsetenv("KRPBUS_MAC");
    EXPECT_EQ(KSLUtil::findLowestMAC(), lowestOfTheSystem().value_or(macaddr_t{}));
}

TEST(KslUtil, ReportsAnAddressInTheEnvironmentThatIsNone) {
    setenv("KRPBUS_MAC", "nonsense", 1);
    const LogCapture log;
    EXPECT_EQ(KSLUtil::findLowestMAC(), lowestOfTheSystem().value_or(macaddr_t{}));
    EXPECT_EQ(log.logLines(),
              std::vector<std::string>{
                  "[ERROR] KLV::findLowestMAC() KRPBUS_MAC is not a hardware address: nonsense"});
}

TEST(KslUtil, MakesForwardingAddresses) {
    EXPECT_EQ(KSLUtil::createKslRouterMsgAddress(0, "02:aa:00:00:00:01", "HandheldServer"),
              "ksl://0/02:AA:00:00:00:01/HandheldServer");
    EXPECT_EQ(KSLUtil::createKslRouterMsgAddress(255, "", "a/b"), "ksl://255//a/b");
    EXPECT_EQ(KSLUtil::createKslBroadcastRouterMsgAddress("EventHandler"),
              "ksl://0/*/EventHandler");
}

TEST(KslUtil, TakesForwardingAddressesApart) {
    EXPECT_EQ(KSLUtil::splitAddress("ksl://7/02:aa:00:00:00:01/a/b"),
              (KslAddress{7, false, "02:AA:00:00:00:01", "a/b"}));
    EXPECT_EQ(KSLUtil::splitAddress("ksl://0/*/EventHandler"),
              (KslAddress{0, true, "", "EventHandler"}));
    EXPECT_EQ(KSLUtil::splitAddress("ksl://0//"), (KslAddress{0, false, "", ""}));
    for (const char* text :
         {"", "HandheldServer", "ksl:", "ksl://", "ksl://0", "ksl://0/M", "ksl:///M/a",
          "ksl://256/M/a", "ksl://-1/M/a", "ksl://0x/M/a", "KSL://0/M/a", " ksl://0/M/a"}) {
        EXPECT_EQ(KSLUtil::splitAddress(text), std::nullopt) << text;
    }
}

TEST(KslUtil, ReadsTheLoggerOfAForwardingAddress) {
    unsigned char link = 99;
    std::string mac = "untouched";
    EXPECT_FALSE(KSLUtil::parseForwardMsgAddr("HandheldServer", link, mac));
    EXPECT_FALSE(KSLUtil::parseForwardMsgAddr("", link, mac));
    EXPECT_FALSE(KSLUtil::parseForwardMsgAddr("ksl://0/*/HandheldServer", link, mac));
    EXPECT_EQ(link, 99);
    EXPECT_EQ(mac, "untouched");
    EXPECT_TRUE(KSLUtil::parseForwardMsgAddr("ksl://3/02:aa:00:00:00:01/x", link, mac));
    EXPECT_EQ(link, 3);
    EXPECT_EQ(mac, "02:AA:00:00:00:01");
}

}  // namespace
