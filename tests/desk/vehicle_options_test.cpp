#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "desk/options.h"

using testing::HasSubstr;

namespace {

const std::string kLog = DEMO_DIRECTORY "/drive.log";
const std::string kDatabase = DEMO_DIRECTORY "/drive.dbc";

/// What is said about a command line that is refused; empty when it is not.
std::string refusalOf(const std::vector<std::string>& arguments) {
    std::ostringstream out;
    std::ostringstream errors;
    const desk::CommandLine read = desk::readCommandLine(arguments, out, errors);
    EXPECT_EQ(read.options.has_value(), errors.str().empty());
    EXPECT_TRUE(read.options.has_value() || read.exitCode == 2);
    return errors.str();
}

TEST(VehicleOptions, TakeARecordingWithItsDatabase) {
    std::ostringstream out;
    std::ostringstream errors;
    const desk::CommandLine read = desk::readCommandLine(
        {"--source", "can:" + kLog, "--dbc", kDatabase, "--speed", "2", "--once", "--bitrate",
         "can0:250k/1M", "--trigger", "Engine.Speed > 3000"},
        out, errors);
    EXPECT_EQ(errors.str(), "");
    ASSERT_TRUE(read.options.has_value());
    EXPECT_EQ(read.options->source.kind, desk::Source::Kind::Can);
    EXPECT_NE(read.options->source.can, nullptr);
    EXPECT_EQ(read.options->triggers.size(), 1u);
}

TEST(VehicleOptions, AreRefusedWhereThereAreNoFrames) {
    for (const std::vector<std::string>& option :
         std::vector<std::vector<std::string>>{{"--dbc", kDatabase},
                                               {"--bitrate", "500k"},
                                               {"--trigger", "A.B > 1"},
                                               {"--speed", "2"},
                                               {"--once"},
                                               {"--raw"}}) {
        std::vector<std::string> arguments{"--source", "drive"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        EXPECT_THAT(refusalOf(arguments), HasSubstr("frames of a vehicle")) << option.front();
    }
}

TEST(VehicleOptions, NameWhatIsWrongWithAValue) {
    const std::vector<std::string> vehicle{"--source", "can:" + kLog};
    const auto with = [&](const std::string& option, const std::string& value) {
        std::vector<std::string> arguments = vehicle;
        arguments.push_back(option);
        arguments.push_back(value);
        return refusalOf(arguments);
    };
    EXPECT_THAT(with("--speed", "0"), HasSubstr("\"0\" is not a number from 0.001 to 1000"));
    EXPECT_THAT(with("--speed", "fast"), HasSubstr("\"fast\" is not a number from 0.001 to 1000"));
    EXPECT_THAT(with("--bitrate", "many"),
                HasSubstr("\"many\" is not a bit rate like 500k, 500k/2M or can1:250k"));
    EXPECT_THAT(with("--dbc", "/nonexistent.dbc"), HasSubstr("/nonexistent.dbc"));
    EXPECT_THAT(with("--trigger", "no condition"), HasSubstr("--trigger"));
    EXPECT_THAT(with("--gps", "host:nothing"), HasSubstr("--gps"));
}

TEST(VehicleOptions, LeaveStandardInputToOneReader) {
    EXPECT_THAT(refusalOf({"--source", "can:-", "--commands"}),
                HasSubstr("reads standard input, and so does --source can:-"));
}

}  // namespace
