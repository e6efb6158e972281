// A session with its bus thread, on a network of one to three loggers.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "krpbus/messages/simple_messages.h"
#include "network/common_commands.h"
#include "network/ksl_info.h"
#include "tests/kit/bus_loggers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/worker_session.h"
#include "threads/thread_krpbus_lv_data.h"

inline const std::string kLocal = "02:00:00:00:00:0A";
inline const std::string kOther = "02:00:00:00:00:0B";
inline const std::string kThird = "02:00:00:00:00:0C";

// A logger that does not answer a request.
inline const LoggerBehaviour kSilent{.answers = 0};

// The only logger, or the first of several, is this one.
class NetworkSession : public testing::Test {
  protected:
    NetworkSession() {
        setenv("KRPBUS_SERVER", nats_.address().c_str(), 1);
        setenv("KRPBUS_MAC", kLocal.c_str(), 1);
        setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
    }
    ~NetworkSession() override {
        if (thread_ != nullptr) {
            thread_->stop_thread();
        }
    }

    // Starts this many loggers, and the bus thread. The neighbour list goes to the record at once,
    // so that no test has to look at its answer.
    void start(int loggers) {
        const std::vector<std::string> macs{kLocal, kOther, kThird};
        facts_[0].neighbours.assign(macs.begin() + 1, macs.begin() + loggers);
        for (std::size_t i = 0; i < static_cast<std::size_t>(loggers); ++i) {
            loggers_.push_back(std::make_unique<BusLogger>(macs[i], facts_[i], nats_.port()));
        }
        thread_ = std::make_unique<ThreadKrpbusLvData>(&session_.setup, 0, "krpbus", krpbus_run);
        ASSERT_EQ(thread_->start_thread(), 0);
        kslInfo->setNeighbours({facts_[0].neighbours.begin(), facts_[0].neighbours.end()});
        kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
        log_.clear();
    }

    BusLogger& logger(std::size_t index) { return *loggers_[index]; }

    int run(const std::string& cmd) {
        Document doc;
        doc.Parse(R"({"command":")" + cmd + R"("})");
        return wa_handle_message_common(cmd, doc);
    }

    // All frames so far, those that are still on their way included. The message that marks the end
    // is sent when all of them have gone through the bus server: a first round for what this logger
    // passes on, a second for the others' answers, a third for these to reach the server.
    std::vector<std::string> sentInTheEnd() {
        for (int round = 0; round < 3; ++round) {
            for (const auto& each : loggers_) {
                each->settle();
            }
        }
        const std::size_t before = session_.host.frames().size();
        logger(0).client().sendTo("HandheldServer", thread_->getBusName(),
                                  std::make_unique<StringVectorMessageResponse<88>>());
        EXPECT_TRUE(session_.host.waitForFrames(before + 1));
        std::vector<std::string> sent = session_.sent();
        EXPECT_THAT(sent.back(), testing::StartsWith(R"({"response":"get_ksl_network")"));
        sent.pop_back();
        return sent;
    }

    // An answer of the second logger that nobody waits for any more.
    void sendLate(std::unique_ptr<MessageBase> answer) {
        logger(1).client().sendTo(
            "HandheldServer", "ksl://0/" + kLocal + "/" + thread_->getBusName(), std::move(answer));
    }

    std::vector<LoggerFacts> facts_{{.status = 1,
                                     .timeZone = "CET",
                                     .configName = "winter",
                                     .loggerName = "Front",
                                     .timeOffset = 0,
                                     .deviceClass = 6,
                                     .subType = 0,
                                     .softwareVersion = "3.1"},
                                    {.status = 2,
                                     .timeZone = "UTC",
                                     .configName = "summer",
                                     .loggerName = "Rear",
                                     .timeOffset = -250000,
                                     .deviceClass = 16,
                                     .subType = 21,
                                     .softwareVersion = "1.0"},
                                    {.status = 3,
                                     .timeZone = "EST",
                                     .configName = "autumn",
                                     .loggerName = "Roof",
                                     .timeOffset = 9000000000,
                                     .deviceClass = 112,
                                     .subType = 113,
                                     .softwareVersion = "2.4"}};
    NatsServer nats_;
    WorkerSession session_;
    LogCapture log_;
    std::vector<std::unique_ptr<BusLogger>> loggers_;
    std::unique_ptr<ThreadKrpbusLvData> thread_;
};
