#include "desk/sources/source.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/kit/temporary_directory.h"

using desk::LoggerIdentity;
using desk::parseSource;
using desk::Source;

namespace {

std::string errorOf(const std::string& text) {
    try {
        parseSource(text);
    } catch (const std::invalid_argument& wrong) {
        return wrong.what();
    }
    return "";
}

TEST(ParseSource, KnowsTheTwoWords) {
    EXPECT_EQ(parseSource("host").kind, Source::Kind::Host);
    EXPECT_EQ(parseSource("drive").kind, Source::Kind::Drive);
}

TEST(ParseSource, TakesARecording) {
    const TemporaryDirectory directory;
    const std::string file = directory.write("lap.csv", "time,speed [km/h]\n0,1\n");
    const Source source = parseSource(file);
    EXPECT_EQ(source.kind, Source::Kind::Recording);
    EXPECT_EQ(source.file, file);
    ASSERT_NE(source.recording, nullptr);
    EXPECT_EQ(source.recording->rows.size(), 1U);
}

TEST(ParseSource, SaysWhatIsWrongWithARecording) {
    const TemporaryDirectory directory;
    EXPECT_EQ(errorOf("nowhere.csv"),
              "\"nowhere.csv\" is neither host nor drive nor a file that exists");
    const std::string path = directory.path().string();
    EXPECT_EQ(errorOf(path), "the recording \"" + path + "\" cannot be read");
    const std::string empty = directory.write("empty.csv", "");
    EXPECT_EQ(errorOf(empty), "the recording \"" + empty +
                                  "\", line 1: the first row must be: time,<signal> [unit],...");
    const std::string other = directory.write("other.csv", "speed,time\n");
    EXPECT_EQ(errorOf(other), "the recording \"" + other +
                                  "\", line 1: the first row must be: time,<signal> [unit],...");
}

TEST(Describe, LetsAHostDescribeThisMachine) {
    utsname kernel{};
    ASSERT_EQ(uname(&kernel), 0);
    LoggerIdentity identity;
    describe(Source{}, identity);
    EXPECT_EQ(identity.name, kernel.nodename);
    EXPECT_EQ(identity.softwareVersion, std::string("Linux ") + kernel.release);
    EXPECT_FALSE(identity.configName.empty());
    EXPECT_FALSE(identity.timeZone.empty());
    EXPECT_FALSE(identity.componentName.empty());
}

TEST(Describe, LetsADriveDescribeADeskLogger) {
    setenv("TZ", "Asia/Tokyo", 1);
    LoggerIdentity identity;
    identity.mac = "02:00:00:00:00:02";
    describe(Source{Source::Kind::Drive, {}}, identity);
    EXPECT_EQ(identity.name, "Logger 02:00:00:00:00:02");
    EXPECT_EQ(identity.configName, "Test drive");
    EXPECT_EQ(identity.timeZone, "Asia/Tokyo");
    EXPECT_EQ(identity.softwareVersion, "desklogger " DESK_VERSION);
    EXPECT_EQ(identity.componentName, "Desk logger");
}

TEST(Describe, NamesTheConfigurationOfARecordingAfterItsFile) {
    LoggerIdentity identity;
    describe(Source{Source::Kind::Recording, "/data/first lap.csv"}, identity);
    EXPECT_EQ(identity.configName, "first lap");
}

}  // namespace
