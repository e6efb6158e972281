#include "network/bus_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <thread>

#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "network/ksl_info.h"
#include "tests/kit/bus_loggers.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/patient_connect.h"
#include "tests/kit/slept_time.h"
#include "tests/kit/worker_session.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kLocal = "02:00:00:00:00:0A";
const std::string kOther = "02:00:00:00:00:0B";
const std::string kThird = "02:00:00:00:00:0C";
const std::string kName = "17_KLV1";

// A session with a bus client, but without a thread that reads it.
class BusRequests : public testing::Test {
  protected:
    BusRequests() {
        setenv("KRPBUS_MAC", kLocal.c_str(), 1);
        local_.emplace(kLocal, LoggerFacts{.neighbours = {kOther, kThird}}, nats_.port());
        connect(kName);
    }

    void connect(const std::string& name) {
        client_.reset();
        client_ = std::make_unique<KRPBusClient>(name, "127.0.0.1", nats_.port());
        connectPatiently(*client_);
        session_.setup.krpbus = client_.get();
        session_.setup.krpbus_name = name;
    }

    // The requests of this id that have come in at the logger, once all others are in too.
    int requestsAt(BusLogger& logger, krpMsgID_t id) {
        const int before = logger.requests(53);
        sendMessage(SimpleMessageRequest<53>(), "HandheldServer", logger.mac());
        EXPECT_TRUE(logger.waitForRequests(53, before + 1));
        return logger.requests(id);
    }

    // The notices of this text that have come in at the logger and its forwarder, once all are in.
    std::ptrdiff_t noticesAt(BusLogger& logger, const std::string& text) {
        requestsAt(logger, 53);
        const auto received = logger.received();
        return std::count_if(received.begin(), received.end(), [&](const std::string& one) {
            return one.find(text) != std::string::npos;
        });
    }

    NatsServer nats_;
    WorkerSession session_;
    std::optional<BusLogger> local_;
    std::unique_ptr<KRPBusClient> client_;
    LogCapture log_;
};

std::string printed(const std::string& source, const std::string& destination) {
    return RouterMessage(source, destination, SimpleMessageRequest<23>().clone()).toString();
}

}  // namespace

TEST_F(BusRequests, SendDirectlyToThisLogger) {
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kLocal);
    ASSERT_TRUE(local_->waitForRequests(23, 1));
    EXPECT_THAT(local_->received(), ElementsAre("HandheldServer from " + kName + ": " +
                                                SimpleMessageRequest<23>().toString()));
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::sendMessage() send message to HandheldServer sourceMac=" +
                            kLocal + " stp->krpbus_name=" + kName));
}

TEST_F(BusRequests, SendToAnotherLoggerThroughTheForwarder) {
    const BusLogger other(kOther, {}, nats_.port());
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kOther);
    ASSERT_TRUE(other.waitForRequests(23, 1));
    const std::string address = KSLUtil::createKslRouterMsgAddress(0, kOther, "HandheldServer");
    EXPECT_THAT(local_->received(),
                ElementsAre("KSLForwarder from " + kName + ": " + printed(kName, address)));
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[DEBUG] KLV::sendMessage() send message to HandheldServer sourceMac=" +
                                kOther + " stp->krpbus_name=" + kName,
                            "[DEBUG] KLV::sendMessage() destination: " + address,
                            "[DEBUG] KLV::sendMessage() RouterMessage" + printed(kName, address)));
}

TEST_F(BusRequests, TakeTheOwnAddressInLowerCaseForAnotherLogger) {
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", "02:00:00:00:00:0a");
    EXPECT_TRUE(local_->waitForReceived("KSLForwarder from " + kName + ": RouterMessage"));
    EXPECT_TRUE(local_->waitForRequests(23, 1)) << "the forwarder knows better";
}

TEST_F(BusRequests, HandAnEmptyAddressToTheForwarder) {
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", "");
    const std::string address = KSLUtil::createKslRouterMsgAddress(0, "", "HandheldServer");
    EXPECT_TRUE(
        local_->waitForReceived("KSLForwarder from " + kName + ": " + printed(kName, address)));
    EXPECT_THAT(log_.logLines(), Contains("[DEBUG] KLV::sendMessage() destination: " + address));
    EXPECT_EQ(requestsAt(*local_, 23), 0);
}

TEST_F(BusRequests, CutLongNamesInTheEnvelopeOnly) {
    const std::string longName(300, 'n');
    connect(longName);
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kLocal);
    EXPECT_TRUE(local_->waitForReceived("HandheldServer from " + longName + ": KRPMessageRequest"));

    const std::string longTarget(300, 't');
    sendMessage(SimpleMessageRequest<23>(), longTarget, kOther);
    const std::string address = KSLUtil::createKslRouterMsgAddress(0, kOther, longTarget);
    EXPECT_TRUE(local_->waitForReceived("KSLForwarder from " + longName +
                                        ": RouterMessage [source=" + longName.substr(0, 255) +
                                        "] [destination=" + address.substr(0, 255) + "] "));
    EXPECT_THAT(log_.logLines(), Contains("[DEBUG] KLV::sendMessage() destination: " + address));
}

