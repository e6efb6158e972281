#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "modules/busload/busload_values.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"
#include "tests/modules/busload/busload_samples.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

using Message = BusLoadExtMessage;

Message mostFigure(busid_t id) {
    Message message = figure(id, 0, 17);
    Message::most_t most;
    most.busStatus = 5;
    most.lock = Message::MOSTLOCK_LOCK;
    most.masterLock = Message::MOSTLOCK_LOCK;
    most.traffic = true;
    most.numControlMsg = 1;
    most.bytesControlMsg = 2;
    most.numMdpMsg = 3;
    most.bytesMdpMsg = 4;
    most.numMepMsg = 5;
    most.bytesMepMsg = 6;
    most.numStreamingCh = 7;
    most.streamingChSize = 4294967295U;
    message.most = most;
    return message;
}

}  // namespace

TEST(MostFigures, AreShownWithTheirLoggersName) {
    const WorkerSession session;
    const LogCapture log;
    knowName(kLocalLogger, "Front");
    for (const busid_t id : {BUSID_MOST25, BUSID_MOST50, BUSID_MOST150}) {
        const Message message = mostFigure(id);
        updateBusValue(&message, kLocalLogger);
    }
    const std::string text =
        R"({"response":"busload_data","timestamp":1700000000000001,"logger_name":"Front",)"
        R"("data":{"bus_status":5,"bus_status_string":"MOST_LOCK - MASTER_LOCK",)"
        R"("num_control_msg":1,"bytes_control_msg":2,"num_mdp_msg":3,"bytes_mdp_msg":4,)"
        R"("num_mep_msg":5,"bytes_mep_msg":6,"num_streaming_ch":7,)"
        R"("streaming_ch_size":4294967295},"status":"OK"})";
    EXPECT_THAT(session.sent(), ElementsAre(text, text, text));
}

TEST(MostFigures, AreShownWithoutANameWhenTheLoggerIsNotKnown) {
    const WorkerSession session;
    const LogCapture log;
    const Message message = mostFigure(BUSID_MOST150);
    updateBusValue(&message, kOtherLogger);
    EXPECT_THAT(session.sent(),
                ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                            R"("data":{"bus_status":5,)"
                            R"("bus_status_string":"MOST_LOCK - MASTER_LOCK",)"
                            R"("num_control_msg":1,"bytes_control_msg":2,"num_mdp_msg":3,)"
                            R"("bytes_mdp_msg":4,"num_mep_msg":5,"bytes_mep_msg":6,)"
                            R"("num_streaming_ch":7,"streaming_ch_size":4294967295},)"
                            R"("status":"OK"})"));
    EXPECT_THAT(log.logLines(),
                Contains("[ERROR] KLV::WaResponseBusloadMost() incomplete logger info"));
}

TEST(MostFigures, AreShownWithTheEmptyNameOfALoggerThatIsKnown) {
    const WorkerSession session;
    const LogCapture log;
    knowName(kOtherLogger, "");
    const Message message = mostFigure(BUSID_MOST150);
    updateBusValue(&message, kOtherLogger);
    EXPECT_THAT(session.sent(),
                ElementsAre(testing::HasSubstr(R"("timestamp":1700000000000001,"logger_name":"",)"
                                               R"("data":{)")));
    EXPECT_THAT(log.logLines(), testing::IsEmpty());
}

TEST(MostFigures, AreShownEachTimeSinceTheyAreNotKept) {
    const WorkerSession session;
    const LogCapture log;
    const Message message = mostFigure(BUSID_MOST50);
    updateBusValue(&message, kLocalLogger);
    updateBusValue(&message, kLocalLogger);
    EXPECT_EQ(session.sent().size(), 2U);
    sendBusValues();
    EXPECT_EQ(session.sent().size(), 2U);
}

TEST(MostFigures, AreAllZeroInAMessageWithoutThem) {
    const WorkerSession session;
    const LogCapture log;
    knowName(kLocalLogger, "Front");
    const Message message = figure(BUSID_MOST25, 0, 17);
    updateBusValue(&message, kLocalLogger);
    EXPECT_THAT(session.sent(),
                ElementsAre(R"({"response":"busload_data","timestamp":1700000000000001,)"
                            R"("logger_name":"Front","data":{"bus_status":0,)"
                            R"("bus_status_string":"No Traffic","num_control_msg":0,)"
                            R"("bytes_control_msg":0,"num_mdp_msg":0,"bytes_mdp_msg":0,)"
                            R"("num_mep_msg":0,"bytes_mep_msg":0,"num_streaming_ch":0,)"
                            R"("streaming_ch_size":0},"status":"OK"})"));
}

TEST(MostFigures, TellTheLocksOfRingAndMaster) {
    const WorkerSession session;
    const LogCapture log;
    const auto other = static_cast<Message::mostLock_t>(9);
    const std::vector<std::tuple<Message::mostLock_t, Message::mostLock_t, bool, std::string>>
        rows = {
            {Message::MOSTLOCK_LOCK, Message::MOSTLOCK_LOCK, true, "MOST_LOCK - MASTER_LOCK"},
            {Message::MOSTLOCK_LOCK, Message::MOSTLOCK_UNLOCK, true, "MOST_LOCK - MASTER_UNLOCK"},
            {Message::MOSTLOCK_LOCK, Message::MOSTLOCK_UNKNOWN, true, "MOST_LOCK"},
            {Message::MOSTLOCK_LOCK, other, true, "MOST_LOCK"},
            {Message::MOSTLOCK_UNLOCK, Message::MOSTLOCK_LOCK, true, "MOST_UNLOCK - MASTER_LOCK"},
            {Message::MOSTLOCK_UNLOCK, Message::MOSTLOCK_UNLOCK, true,
             "MOST_UNLOCK - MASTER_UNLOCK"},
            {Message::MOSTLOCK_UNLOCK, Message::MOSTLOCK_UNKNOWN, true,
             "MOST_UNLOCK - MASTER_UNLOCK"},
            {Message::MOSTLOCK_UNKNOWN, Message::MOSTLOCK_LOCK, true, "MASTER_LOCK"},
            {other, Message::MOSTLOCK_UNLOCK, true, "MASTER_UNLOCK"},
            {Message::MOSTLOCK_UNKNOWN, Message::MOSTLOCK_UNKNOWN, true, "No Traffic"},
            {Message::MOSTLOCK_LOCK, Message::MOSTLOCK_LOCK, false, "No Traffic"},
            {Message::MOSTLOCK_UNLOCK, Message::MOSTLOCK_UNLOCK, false, "No Traffic"},
        };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [lock, masterLock, traffic, text] = rows[i];
        Message message = mostFigure(BUSID_MOST25);
        message.most->lock = lock;
        message.most->masterLock = masterLock;
        message.most->traffic = traffic;
        updateBusValue(&message, kLocalLogger);
        EXPECT_EQ(session.host.json(i)["data"]["bus_status_string"].GetString(), text) << i;
    }
}
