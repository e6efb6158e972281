#include "modules/audio/save_audio.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string_view>

#include "modules/audio/audio_responses.h"
#include "modules/audio/upload_info.h"
#include "tests/kit/file_size_limit.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/mounted_disk.h"
#include "tests/kit/temporary_directory.h"
#include "tests/kit/worker_session.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// An upload whose data is coming in already.
class ReceivingUpload : public UploadInfoAudio {
  public:
    ReceivingUpload() : UploadInfoAudio("note", "wav", 5, 9, "m1") { receiving_ = true; }
};

// An announced upload, and the place where its data goes.
class SaveAudio : public testing::Test {
  protected:
    ~SaveAudio() override { std::filesystem::remove(path_); }

    void save(std::string_view data) {
        save_audio(reinterpret_cast<const unsigned char*>(data.data()),
                   static_cast<unsigned>(data.size()), &info_);
    }
    std::string stored() const { return contentOf(path_); }
    void expectUnableToOpen() {
        EXPECT_THAT(session_.sent(),
                    ElementsAre(R"({"response":"upload_audio_file","status":"ERROR",)"
                                R"("error_code":"other_data_upload",)"
                                R"("error_msg":"Unable to open file )" +
                                path_ + R"("})"));
    }

    // Its own extension keeps the file apart from those of programs that run at the same second.
    const UploadInfoAudio info_{"note", "test-" + std::to_string(getpid()), 5, 9, "m1"};
    const std::string path_ = "/tmp/" + info_.getStoredName();
    WorkerSession session_;
    LogCapture capture_;
};

}  // namespace

TEST_F(SaveAudio, StoresTheBytesAsTheyAre) {
    save(std::string_view("RIFF\0\r\n\xFF", 8));
    EXPECT_EQ(stored(), std::string("RIFF\0\r\n\xFF", 8));
    EXPECT_THAT(session_.sent(), IsEmpty());
    EXPECT_EQ(capture_.standardOutput(),
              "[DEBUG] KLV::save_audio() save audio file\n"
              "[DEBUG] KLV::save_audio() audioFileInfo exists\n"
              "[DEBUG] KLV::save_audio() filename: " +
                  path_ + "\n");
}

TEST_F(SaveAudio, ReplacesAnEarlierFileOfTheSameName) {
    save("a longer text");
    save("short");
    EXPECT_EQ(stored(), "short");
}

TEST_F(SaveAudio, RefusesDataWithoutAnAnnouncement) {
    save_audio(nullptr, 0, nullptr);
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"upload_audio_file","status":"ERROR",)"
                            R"("error_code":"no_data_upload","error_msg":"no audioFileInfo )"
                            R"(available, send command \"upload_audio_file\" first"})"));
    EXPECT_THAT(capture_.logLines("save_audio"),
                ElementsAre("[DEBUG] KLV::save_audio() save audio file"));
}

TEST_F(SaveAudio, RefusesDataForAnUploadThatIsReceivingAlready) {
    const ReceivingUpload info;
    const unsigned char byte = 1;
    save_audio(&byte, 1, &info);
    EXPECT_THAT(session_.sent(),
                ElementsAre(R"({"response":"upload_audio_file","name":"note",)"
                            R"("file_extension":"wav","marker_id":"m1","start_time":5,)"
                            R"("end_time":9,"status":"ERROR","error_code":"other_data_upload",)"
                            R"("error_msg":"already data receiving."})"));
    EXPECT_THAT(capture_.logLines("save_audio"),
                ElementsAre("[DEBUG] KLV::save_audio() save audio file",
                            "[DEBUG] KLV::save_audio() audioFileInfo exists"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/" + info.getStoredName()));
}

TEST_F(SaveAudio, ReportsADirectoryOfThatName) {
    std::filesystem::create_directory(path_);
    save("abc");
    expectUnableToOpen();
}

TEST_F(SaveAudio, DoesNotWaitForTheReaderOfAPipe) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    save("abc");
    expectUnableToOpen();
}

TEST_F(SaveAudio, ReportsAPipeThatHasAReader) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    save("abc");
    close(reader);
    expectUnableToOpen();
}

TEST_F(SaveAudio, LeavesAloneWhatIsSomebodyElses) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    std::ofstream(path_) << "theirs";
    ASSERT_EQ(::chown(path_.c_str(), 65534, 65534), 0);
    save("mine");
    EXPECT_EQ(stored(), "theirs");
    expectUnableToOpen();
}

TEST_F(SaveAudio, LeavesAloneWhatHasASecondName) {
    const std::string target = path_ + ".target";
    std::ofstream(target) << "theirs";
    std::filesystem::create_hard_link(target, path_);
    save("mine");
    EXPECT_EQ(stored(), "theirs");
    std::filesystem::remove(target);
    expectUnableToOpen();
}

TEST_F(SaveAudio, LeavesNothingOnAFullDisk) {
    if (const std::string reason = MountedDisk::whyNot(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const MountedDisk disk("/tmp", "tmpfs", "size=64k");
    save(std::string(200'000, 'x'));
    EXPECT_FALSE(std::filesystem::exists(path_));
    expectUnableToOpen();
}

TEST_F(SaveAudio, ReplacesTheFileOfAnUploadOfTheSameSecond) {
    save("a longer first");
    save("second");
    EXPECT_EQ(stored(), "second");
    EXPECT_THAT(session_.sent(), IsEmpty());
}

TEST_F(SaveAudio, ReportsAFileThatCannotBeWrittenWhole) {
    {
        const FileSizeLimit limit(4);
        save("longer than four bytes");
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
    expectUnableToOpen();
}

TEST(SetAudioFileResponse, HasTheFileInformationBetweenNameAndStatus) {
    WorkerSession session;
    const LogCapture capture;
    const UploadInfoAudio info("n", "", 1, 4294967295U, "m");
    const WaResponseSetAudioFile answer(&info, KR_STATE_WAITING_FOR_DATA, KR_ERROR_UNSPECIFIED, "");
    EXPECT_THAT(session.sent(),
                ElementsAre(R"({"response":"upload_audio_file","name":"n","file_extension":"",)"
                            R"("marker_id":"m","start_time":1,"end_time":4294967295,)"
                            R"("status":"WAITING_FOR_DATA"})"));
    EXPECT_EQ(capture.standardOutput(), "[DEBUG] KLV::addFileInfo() marker_id: m\n");
}

TEST(SetAudioFileResponse, HasNoFileInformationWithoutARecord) {
    WorkerSession session;
    const LogCapture capture;
    const WaResponseSetAudioFile answer(nullptr, KR_STATE_ERROR, KR_ERROR_INTERNAL_ERROR, "t");
    EXPECT_THAT(session.sent(), ElementsAre(R"({"response":"upload_audio_file","status":"ERROR",)"
                                            R"("error_code":"internal_error","error_msg":"t"})"));
    EXPECT_EQ(capture.standardOutput(),
              "[DEBUG] KLV::addFileInfo() No Upload information for audio\n");
}
