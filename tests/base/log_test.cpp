// The log: what a line looks like, and that lines stay whole.
#include "base/log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/kit/log_capture.h"
#include "tests/plugin/allocation_fault.h"

TEST(LogUtil, BeginsALineWithItsLevelAndFunction) {
    const LogCapture capture;
    LogUtil::log(LogLevel::Debug, "f", "a");
    LogUtil::log(LogLevel::Info, "f", "b");
    LogUtil::log(LogLevel::Warning, "f", "c");
    LogUtil::log(LogLevel::Error, "~Class", "");
    EXPECT_EQ(capture.standardOutput(),
              "[DEBUG] KLV::f() a\n[INFO] KLV::f() b\n[WARNING] KLV::f() c\n"
              "[ERROR] KLV::~Class() \n");
    EXPECT_EQ(capture.standardError(), "");
}

TEST(LogUtil, PutsPiecesOneBehindTheOther) {
    const LogCapture capture;
    LogUtil::logPieces(LogLevel::Info, "f", {"a", "", "b c", "d"});
    LogUtil::logPieces(LogLevel::Info, "f", {});
    EXPECT_EQ(capture.standardOutput(), "[INFO] KLV::f() ab cd\n[INFO] KLV::f() \n");
}

TEST(LogUtil, WritesALineThatThereIsNoMemoryFor) {
    const LogCapture capture;
    const std::string text(100, 'x');
    const std::string line = "[ERROR] KLV::f() " + text + "y\n";
    failingAllocationSize = line.size() + 1;
    LogUtil::logPieces(LogLevel::Error, "f", {text, "y"});
    EXPECT_EQ(std::exchange(failingAllocationSize, 0), 0U) << "no allocation has failed";
    failingAllocationSize = line.size() + 1;
    LogUtil::log(LogLevel::Error, "f", text + "y");
    EXPECT_EQ(std::exchange(failingAllocationSize, 0), 0U) << "no allocation has failed";
    EXPECT_EQ(capture.standardOutput(), line + line);
}

TEST(LogUtil, WritesNothingWhileTheMutexIsHeld) {
    const LogCapture capture;
    std::thread writer;
    {
        const std::lock_guard lock(LogUtil::logMutex);
        writer = std::thread([] { LogUtil::log(LogLevel::Info, "f", "late"); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(capture.standardOutput(), "");
    }
    writer.join();
    EXPECT_EQ(capture.standardOutput(), "[INFO] KLV::f() late\n");
}

TEST(LogUtil, KeepsTheLinesOfManyThreadsWhole) {
    const LogCapture capture;
    const std::string text(300, 'x');
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i) {
        writers.emplace_back([&text] {
            for (int line = 0; line < 500; ++line) {
                LogUtil::log(LogLevel::Debug, "f", text);
                LogUtil::redirectOutputToError();
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    const std::vector<std::string> lines = capture.logLines();
    EXPECT_EQ(lines.size(), 2000U);
    EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), [&text](const std::string& line) {
        return line == "[DEBUG] KLV::f() " + text;
    }));
}

TEST(LogUtil, GoesWhereStandardErrorGoesOnceItIsToldTo) {
    const LogCapture capture;
    LogUtil::redirectOutputToError();
    LogUtil::redirectOutputToError();
    LogUtil::log(LogLevel::Info, "f", "text");
    EXPECT_EQ(std::cout.rdbuf(), std::cerr.rdbuf());
    EXPECT_EQ(capture.standardOutput(), "");
    EXPECT_EQ(capture.standardError(), "[INFO] KLV::f() text\n");
}

TEST(LogUtil, GoesOnAfterALineThatCouldNotBeWritten) {
    const LogCapture capture;
    std::cout.setstate(std::ios::badbit);
    LogUtil::log(LogLevel::Info, "f", "lost");
    LogUtil::log(LogLevel::Info, "f", "there");
    EXPECT_EQ(capture.standardOutput(), "[INFO] KLV::f() there\n");
}
