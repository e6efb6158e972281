// Which module gets a command, and what no module takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <memory>

#include "modules/audio/audio_module.h"
#include "modules/audio/upload_info.h"
#include "modules/busload/busload_module.h"
#include "modules/config/config_module.h"
#include "modules/monitor/monitor_module.h"
#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_module.h"
#include "modules/trigger/trigger_module.h"
#include "network/common_commands.h"
#include "network/ksl_info.h"
#include "tests/plugin/frame_session.h"
#include "threads/keep_alive.h"
#include "threads/thread_data.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kNoUpload =
    "no audioFileInfo available, send command \\\"upload_audio_file\\\" first";

std::shared_ptr<UploadInfoAudio> announce() {
    const auto upload = std::make_shared<UploadInfoAudio>("note", "wav", 5U, 9U, "m1");
    uploadfileInfo.announce(upload);
    return upload;
}

// An upload that is none of the kinds that there are.
class OtherUpload : public UploadInfo {
  public:
    OtherUpload() : UploadInfo("other", "") {}
};

}  // namespace

class CommandDispatch : public FrameSession {};

TEST_F(CommandDispatch, AnswersPingBeforeTheLoggerInfoIsComplete) {
    setLoggerInfoComplete(false);
    ping_module_own(new ThreadData(&connection.setup, 10000000, "ping_run", ping_run));
    deliver(R"({"command":"ping"})");
    deliver(R"({"command":"get_bus_names"})");
    EXPECT_THAT(answers(), ElementsAre(R"({"response":"ping","status":"OK"})",
                                       R"({"response":"get_bus_names","status":"ERROR",)"
                                       R"("error_code":"wait for logger info"})"));
    ping_module_destroy();
}

TEST_F(CommandDispatch, AnswersNoPingWithoutAKeepAliveThread) {
    deliver(R"({"command":"ping"})");
    EXPECT_THAT(answers(), IsEmpty());
}

TEST_F(CommandDispatch, RefusesEveryOtherCommandWhileTheLoggerInfoIsIncomplete) {
    setLoggerInfoComplete(true);
    kslInfo->timeZoneState = KSL_MSG_STATE_UPDATE;
    const std::vector<std::string> commands = {
        "save_config",
        "get_configs",
        "load_config",
        "delete_config",
        "busload_start",
        "busload_stop",
        "get_bus_names",
        "signal_forwarding_start",
        "signal_forwarding_stop",
        "get_signal_names",
        "generic_start_sig",
        "set_trigger",
        "get_trigger_count",
        "get_trigger",
        "get_audio_list",
        "upload_audio_file",
        "cancel_data_upload",
        "set_audio_file",
        "get_rcmonitor_names",
        "start_monitor",
        "stop_monitor",
        "request_screen",
        "close_webapp",
        "nonsense",
    };
    std::vector<std::string> expected;
    for (const std::string& command : commands) {
        deliver(R"({"command":")" + command + R"("})");
        expected.push_back(R"({"response":")" + command +
                           R"(","status":"ERROR","error_code":"wait for logger info"})");
    }
    EXPECT_EQ(answers(), expected);
}

TEST_F(CommandDispatch, RefusesCommandsForGoodWithoutANetworkRecord) {
    delete kslInfo;
    kslInfo = nullptr;
    deliver(R"({"command":"get_bus_names"})");
    EXPECT_THAT(answers(), ElementsAre(R"({"response":"get_bus_names","status":"ERROR",)"
                                       R"("error_code":"wait for logger info"})"));
}

TEST_F(CommandDispatch, OffersTheCommonCommandsBeforeTheLoggerInfoIsComplete) {
    setLoggerInfoComplete(false);
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    deliver(R"({"command":"get_ksl_network"})");
    for (const std::string& answer : answers()) {
        EXPECT_THAT(answer, testing::Not(HasSubstr("wait for logger info")));
    }
    EXPECT_TRUE(written("KLV::getKSLNetwork() "));
}

