#include "modules/audio/audio_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "krpbus/krp_get_audio_list.h"
#include "krpbus/krp_set_audio_file.h"
#include "krpbus/simple_messages.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/save_audio.h"
#include "modules/audio/upload_info.h"
#include "tests/support/bus_participant.h"
#include "tests/support/log_capture.h"
#include "tests/support/nats_server.h"
#include "tests/support/worker_session.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kAnnounce =
    R"({"command":"upload_audio_file","name":"note","marker_id":"m1","start_time":10,"end_time":4294967295,"file_extension":"wav"})";
constexpr const char* kWaiting =
    R"({"response":"upload_audio_file","name":"note","file_extension":"wav","marker_id":"m1","start_time":10,"end_time":4294967295,"status":"WAITING_FOR_DATA"})";
constexpr const char* kPendingText =
    "name: note; file_extension: wav; start_time: 10; marker_id: m1; end_time: 4294967295;";
constexpr const char* kNothingToCancel = R"({"response":"cancel_data_upload","status":"OK"})";

// A session with a bus, and the touch panel's server on it.
class AudioModule : public testing::Test {
  protected:
    AudioModule()
        : server_("HandheldServer", nats_.port()),
          client_("audio_test", "127.0.0.1", nats_.port()) {
        session_.setup.krpbus = &client_;
    }
    ~AudioModule() override {
        session_.setup.krpbus = nullptr;
        uploadfileInfo.take();
        for (const std::string& file : files_) {
            fs::remove(file);
        }
    }

