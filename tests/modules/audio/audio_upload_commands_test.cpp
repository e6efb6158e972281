// Announcing, storing, completing and cancelling an upload.
#include <ctime>
#include <filesystem>
#include <fstream>

#include "krpbus/messages/krp_set_audio_file.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/php_version.h"
#include "tests/kit/log_capture.h"
#include "tests/modules/audio/audio_module_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kWaiting =
    R"({"response":"upload_audio_file","name":"note","file_extension":"wav","marker_id":"m1","start_time":10,"end_time":4294967295,"status":"WAITING_FOR_DATA"})";
constexpr const char* kNothingToCancel = R"({"response":"cancel_data_upload","status":"OK"})";

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
        {R"({"command":"upload_audio_file","marker_id":1})", "no entry for 'name'. "},
        {R"({"command":"upload_audio_file","name":"n","start_time":-1})",
         "no entry for 'marker_id'. "},
        {R"({"command":"upload_audio_file","name":"n","marker_id":"m","start_time":-1})",
         "value of 'start_time' must be a uint32 .  You send a Number. IsUint32: 0. IsDouble: 0 "
         ". "},
        {R"({"command":"upload_audio_file","name":"n","marker_id":"m","start_time":1})",
         "no entry for 'end_time'. "},
    };
    for (const auto& [request, reason] : requests) {
        php_version = 1;
        EXPECT_THAT(run(request), isRefused("upload_audio_file", reason, request));
        EXPECT_EQ(0, php_version) << "changes although the request is refused";
        EXPECT_EQ("(none)", pendingText());
    }
}

TEST_F(AudioModule, AnnouncesAFileAlthoughItsExtensionIsNoText) {
    const std::string request =
        R"({"command":"upload_audio_file","name":"note","marker_id":"m1","start_time":1,"end_time":2,"file_extension":null})";
    EXPECT_THAT(run(request), ElementsAre(refusal("upload_audio_file",
                                                  "value of 'file_extension' must be a string .  "
                                                  "You send a Null. . ",
                                                  request),
                                          R"({"response":"upload_audio_file","name":"note",)"
                                          R"("file_extension":"","marker_id":"m1","start_time":1,)"
                                          R"("end_time":2,"status":"WAITING_FOR_DATA"})"));
}

TEST_F(AudioModule, WritesTheFrameAndHandsTheFileToTheService) {
    run(kAnnounce);
    const std::string data("RIFF\0\xff\n", 7);
    LogCapture log;
    const std::string path = store(data);
    EXPECT_EQ(data, contentOf(path));
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
    EXPECT_EQ("theirs", contentOf(target));
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
    EXPECT_THAT(
        deliver(answer),
        ElementsAre(
            R"({"response":"upload_audio_file","name":"note","file_extension":"wav","marker_id":"m1","start_time":10,"end_time":4294967295,"status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error","krp_error_code":"KRPERROR_NO_RESOURCES","krp_error_description":"disk full"})"));
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
