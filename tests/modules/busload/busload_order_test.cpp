// Figures that arrive while others are being shown.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_values.h"
#include "tests/kit/after_first_send.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"
#include "tests/modules/busload/busload_samples.h"

using testing::ElementsAre;

namespace {

using namespace std::chrono_literals;

// A logger with two buses and a receiver, all of them shown, and what the browser gets of them.
class BusloadOrder : public testing::Test {
  protected:
    BusloadOrder() {
        const KRPResponseGetBusNames answer({bus(BUSID_CAN, 0, 0, "a"), bus(BUSID_CAN, 1, 0, "b"),
                                             bus(BUSID_GPS, 0, 0, "Receiver")});
        busInfo->addBusnamesMessage(&answer, kLocalLogger);
        sendInitialValues();
        session_.host.clearFrames();
    }

    // Runs `operation`; while its first message is being sent another thread brings a figure of
    // "a" and a GPS state. The messages, as "<name> <value>".
    std::vector<std::string> shownBy(const std::function<void()>& operation) {
        std::thread other;
        {
            const AfterFirstSend afterFirst(session_.host, [&] {
                other = std::thread([] {
                    const BusLoadExtMessage message = figure(BUSID_CAN, 0, 7);
                    updateBusValue(&message, kLocalLogger);
                    const GPSTraceMessage gps = gpsState("A");
                    updateBusValueGps(&gps, kLocalLogger);
                });
                // They would come before the operation's next message if nothing held them back.
                session_.host.waitForFrames(2, 200ms);
            });
            operation();
            other.join();
        }
        std::vector<std::string> shown;
        for (std::size_t i = 0; i < session_.host.texts().size(); ++i) {
            const Document doc = session_.host.json(i);
            const auto& data = doc["data"];
            shown.push_back(data["name"].GetString() + std::string(" ") +
                            std::to_string(data["value"].GetInt()));
        }
        return shown;
    }

    WorkerSession session_;
    LogCapture log_;
};

}  // namespace

TEST_F(BusloadOrder, LetsNoFigureInBetweenTheCurrentValues) {
    EXPECT_THAT(shownBy([] { sendBusValues(); }),
                ElementsAre("a -4", "b -4", "Receiver -4", "a 7", "GPS 0"));
}

TEST_F(BusloadOrder, LetsNoFigureInBetweenTheInitialValues) {
    EXPECT_THAT(shownBy([] { sendInitialValues(); }),
                ElementsAre("a -4", "b -4", "Receiver -4", "GPS -4", "a 7", "GPS 0"));
}

TEST_F(BusloadOrder, LetsNoFigureInBetweenTheUnknownValuesOfAStop) {
    EXPECT_THAT(shownBy([] { busloadSetUnknown(); }),
                ElementsAre("a -4", "b -4", "Receiver -4", "a 7", "GPS 0"));
}

TEST_F(BusloadOrder, ShowsTheFiguresOfABusInTheOrderInWhichTheyWereStored) {
    const auto arrive = [] {
        const BusLoadExtMessage message = figure(BUSID_CAN, 0, 6);
        updateBusValue(&message, kLocalLogger);
    };
    EXPECT_THAT(shownBy(arrive), ElementsAre("a 6", "a 7", "GPS 0"));
}