TEST_F(BusRequests, ListenToLiveDataFromItsStartToItsStop) {
    const auto send = [this](const std::string& name) {
        SignalMessage value;
        value.webappName = name;
        std::vector<std::unique_ptr<MessageBase>> values;
        values.push_back(value.clone());
        local_->client().sendLive("HandheldServer", krpbus::LiveData::Signals, {}, values);
    };
    // What has come in before an answer that follows all else.
    const auto received = [this] {
        sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kLocal);
        std::vector<std::string> names;
        const auto deadline = Clock::now() + std::chrono::seconds(20);
        while (Clock::now() < deadline) {
            client_->read();
            while (const auto message = client_->getMessage()) {
                const auto* const value = dynamic_cast<const SignalMessage*>(message.get());
                if (value == nullptr) {
                    return names;
                }
                names.push_back(value->webappName);
            }
            std::this_thread::sleep_for(milliseconds(1));
        }
        return names;
    };
    send("too early");
    EXPECT_THAT(received(), IsEmpty());
    startLiveData(krpbus::LiveData::Signals);
    ASSERT_TRUE(local_->waitForReceived("77-LVStartSignals"));
    ASSERT_TRUE(local_->waitForReceived("KSLForwarder"));
    EXPECT_THAT(local_->received(), Contains(AllOf(HasSubstr("HandheldServer from " + kName),
                                                   HasSubstr("77-LV"), EndsWith("[shared]"))));
    EXPECT_THAT(local_->received(), Contains(AllOf(HasSubstr("KSLForwarder from " + kName),
                                                   HasSubstr("77-LV"), EndsWith("[shared]"))));
    send("between");
    EXPECT_THAT(received(), ElementsAre("between"));
    stopLiveData(krpbus::LiveData::Signals);
    ASSERT_TRUE(local_->waitForReceived("78-LVStopSignals"));
    EXPECT_THAT(received(), IsEmpty());
    send("too late");
    EXPECT_THAT(received(), IsEmpty());
}

TEST_F(BusRequests, AskAgainForTheLiveDataThatIsStartedAfterTheBusWasAway) {
    startLiveData(krpbus::LiveData::Loads);
    startLiveData(krpbus::LiveData::Signals);
    stopLiveData(krpbus::LiveData::Loads);
    EXPECT_EQ(noticesAt(*local_, "77-LVStartSignals"), 2) << "for this logger and the others";

    networkBusReconnected();
    EXPECT_EQ(noticesAt(*local_, "77-LVStartSignals"), 4);
    EXPECT_EQ(noticesAt(*local_, "75-LVStartBusload"), 2);

    startLiveData(krpbus::LiveData::Loads);
    stopLiveData(krpbus::LiveData::Signals);
    networkBusReconnected();
    EXPECT_EQ(noticesAt(*local_, "77-LVStartSignals"), 4);
    EXPECT_EQ(noticesAt(*local_, "75-LVStartBusload"), 6);
}

TEST_F(BusRequests, BroadcastOnceToEveryLogger) {
    BusLogger other(kOther, {}, nats_.port());
    BusLogger third(kThird, {}, nats_.port());
    sendKslBroadcast(SimpleMessageRequest<23>(), "HandheldServer");
    EXPECT_TRUE(other.waitForRequests(23, 1));
    EXPECT_TRUE(third.waitForRequests(23, 1));
    const std::string address = KSLUtil::createKslBroadcastRouterMsgAddress("HandheldServer");
    EXPECT_THAT(
        local_->received(),
        ElementsAre("HandheldServer from " + kName + ": " + SimpleMessageRequest<23>().toString(),
                    "KSLForwarder from " + kName + ": " + printed(kName, address)));
    EXPECT_EQ(requestsAt(*local_, 23), 1) << "never through the forwarder, too";
    EXPECT_EQ(requestsAt(other, 23), 1);
    EXPECT_EQ(requestsAt(third, 23), 1);
}

TEST_F(BusRequests, CutLongNamesInABroadcastsEnvelope) {
    const std::string longName(300, 'n');
    connect(longName);
    const std::string longTarget(300, 't');
    sendKslBroadcast(SimpleMessageRequest<23>(), longTarget);
    const std::string address = KSLUtil::createKslBroadcastRouterMsgAddress(longTarget);
    EXPECT_TRUE(local_->waitForReceived("RouterMessage [source=" + longName.substr(0, 255) +
                                        "] [destination=" + address.substr(0, 255) + "] "));
}

TEST_F(BusRequests, AskForTheNeighboursOnceAndReturnAtOnce) {
    const SleptTime slept;
    getKSLNetwork(0);
    getKSLNetwork(-3);
    EXPECT_EQ(slept.microseconds(), 0U);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(requestsAt(*local_, 88), 1);
    EXPECT_THAT(local_->received().front(),
                "HandheldServer from " + kName + ": " + SimpleMessageRequest<88>().toString());
}

