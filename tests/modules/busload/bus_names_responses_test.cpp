#include "modules/busload/bus_names_responses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "krpbus/messages/signal_message.h"
#include "modules/busload/bus_names_responses.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_module.h"
#include "modules/busload/busload_values.h"
#include "tests/kit/after_first_send.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/module_session.h"
#include "tests/modules/busload/busload_samples.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Names = KRPResponseGetBusNames;

class BusNamesResponses : public testing::Test {
  protected:
    BusNamesResponses() { BaseSignal::debug = 0; }

    static void answer(const std::string& logger, const Names& message) {
        EXPECT_NE(handleBusloadMessages(&message, logger), 0);
    }
    static Names failure(std::uint8_t status, errorCode_t code,
                         const std::string& description = "") {
        Names message;
        message.setError(status, code, description);
        return message;
    }
    std::vector<std::string> sent() { return network_.session.takeSent(); }

    LogCapture log_;
    ModuleSession network_;
};

const Names kLocalBuses({{BUSID_LIN, 1, 0, "Doors"}, {BUSID_CAN, 0, 0, "Powertrain"}});
const Names kOtherBuses({{BUSID_FLEXRAY, 0, 10, "Chassis"}, {BUSID_CAN, 255, 10, "Body"}});

const std::string kLocalEntries =
    R"({"bus_id":"BUSID_LIN","channel":2,"ksl_offset":0,"bus_name":"Doors"},)"
    R"({"bus_id":"BUSID_CAN","channel":1,"ksl_offset":0,"bus_name":"Powertrain"})";
const std::string kOtherEntries =
    R"({"bus_id":"BUSID_FLEXRAY","channel":10,"ksl_offset":10,"bus_name":"Chassis"},)"
    R"({"bus_id":"BUSID_CAN","channel":265,"ksl_offset":10,"bus_name":"Body"})";

std::string catalogue(const std::string& entries, const std::string& status) {
    return R"({"response":"get_bus_names","busnames":[)" + entries + R"(],"status":")" + status +
           R"("})";
}

}  // namespace

TEST_F(BusNamesResponses, ListTheBusesOfALoggerThatStandsAlone) {
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(sent(), ElementsAre(catalogue(kLocalEntries, "OK")));
    EXPECT_EQ(busInfo->state, 2U);
}

TEST_F(BusNamesResponses, ListEveryLoggerInTheOrderOfTheirNamesOnceAllHaveAnswered) {
    knowNetwork({kOtherLogger});
    answer(kOtherLogger, kOtherBuses);
    EXPECT_EQ(busInfo->state, 0U);
    EXPECT_THAT(sent(), ElementsAre(catalogue(kOtherEntries, "PROGRESS")));
    answer(kLocalLogger, kLocalBuses);
    EXPECT_EQ(busInfo->state, 2U);
    EXPECT_THAT(sent(), ElementsAre(catalogue(kLocalEntries + "," + kOtherEntries, "OK")));
}

TEST_F(BusNamesResponses, CountALoggerThatAnswersTwiceOnce) {
    knowNetwork({kOtherLogger});
    answer(kLocalLogger, kOtherBuses);
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(sent(), ElementsAre(catalogue(kOtherEntries, "PROGRESS"),
                                    catalogue(kLocalEntries, "PROGRESS")));
}

TEST_F(BusNamesResponses, ListNothingForALoggerWithoutBuses) {
    answer(kLocalLogger, Names());
    EXPECT_THAT(sent(), ElementsAre(catalogue("", "OK")));
}

TEST_F(BusNamesResponses, ShowEveryBusOnlyWhileBusLoadRuns) {
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(sent(), testing::SizeIs(1));
    busInfo->running = true;
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr("get_bus_names"), HasSubstr(R"("name":"Doors")"),
                                    HasSubstr(R"("name":"Powertrain")")));
}

TEST_F(BusNamesResponses, LeaveTheBusesToAStartThatComesOnceTheBrowserHasTheirNames) {
    {
        const AfterFirstSend start(network_.session.host, [] { busInfo->running = true; });
        answer(kLocalLogger, kLocalBuses);
    }
    EXPECT_THAT(sent(), ElementsAre(catalogue(kLocalEntries, "OK")));
}