TEST_F(CommandDispatch, AnswersACommandThatNoModuleTakesAsInvalid) {
    setLoggerInfoComplete(true);
    deliver(R"({"command":"make_coffee"})");
    deliver(R"({"command":"PING"})");
    deliver(R"({"command":""})");
    EXPECT_THAT(
        answers(),
        ElementsAre(R"({"response":"make_coffee","status":"ERROR","error_code":"invalid_command"})",
                    R"({"response":"PING","status":"ERROR","error_code":"invalid_command"})",
                    R"({"response":"","status":"ERROR","error_code":"invalid_command"})"));
}

TEST_F(CommandDispatch, SendsACloseFrameForCloseWebappAndNoAnswer) {
    setLoggerInfoComplete(true);
    deliver(R"({"command":"close_webapp"})");
    EXPECT_THAT(answers(), ElementsAre("close 1001"));
}

TEST_F(CommandDispatch, StopsAtTheModuleThatTakesTheCommand) {
    setLoggerInfoComplete(true);
    deliver(R"({"command":"signal_forwarding_stop"})");
    EXPECT_THAT(answers(), ElementsAre(R"({"response":"signal_forwarding_stop","status":"OK"})"));
    EXPECT_TRUE(written("KLV::signal_forwarding_stop() stopping signal module"));
}

TEST_F(CommandDispatch, LeavesARequestWithoutAReadableCommandToTheParser) {
    setLoggerInfoComplete(true);
    deliver(R"({"cmd":"ping"})");
    deliver(R"({"command":{}})");
    EXPECT_THAT(descriptions(),
                ElementsAre("no command name found. ({\n    \"cmd\": \"ping\"\n})",
                            "value of 'command' must be a string .  You send a Object. . "
                            "({\n    \"command\": {}\n})"));
    EXPECT_THAT(answers(), ElementsAre(HasSubstr("\"undef_cmd\""), HasSubstr("\"undef_cmd\"")));
}

TEST_F(CommandDispatch, AbandonsTheUploadAfterTwoAnswersWhenTextComesThatIsNoRequest) {
    announce();
    deliver("[1]");
    EXPECT_THAT(
        answers(),
        ElementsAre(
            R"x({"response":"undef_cmd","status":"ERROR","error_code":"invalid_command","error_msg":"failed to parse webapp buffer, no object available. ([1])"})x",
            R"({"response":"upload_audio_file","name":"note","file_extension":"wav","marker_id":"m1","start_time":5,"end_time":9,"status":"ERROR","error_code":"other_data_upload","error_msg":"Received a string message: [1]\n Expected a binary data upload.\n Canceling data upload progress: name: note; file_extension: wav; start_time: 5; marker_id: m1; end_time: 9;"})"));
    EXPECT_TRUE(
        written("[ERROR] KLV::wa_handle_message() Received a string message: [1]\n Expected a "
                "binary data upload.\n Canceling data upload progress: name: note; "
                "file_extension: wav; start_time: 5; marker_id: m1; end_time: 9;\n"));
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
}

TEST_F(CommandDispatch, AbandonsAnUploadOfAnotherKindToo) {
    uploadfileInfo.announce(std::make_shared<OtherUpload>());
    deliver("");
    EXPECT_THAT(descriptions(),
                ElementsAre("no data received",
                            "Received a string message: \n Expected a binary data upload.\n "
                            "Canceling data upload progress: name: other; file_extension: ;"));
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
}

TEST_F(CommandDispatch, HandlesARequestDuringAnUploadAsUsual) {
    setLoggerInfoComplete(false);
    const auto upload = announce();
    deliver(R"({"command":"get_bus_names"})");
    deliver(R"({"no":"command"})");
    EXPECT_THAT(answers(), ElementsAre(HasSubstr("wait for logger info"), HasSubstr("undef_cmd")));
    EXPECT_EQ(uploadfileInfo.get(), upload);
}