TEST_F(BusRequests, AskForTheNeighboursAnewOnceTheListIsThere) {
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    getKSLNetwork(0);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(requestsAt(*local_, 88), 1);
}

TEST_F(BusRequests, WaitForTheNeighboursAsLongAsToldAndNoLonger) {
    const SleptTime slept;
    getKSLNetwork(3);
    EXPECT_EQ(slept.microseconds(), 300'000U);
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);
}

TEST_F(BusRequests, WaitOnWhenTheRequestFailsMeanwhile) {
    std::thread failure([] {
        while (kslInfo->neighboursState != KSL_MSG_STATE_UPDATE) {
            std::this_thread::sleep_for(milliseconds(1));
        }
        kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
    });
    const auto begin = Clock::now();
    getKSLNetwork(4);
    EXPECT_GE(Clock::now() - begin, milliseconds(400));
    failure.join();
    EXPECT_EQ(requestsAt(*local_, 88), 1);
}

TEST_F(BusRequests, EndTheirWaitWhenTheNeighboursAreThere) {
    std::thread answer([] {
        std::this_thread::sleep_for(milliseconds(250));
        kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    });
    const auto begin = Clock::now();
    getKSLNetwork(100);
    EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    answer.join();
}

TEST_F(BusRequests, AskOnceWhenTwoThreadsNeedTheNeighbours) {
    for (int round = 1; round <= 20; ++round) {
        kslInfo->neighboursState = KSL_MSG_STATE_EMPTY;
        std::thread other([] { getKSLNetwork(0); });
        getKSLNetwork(0);
        other.join();
        EXPECT_EQ(requestsAt(*local_, 88), round);
    }
}

TEST_F(BusRequests, AskForTheNeighboursAnewAfterTheBusWasAway) {
    kslInfo->beginNeighbours(busConnection() - 1);
    networkBusReconnected();
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_EMPTY);

    getKSLNetwork(0);
    networkBusReconnected();
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);

    delete kslInfo;
    kslInfo = nullptr;
    networkBusReconnected();
}

TEST_F(BusRequests, CheckAsksWhenNothingIsKnown) {
    checkKSLNetwork(0);
    EXPECT_THAT(log_.logLines(),
                ElementsAre("[ERROR] KLV::checkKSLNetwork() kslInfo->neighboursState undefined"));
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_UPDATE);
    EXPECT_EQ(requestsAt(*local_, 88), 1);
}

TEST_F(BusRequests, CheckWaitsForARequestThatIsUnderWay) {
    kslInfo->beginNeighbours(busConnection());
    const auto begin = Clock::now();
    checkKSLNetwork(2);
    EXPECT_GE(Clock::now() - begin, milliseconds(200));
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_EQ(requestsAt(*local_, 88), 0);
}

TEST_F(BusRequests, CheckIsContentWithACompleteList) {
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    checkKSLNetwork(20);
    EXPECT_THAT(log_.logLines(), IsEmpty());
    EXPECT_EQ(kslInfo->neighboursState, KSL_MSG_STATE_COMPLETE);
    EXPECT_EQ(requestsAt(*local_, 88), 0);
}

TEST_F(BusRequests, ManageWithoutTheNetworkRecord) {
    delete kslInfo;
    kslInfo = nullptr;
    const SleptTime slept;
    checkKSLNetwork(20);
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::checkKSLNetwork() no kslInfo"));
    getKSLNetwork(20);
    EXPECT_EQ(slept.microseconds(), 0U) << "there is nothing to wait for";
    EXPECT_EQ(requestsAt(*local_, 88), 1) << "the answer can still be shown";
}

TEST_F(BusRequests, AreDroppedWithoutABusClient) {
    session_.setup.krpbus = nullptr;
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kLocal);
    sendKslBroadcast(SimpleMessageRequest<23>(), "HandheldServer");
    getKSLNetwork(0);
    stp = nullptr;
    sendMessage(SimpleMessageRequest<23>(), "HandheldServer", kOther);
    EXPECT_THAT(log_.logLines(), ElementsAre("[ERROR] KLV::sendMessage() no krpBusClient",
                                             "[ERROR] KLV::sendKslBroadcast() no krpBusClient",
                                             "[ERROR] KLV::getKSLNetwork() no krpBusClient",
                                             "[ERROR] KLV::sendMessage() no krpBusClient"));
}

TEST(WaRequestMessage, LogsItsEndAlone) {
    const LogCapture log;
    waRequestMessage_setup();
    EXPECT_THAT(log.logLines(), IsEmpty());
    waRequestMessage_destroy();
    EXPECT_THAT(log.logLines(), ElementsAre("[DEBUG] KLV::waRequestMessage_destroy() "
                                            "waRequestMessage module destroyed"));
}