    // Runs the request and returns what the browser was sent for it, as compact JSON.
    std::vector<std::string> run(const std::string& request) {
        session_.host.clearFrames();
        Document doc;
        doc.Parse(request.c_str());
        EXPECT_EQ(1, wa_handle_message_audio(doc["command"].GetString(), doc)) << request;
        return session_.sent();
    }
    // Delivers the answer and returns what the browser was sent for it.
    std::vector<std::string> deliver(const KRPMessageResponse& answer) {
        session_.host.clearFrames();
        EXPECT_EQ(1, handleAudioMessages(&answer));
        return session_.sent();
    }
    // Stores a frame as the pending upload's file; the path, which is removed with the fixture.
    std::string store(const std::string& data) {
        session_.host.clearFrames();
        const auto info = std::dynamic_pointer_cast<UploadInfoAudio>(uploadfileInfo.get());
        const std::string path = "/tmp/" + info->getStoredName();
        files_.push_back(path);
        save_audio(reinterpret_cast<const unsigned char*>(data.data()),
                   static_cast<unsigned>(data.size()), info.get());
        return path;
    }
    static std::string content(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    static std::string pendingText() {
        const auto pending = uploadfileInfo.get();
        return pending ? pending->toString() : "(none)";
    }
    std::string errorMessage() { return session_.host.json(0)["error_msg"].GetString(); }

    NatsServer nats_;
    BusParticipant server_;
    KRPBusClient client_;
    WorkerSession session_;
    std::vector<std::string> files_;
};

TEST_F(AudioModule, LeavesOtherCommandsAndAnswersToOtherModules) {
    const Document doc(rapidjson::kObjectType);
    EXPECT_EQ(0, wa_handle_message_audio("upload_audio", doc));
    EXPECT_EQ(0, wa_handle_message_audio("request_screen", doc));
    const SimpleMessageResponse<83> other;
    EXPECT_EQ(0, handleAudioMessages(&other));
    EXPECT_EQ(0, handleAudioMessages(nullptr));
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(AudioModule, WaitsForDataOnceAFileIsAnnounced) {
    LogCapture log;
    EXPECT_THAT(run(kAnnounce), ElementsAre(kWaiting));
    EXPECT_EQ(kPendingText, pendingText());
    EXPECT_THAT(
        log.logLines("uploadAudioFile"),
        ElementsAre("[DEBUG] KLV::uploadAudioFile() create audioFileInfo",
                    std::string("[DEBUG] KLV::uploadAudioFile() uploadfileInfo: ") + kPendingText));
}

TEST_F(AudioModule, StoresANameWithoutADotForAFileWithoutAnExtension) {
    run(R"({"command":"upload_audio_file","name":"note","marker_id":"m1","start_time":1,"end_time":2})");
    EXPECT_THAT(uploadfileInfo.get()->getStoredName(), testing::Not(testing::HasSubstr(".")));
    EXPECT_EQ("", uploadfileInfo.get()->getFileExtension());
}

TEST_F(AudioModule, RefusesASecondAnnouncementAndKeepsTheFirst) {
    run(kAnnounce);
    LogCapture log;
    EXPECT_THAT(
        run(R"({"command":"upload_audio_file","name":"two","marker_id":"m2","start_time":1,"end_time":2})"),
        ElementsAre(
            std::string(
                R"({"response":"upload_audio_file","name":"two","file_extension":"","marker_id":"m2","start_time":1,"end_time":2,"status":"ERROR","error_code":"other_data_upload","error_msg":"other data upload in progress: )") +
            kPendingText + "\"}"));
    EXPECT_EQ(kPendingText, pendingText());
    EXPECT_THAT(log.logLines("uploadAudioFile"),
                ElementsAre(std::string("[ERROR] KLV::uploadAudioFile() other data upload in "
                                        "progress: ") +
                            kPendingText));
}

TEST_F(AudioModule, StopsAtTheFirstMemberThatCannotBeRead) {
    const std::vector<std::pair<std::string, std::string>> requests = {
        {R"({"command":"upload_audio_file","marker_id":1})", "no entry for 'name'. ("},
        {R"({"command":"upload_audio_file","name":"n","start_time":-1})",
         "no entry for 'marker_id'. ("},
        {R"({"command":"upload_audio_file","name":"n","marker_id":"m","start_time":-1})",
         "value of 'start_time' must be a uint32 .  You send a Number."},
        {R"({"command":"upload_audio_file","name":"n","marker_id":"m","start_time":1})",
         "no entry for 'end_time'. ("},
    };
    for (const auto& [request, message] : requests) {
        php_version = 1;
        EXPECT_EQ(1u, run(request).size()) << request;
        EXPECT_THAT(errorMessage(), StartsWith(message));
        EXPECT_EQ(0, php_version) << "changes although the request is refused";
        EXPECT_EQ("(none)", pendingText());
    }
}

TEST_F(AudioModule, WritesTheFrameAndHandsTheFileToTheService) {
    run(kAnnounce);
    const std::string data("RIFF\0\xff\n", 7);
    LogCapture log;
    const std::string path = store(data);
    EXPECT_EQ(data, content(path));
    EXPECT_THAT(session_.sent(), IsEmpty()) << "the answer comes with the service's";
    EXPECT_THAT(log.logLines("save_audio"),
                ElementsAre("[DEBUG] KLV::save_audio() save audio file",
                            "[DEBUG] KLV::save_audio() audioFileInfo exists",
                            "[DEBUG] KLV::save_audio() filename: " + path));

    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(KRPRequestSetAudioFile(10, 4294967295u, path, "m1").payload, request->payload);
    EXPECT_EQ(87, request->getKrpMsgID());
    EXPECT_EQ("audio_test", request->getSource());
    EXPECT_EQ(kPendingText, pendingText());
}

TEST_F(AudioModule, StoresAnEmptyFrameAsAnEmptyFile) {
    run(kAnnounce);
    const std::string path = store("");
    EXPECT_TRUE(fs::is_regular_file(path));
    EXPECT_EQ(0u, fs::file_size(path));
    EXPECT_NE(nullptr, server_.nextOf<KRPMessageRequest>());
}

TEST_F(AudioModule, FollowsNoLinkThatSomebodyHasLaid) {
    run(kAnnounce);
    const std::string path = "/tmp/" + uploadfileInfo.get()->getStoredName();
    const std::string target = path + ".target";
    files_.push_back(target);
    std::ofstream(target) << "theirs";
    fs::create_symlink(target, path);
    store("mine");
    EXPECT_EQ("theirs", content(target));
    EXPECT_THAT(
        session_.sent(),
        ElementsAre(
            R"({"response":"upload_audio_file","status":"ERROR","error_code":"other_data_upload","error_msg":"Unable to open file )" +
            path + "\"}"));
    EXPECT_EQ(kPendingText, pendingText()) << "it stays pending";
}

TEST_F(AudioModule, CompletesTheUploadWithTheServicesAnswer) {
    run(kAnnounce);
    LogCapture log;
    const SimpleMessageResponse<87> answer;
    EXPECT_THAT(
        deliver(answer),
        ElementsAre(
            R"({"response":"upload_audio_file","name":"note","file_extension":"wav","marker_id":"m1","start_time":10,"end_time":4294967295,"status":"OK"})"));
    EXPECT_EQ("(none)", pendingText());
    EXPECT_THAT(log.logLines("handleAudioMessages"),
                ElementsAre("[DEBUG] KLV::handleAudioMessages() ********* SetAudioFile "
                            "**************"));
    EXPECT_THAT(log.logLines("WaResponseSetAudioFile"),
                ElementsAre("[DEBUG] KLV::WaResponseSetAudioFile() Audio file: ",
                            "[DEBUG] KLV::WaResponseSetAudioFile() msg: " + answer.toString(),
                            "[DEBUG] KLV::WaResponseSetAudioFile() delete audio file info "));
    EXPECT_THAT(log.logLines("addFileInfo"),
                ElementsAre("[DEBUG] KLV::addFileInfo() marker_id: m1"));

    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request) << "a fresh list is asked for";
    EXPECT_EQ(86, request->getKrpMsgID());
}

