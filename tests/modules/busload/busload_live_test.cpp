// The module in a whole session: real bus server, real bus thread, two loggers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "krpbus/messages/system_message.h"
#include "modules/busload/bus_names_responses.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_module.h"
#include "modules/busload/busload_values.h"
#include "plugin/lv_websocket.h"
#include "tests/kit/bus_loggers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/recording_host.h"
#include "tests/modules/busload/busload_samples.h"

using testing::HasSubstr;

namespace {

using namespace std::chrono_literals;
using Names = KRPResponseGetBusNames;

LoggerFacts facts(const std::string& name, const std::string& neighbour) {
    LoggerFacts result;
    result.loggerName = name;
    result.configName = "configuration";
    result.neighbours = {neighbour};
    return result;
}

// A host whose browser stops reading on demand: `send` waits, as the interface allows it.
class StallingHost : public RecordingHost {
  public:
    void stall(bool on) { stalled_ = on; }
    bool waitForSender() const {
        for (int i = 0; i < 2000 && waiting_ == 0; ++i) {
            std::this_thread::sleep_for(10ms);
        }
        return waiting_ != 0;
    }

  protected:
    std::size_t send(int type, const unsigned char* buffer, std::size_t size) override {
        ++waiting_;
        while (stalled_) {
            std::this_thread::sleep_for(1ms);
        }
        --waiting_;
        return RecordingHost::send(type, buffer, size);
    }

  private:
    std::atomic<bool> stalled_{false};
    std::atomic<int> waiting_{0};
};

class BusloadLive : public testing::Test {
  protected:
    BusloadLive() {
        setenv("KRPBUS_MAC", kLocalLogger.c_str(), 1);
        setenv("KRPBUS_SERVER", server_.address().c_str(), 1);
        local_ =
            std::make_unique<BusLogger>(kLocalLogger, facts("Front", kOtherLogger), server_.port());
        other_ =
            std::make_unique<BusLogger>(kOtherLogger, facts("Rear", kLocalLogger), server_.port());
        local_->addAnswer(std::make_unique<Names>(
            std::vector<Names::busName_t>{{BUSID_CAN, 0, 0, "Powertrain"}}));
        other_->addAnswer(
            std::make_unique<Names>(std::vector<Names::busName_t>{{BUSID_CAN, 0, 10, "Chassis"}}));
        session_ = std::make_unique<LvWebsocket>(host_.server());
        name_ = stp->krpbus_name;
    }
    ~BusloadLive() override { stopFigures(); }

    void command(const std::string& request) {
        session_->wa_handle_message(reinterpret_cast<const unsigned char*>(request.data()),
                                    static_cast<unsigned>(request.size()));
    }
    void startBusload() {
        command(R"({"command": "get_logger_info"})");
        ASSERT_TRUE(host_.waitForText("\"softwareVersion\""));
        for (int i = 0; i < 2000 && !kslInfo->loggerInfoComplete(); ++i) {
            std::this_thread::sleep_for(10ms);
        }
        command(R"({"command": "busload_start"})");
        ASSERT_TRUE(host_.waitForText("Chassis"));
        ASSERT_TRUE(host_.waitForText("Powertrain"));
    }
    void sendFigure(std::int32_t value) {
        local_->client().sendTo("HandheldServer", name_, figure(BUSID_CAN, 0, value).clone());
        other_->client().sendTo("HandheldServer", "ksl://0/" + kLocalLogger + "/" + name_,
                                figure(BUSID_CAN, 0, value).clone());
    }
    // A hundred thousand changing figures, or as many as there are until the test ends.
    void pourFigures() {
        pouring_ = std::thread([this] {
            for (std::int32_t value = 0; value < 50000 && !stop_; ++value) {
                sendFigure(value);
            }
        });
    }
    void stopFigures() {
        stop_ = true;
        if (pouring_.joinable()) {
            pouring_.join();
        }
    }

    NatsServer server_;
    LogCapture log_;
    StallingHost host_;
    std::unique_ptr<BusLogger> local_;
    std::unique_ptr<BusLogger> other_;
    std::unique_ptr<LvWebsocket> session_;
    std::string name_;
    std::thread pouring_;
    std::atomic<bool> stop_{false};
};

}  // namespace

TEST_F(BusloadLive, ShowsTheFiguresOfEveryLogger) {
    startBusload();
    sendFigure(42);
    EXPECT_TRUE(host_.waitForFrame([](const SentFrame& frame) {
        return frame.payload.find("Powertrain") != std::string::npos &&
               frame.payload.find("\"value\": 42") != std::string::npos;
    }));
    EXPECT_TRUE(host_.waitForFrame([](const SentFrame& frame) {
        return frame.payload.find("\"logger_name\": \"Rear\"") != std::string::npos &&
               frame.payload.find("\"channel\": 10") != std::string::npos &&
               frame.payload.find("\"value\": 42") != std::string::npos;
    }));
    EXPECT_TRUE(local_->waitForReceived("75-LVStartBusload"));
    EXPECT_TRUE(other_->waitForReceived("75-LVStartBusload"));
    host_.clearFrames();
    command(R"({"command": "busload_stop"})");
    EXPECT_TRUE(host_.waitForText("\"response\": \"busload_stop\""));
    EXPECT_TRUE(host_.waitForText("\"value\": -4"));
    EXPECT_TRUE(other_->waitForReceived("76-LVStopBusload"));
}

TEST_F(BusloadLive, TurnsEverythingUnknownWhenALoggerIsOffAndKeepsTheConnection) {
    startBusload();
    sendFigure(42);
    ASSERT_TRUE(host_.waitForText("\"value\": 42"));
    for (const char* state : {"8-loggerOff", "3-stop"}) {
        host_.clearFrames();
        local_->client().sendToAll("KRPBusServer", std::make_unique<SystemMessage>(4, state));
        EXPECT_TRUE(host_.waitForText("\"value\": -4"));
    }
    for (const SentFrame& frame : host_.frames()) {
        EXPECT_EQ(frame.type, WEBSOCKET_MESSAGE_TEXT);
    }
}

TEST_F(BusloadLive, EndsWhileFiguresPourIn) {
    startBusload();
    pourFigures();
    ASSERT_TRUE(host_.waitForFrames(500));
    session_.reset();
    EXPECT_THAT(log_.logLines().back(), HasSubstr("LvWebsocket destroyed"));
    // What is shown after the bus thread has been joined is the module's own farewell.
    const std::size_t frames = host_.frames().size();
    stopFigures();
    EXPECT_EQ(host_.frames().size(), frames);
}

TEST_F(BusloadLive, GoesOnAfterABrowserThatDidNotRead) {
    startBusload();
    pourFigures();
    ASSERT_TRUE(host_.waitForFrames(100));
    host_.stall(true);
    ASSERT_TRUE(host_.waitForSender());
    // The bus thread waits in the module, with its mutex; so does the command now.
    std::thread browser([this] { command(R"({"command": "busload_stop"})"); });
    std::this_thread::sleep_for(50ms);
    host_.stall(false);
    browser.join();
    EXPECT_TRUE(host_.waitForText("\"response\": \"busload_stop\""));
}

TEST_F(BusloadLive, StartsAndStopsWhileFiguresPourIn) {
    startBusload();
    pourFigures();
    for (int i = 0; i < 20; ++i) {
        command(R"({"command": "busload_stop"})");
        command(R"({"command": "busload_start"})");
    }
    session_.reset();
    EXPECT_FALSE(busInfo->running);
}