TEST_F(BusNamesResponses, ShowTheBusesOfTheLoggersThatHaveAnsweredWhileBusLoadRuns) {
    knowNetwork({kOtherLogger});
    busInfo->running = true;
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(sent(),
                ElementsAre(catalogue(kLocalEntries, "PROGRESS"), HasSubstr(R"("name":"Doors")"),
                            HasSubstr(R"("name":"Powertrain")")));
}

TEST_F(BusNamesResponses, AskABusyLoggerAgainWithoutTellingTheBrowser) {
    busnamesActiveOnly = 0;
    const auto start = Clock::now();
    answer(kOtherLogger, failure(2, errorCode_t::Busy, "starting"));
    EXPECT_GE(Clock::now() - start, 100ms);
    EXPECT_EQ(network_.next("KSLForwarder"),
              "ksl://0/02:00:00:00:00:02/HandheldServer KRPMessageRequest [id=81] [name=NotSet] "
              "[payload=00]");
    busnamesActiveOnly = 1;
    answer(kLocalLogger, failure(2, errorCode_t::Busy));
    EXPECT_EQ(network_.next("HandheldServer"),
              "KRPMessageRequest [id=81] [name=NotSet] [payload=01]");
    EXPECT_TRUE(network_.isQuiet());
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 0);
}

TEST_F(BusNamesResponses, PassAFailureOn) {
    answer(kOtherLogger, failure(2, errorCode_t::NotAllowed, "no"));
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"get_bus_names","source":"02:00:00:00:00:02",)"
                            R"("status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error",)"
                            R"("krp_error_code":"KRPERROR_NOT_ALLOWED",)"
                            R"("krp_error_description":"no"})"));
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 0);
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusNamesResponses, PassAFailureWithoutErrorBytesOn) {
    Names message;
    message.status = 2;
    answer(kOtherLogger, message);
    EXPECT_THAT(sent(), ElementsAre(HasSubstr(R"("krp_error_code":"KRPERROR_NONE")")));
}

TEST_F(BusNamesResponses, TakeAStatusOtherThanErrorForNoBusyLogger) {
    answer(kOtherLogger, failure(3, errorCode_t::Busy));
    EXPECT_THAT(sent(),
                ElementsAre(R"({"response":"get_bus_names","source":"02:00:00:00:00:02",)"
                            R"("status":"ERROR","krp_status":"KRPSTATUS_NOTAVAILABLE",)"
                            R"("error_code":"krpbus_error","krp_error_code":"KRPERROR_BUSY"})"));
    EXPECT_TRUE(network_.isQuiet());
}

TEST_F(BusNamesResponses, LogTheAnswerWhenDiagnosticsAreOn) {
    BaseSignal::debug = 1;
    const Names message({{BUSID_CAN, 0, 0, "a"}});
    answer(kLocalLogger, message);
    EXPECT_THAT(log_.logLines("WaResponseGetBusNames"),
                ElementsAre("[INFO] KLV::WaResponseGetBusNames() ,[02:00:00:00:00:01]"
                            "KRPResponseGetBusNames: " +
                            message.toString()));
}

TEST_F(BusNamesResponses, LogNothingWhenDiagnosticsAreOff) {
    answer(kLocalLogger, kLocalBuses);
    EXPECT_THAT(log_.logLines("WaResponseGetBusNames"), IsEmpty());
}

TEST_F(BusNamesResponses, TakeForwardedAnswersAndLeaveWhatIsNotTheirs) {
    const RouterMessage wrapped("ksl://0/02:00:00:00:00:02/HandheldServer", "17_KLV1",
                                kOtherBuses.clone());
    EXPECT_NE(handleBusloadMessages(&wrapped, kOtherLogger), 0);
    EXPECT_EQ(busInfo->getBusnamesMapSize(), 1);
    const RouterMessage empty("ksl://0/02:00:00:00:00:02/HandheldServer", "17_KLV1", nullptr);
    EXPECT_EQ(handleBusloadMessages(&empty, kOtherLogger), 0);
    EXPECT_EQ(handleBusloadMessages(nullptr, kOtherLogger), 0);
    const SystemMessage other(4, "3-stop");
    EXPECT_EQ(handleBusloadMessages(&other, kOtherLogger), 0);
}