TEST_F(AudioModule, ReportsTheServicesFailureWithTheFile) {
    run(kAnnounce);
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::NoResources, "disk full");
    deliver(answer);
    const Document sent = session_.host.json(0);
    EXPECT_STREQ("note", sent["name"].GetString());
    EXPECT_STREQ("ERROR", sent["status"].GetString());
    EXPECT_STREQ("disk full", sent["krp_error_description"].GetString());
    EXPECT_EQ("(none)", pendingText());
}

TEST_F(AudioModule, AnswersASecondCompletionWithNoUploadInProgress) {
    run(kAnnounce);
    deliver(SimpleMessageResponse<87>());
    EXPECT_THAT(
        deliver(SimpleMessageResponse<87>()),
        ElementsAre(
            R"({"response":"upload_audio_file","status":"ERROR","error_code":"internal_error","error_msg":"no audio upload in progress."})"));
}

TEST_F(AudioModule, LeavesAnUploadOfAnotherKindPending) {
    uploadfileInfo.announce(std::make_shared<UploadInfo>("film", "avi"));
    php_version = 0;
    EXPECT_THAT(
        deliver(SimpleMessageResponse<87>()),
        ElementsAre(
            R"({"response":"upload_audio_file","status":"ERROR","error_code":"internal_error","error_msg":"other upload in progressname: film; file_extension: avi;"})"));
    EXPECT_EQ("name: film; file_extension: avi;", pendingText());
}

TEST_F(AudioModule, AnswersACancelTwiceWhenSomethingWasPending) {
    run(kAnnounce);
    LogCapture log;
    EXPECT_THAT(run(R"({"command":"cancel_data_upload"})"),
                ElementsAre(std::string(R"({"response":"cancel_data_upload","status":"OK",)") +
                                R"("error_msg":")" + kPendingText + "\"}",
                            kNothingToCancel));
    EXPECT_EQ("(none)", pendingText());
    EXPECT_THAT(log.logLines("cancelDataUpload"),
                ElementsAre("[DEBUG] KLV::cancelDataUpload() delete audio file"));
}

TEST_F(AudioModule, AnswersACancelOnceWhenNothingWasPending) {
    EXPECT_THAT(run(R"({"command":"cancel_data_upload"})"), ElementsAre(kNothingToCancel));
}

TEST_F(AudioModule, SelectsAFileThatTheServiceHolds) {
    LogCapture log;
    EXPECT_THAT(
        run(R"({"command":"set_audio_file","audio_file":"note.wav","start_time":1,"end_time":2,"marker_id":"m"})"),
        IsEmpty());
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(KRPRequestSetAudioFile(1, 2, "note.wav", "m").payload, request->payload);
    EXPECT_THAT(log.logLines("setAudioFile"),
                ElementsAre("[DEBUG] KLV::setAudioFile() SetAudioFile"));

    EXPECT_THAT(deliver(SimpleMessageResponse<87>()),
                ElementsAre(R"({"response":"set_audio_file","status":"OK"})"));
}