TEST_F(CommandDispatch, RefusesBinaryDataThatWasNotAnnounced) {
    deliverBinary("abc");
    EXPECT_THAT(answers(), ElementsAre(R"({"response":"upload_audio_file","status":"ERROR",)"
                                       R"("error_code":"no_data_upload","error_msg":")" +
                                       std::string(kNoUpload) + R"("})"));
    EXPECT_TRUE(
        written("[DEBUG] KLV::wa_binary_handle_message() binary_handle_message. Size: 3\n"));
    EXPECT_TRUE(
        written("[ERROR] KLV::wa_binary_handle_message() no audioFileInfo available, send "
                "command \"upload_audio_file\" first\n"));
}

TEST_F(CommandDispatch, RefusesBinaryDataForAnUploadOfAnotherKind) {
    uploadfileInfo.announce(std::make_shared<OtherUpload>());
    deliverBinary("");
    EXPECT_THAT(answers(), ElementsAre(R"({"response":"upload_audio_file","status":"ERROR",)"
                                       R"("error_code":"no_data_upload","error_msg":")" +
                                       std::string(kNoUpload) + R"("})"));
    EXPECT_NE(uploadfileInfo.get(), nullptr);
}

TEST_F(CommandDispatch, StoresBinaryDataThatWasAnnounced) {
    const auto upload = announce();
    const std::string path = "/tmp/" + upload->getStoredName();
    deliverBinary(std::string_view("RIFF\0\xFF", 6));
    std::ifstream file(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file),
                              std::istreambuf_iterator<char>()};
    std::remove(path.c_str());
    EXPECT_EQ(content, std::string("RIFF\0\xFF", 6));
    EXPECT_THAT(answers(), IsEmpty());
    EXPECT_EQ(uploadfileInfo.get(), upload);
}

TEST_F(CommandDispatch, GivesEachCommandToOneModuleAndToNoOther) {
    using Handler = int (*)(const std::string&, const Document&);
    const std::map<std::string, Handler> handlers = {
        {"common", wa_handle_message_common},   {"config", wa_handle_message_config},
        {"busload", wa_handle_message_busload}, {"signal", wa_handle_message_signal},
        {"trigger", wa_handle_message_trigger}, {"audio", wa_handle_message_audio},
        {"monitor", wa_handle_message_monitor},
    };
    const std::vector<std::pair<std::string, std::string>> owners = {
        {"ping", ""},
        {"get_logger_info", "common"},
        {"get_logger_status", "common"},
        {"get_ksl_network", "common"},
        {"get_ksl_time_offset", "common"},
        {"save_config", "config"},
        {"get_configs", "config"},
        {"load_config", "config"},
        {"delete_config", "config"},
        {"busload_start", "busload"},
        {"busload_stop", "busload"},
        {"get_bus_names", "busload"},
        {"signal_forwarding_start", "signal"},
        {"signal_forwarding_stop", "signal"},
        {"get_signal_names", "signal"},
        {"generic_start_sig", "signal"},
        {"generic_stop_sig", "signal"},
        {"set_trigger", "trigger"},
        {"get_trigger_count", "trigger"},
        {"get_trigger", "trigger"},
        {"get_audio_list", "audio"},
        {"upload_audio_file", "audio"},
        {"cancel_data_upload", "audio"},
        {"set_audio_file", "audio"},
        {"get_rcmonitor_names", "monitor"},
        {"start_monitor", "monitor"},
        {"stop_monitor", "monitor"},
        {"request_screen", "monitor"},
        {"close_webapp", ""},
    };
    const auto offer = [](const std::string& command, Handler handler) {
        Document doc;
        doc.Parse((R"({"command":")" + command + R"("})").c_str());
        return handler(command, doc);
    };
    for (const auto& [command, owner] : owners) {
        for (const auto& [module, handler] : handlers) {
            if (module != owner) {
                EXPECT_EQ(offer(command, handler), 0) << module << " takes " << command;
            }
        }
    }
    EXPECT_THAT(answers(), IsEmpty());
    // Without the network's record there is nobody whose answers would be waited for.
    delete kslInfo;
    kslInfo = nullptr;
    for (const auto& [command, owner] : owners) {
        if (!owner.empty()) {
            EXPECT_NE(offer(command, handlers.at(owner)), 0) << owner << " leaves " << command;
        }
    }
}
