// The list of audio files, the selection of one, and what the module takes.
#include "modules/audio/audio_module.h"

#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "modules/audio/audio_commands.h"
#include "modules/audio/php_version.h"
#include "tests/kit/log_capture.h"
#include "tests/modules/audio/audio_module_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(AudioModule, LeavesOtherCommandsAndAnswersToOtherModules) {
    const Document doc(rapidjson::kObjectType);
    EXPECT_EQ(0, wa_handle_message_audio("upload_audio", doc));
    EXPECT_EQ(0, wa_handle_message_audio("request_screen", doc));
    const SimpleMessageResponse<83> other;
    EXPECT_EQ(0, handleAudioMessages(&other));
    EXPECT_EQ(0, handleAudioMessages(nullptr));
    EXPECT_THAT(session_.sent(), IsEmpty());
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
    const auto listRequest = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, listRequest) << "a fresh list is asked for";
    EXPECT_EQ(86, listRequest->getKrpMsgID());
}

TEST_F(AudioModule, ReportsAFailedSelection) {
    php_version = 1;
    SimpleMessageResponse<87> answer;
    answer.setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::NotFound, "no such file");
    EXPECT_THAT(
        deliver(answer),
        ElementsAre(
            R"({"response":"set_audio_file","status":"ERROR","krp_status":"ERROR","error_code":"krpbus_error","krp_error_code":"KRPERROR_NOT_FOUND","krp_error_description":"no such file"})"));
}

TEST_F(AudioModule, LeavesAPendingUploadAloneWhenASelectionIsAnswered) {
    run(kAnnounce);
    php_version = 1;
    EXPECT_THAT(deliver(SimpleMessageResponse<87>()),
                ElementsAre(R"({"response":"set_audio_file","status":"OK"})"));
    EXPECT_EQ(kPendingText, pendingText());
}

TEST_F(AudioModule, SelectsWithoutAMarkerAlthoughTheParserAnswers) {
    const std::string withoutMarker =
        R"({"command":"set_audio_file","audio_file":"note.wav","start_time":1,"end_time":2})";
    EXPECT_THAT(run(withoutMarker),
                isRefused("set_audio_file", "no entry for 'marker_id'. ", withoutMarker));
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(KRPRequestSetAudioFile(1, 2, "note.wav", "").payload, request->payload);
}

TEST_F(AudioModule, SendsNoSelectionWithoutAMemberButRemembersTheCommand) {
    const std::vector<std::pair<std::string, std::string>> requests = {
        {R"({"command":"set_audio_file","start_time":-1,"end_time":2})",
         "no entry for 'audio_file'. "},
        {R"({"command":"set_audio_file","audio_file":"a","end_time":-1})",
         "no entry for 'start_time'. "},
        {R"({"command":"set_audio_file","audio_file":"a","start_time":1,"end_time":2.5})",
         "value of 'end_time' must be a uint32 .  You send a Number. IsUint32: 0. IsDouble: 1 . "},
    };
    for (const auto& [request, reason] : requests) {
        php_version = 0;
        EXPECT_THAT(run(request), isRefused("set_audio_file", reason, request));
        EXPECT_EQ(1, php_version);
    }
    run(R"({"command":"get_audio_list"})");
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(86, request->getKrpMsgID()) << "nothing else went out before";
}

TEST_F(AudioModule, AsksTheServiceForItsList) {
    LogCapture log;
    EXPECT_THAT(run(R"({"command":"get_audio_list"})"), IsEmpty());
    const auto request = server_.nextOf<KRPMessageRequest>();
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(86, request->getKrpMsgID());
    EXPECT_THAT(request->payload, IsEmpty());
    EXPECT_EQ("audio_test", request->getSource());
    EXPECT_THAT(log.logLines("getAudioList"),
                ElementsAre("[DEBUG] KLV::getAudioList() GetAudioList"));
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
    EXPECT_THAT(
        deliver(answer),
        ElementsAre(
            R"({"response":"get_audio_list","status":"ERROR","krp_status":"KRPSTATUS_NOTAVAILABLE","error_code":"krpbus_error","krp_error_code":"KRPERROR_TIMEOUT"})"));
}

TEST_F(AudioModule, LogsItsEnd) {
    LogCapture log;
    EXPECT_EQ(0, audio_module_setup());
    EXPECT_EQ(0, audio_module_destroy());
    EXPECT_THAT(log.logLines(),
                ElementsAre("[DEBUG] KLV::audio_module_destroy() destroy audio module"));
}

}  // namespace