TEST_F(AudioModule, SelectsWithoutAMarkerAlthoughTheParserAnswers) {
    EXPECT_EQ(
        1u,
        run(R"({"command":"set_audio_file","audio_file":"note.wav","start_time":1,"end_time":2})")
            .size());
    EXPECT_THAT(errorMessage(), StartsWith("no entry for 'marker_id'. ("));
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(KRPRequestSetAudioFile(1, 2, "note.wav", "").payload, request->payload);
}

TEST_F(AudioModule, SendsNoSelectionWithoutAFileButRemembersTheCommand) {
    php_version = 0;
    EXPECT_EQ(1u, run(R"({"command":"set_audio_file","start_time":1,"end_time":2})").size());
    EXPECT_THAT(errorMessage(), StartsWith("no entry for 'audio_file'. ("));
    EXPECT_EQ(1, php_version);
    run(R"({"command":"get_audio_list"})");
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(86, request->getKrpMsgID()) << "nothing else went out before";
}

TEST_F(AudioModule, ListsTheFilesInTheOrderOfTheAnswer) {
    const KRPResponseGetAudioList answer({{5, 6, "b.wav", "m2"}, {1, 2, "a.wav", ""}});
    LogCapture log;
    EXPECT_THAT(
        deliver(answer),
        ElementsAre(
            R"({"response":"get_audio_list","audio_list":[{"name":"b.wav","marker_id":"m2","start_time":5,"end_time":6},{"name":"a.wav","marker_id":"","start_time":1,"end_time":2}],"status":"OK"})"));
    EXPECT_THAT(log.logLines("WaResponseGetAudioList"),
                ElementsAre("[DEBUG] KLV::WaResponseGetAudioList() audio name: b.wav\tmarker_id: "
                            "m2\tstart_time: 5\tend_time: 6",
                            "[DEBUG] KLV::WaResponseGetAudioList() audio name: a.wav\tmarker_id: "
                            "\tstart_time: 1\tend_time: 2"));
    EXPECT_THAT(log.logLines("handleAudioMessages"),
                ElementsAre("[DEBUG] KLV::handleAudioMessages() ********* GetAudioList "
                            "**************"));
}

TEST_F(AudioModule, ListsNoFilesAsAnEmptyArray) {
    EXPECT_THAT(deliver(KRPResponseGetAudioList()),
                ElementsAre(R"({"response":"get_audio_list","audio_list":[],"status":"OK"})"));
}

TEST_F(AudioModule, LeavesTheListOutOfAFailedAnswer) {
    KRPResponseGetAudioList answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::Timeout);
    deliver(answer);
    const Document sent = session_.host.json(0);
    EXPECT_FALSE(sent.HasMember("audio_list"));
    EXPECT_STREQ("ERROR", sent["status"].GetString());
    EXPECT_STREQ("KRPSTATUS_NOTAVAILABLE", sent["krp_status"].GetString());
}

TEST_F(AudioModule, LogsItsEnd) {
    LogCapture log;
    EXPECT_EQ(0, audio_module_setup());
    EXPECT_EQ(0, audio_module_destroy());
    EXPECT_THAT(log.logLines(),
                ElementsAre("[DEBUG] KLV::audio_module_destroy() destroy audio module"));
}

TEST_F(AudioModule, GivesTwoAnnouncementsOfOneSecondOneName) {
    // The clock may tick in between, so the pair is drawn until it did not.
    for (int i = 0; i < 5; ++i) {
        const auto before = std::time(nullptr);
        const UploadInfoAudio first("a", "wav", 1, 2, "m");
        const UploadInfoAudio second("b", "wav", 3, 4, "n");
        if (std::time(nullptr) == before) {
            EXPECT_EQ(first.getStoredName(), second.getStoredName());
            return;
        }
    }
    FAIL() << "no second was long enough for two records";
}

}  // namespace
