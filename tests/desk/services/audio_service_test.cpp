#include "desk/services/audio_service.h"

#include <gmock/gmock.h>

#include "krpbus/messages/simple_messages.h"
#include "tests/kit/temporary_directory.h"

using desk::AudioService;
using desk::AudioStore;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

class AudioServiceTest : public testing::Test {
  protected:
    // What the request for that file is answered: "OK", or the error code and the description.
    std::string set(const std::string& file, const std::string& marker = "m") {
        const auto answer = service.answer(KRPRequestSetAudioFile(1, 2, file, marker));
        const auto* status = dynamic_cast<const SimpleMessageResponse<87>*>(answer.get());
        if (status == nullptr) {
            return "no answer";
        }
        return status->getStatus() == KRPMessageResponse::KRPSTATUS_OK
                   ? "OK"
                   : std::to_string(static_cast<int>(status->getErrorCode())) + " " +
                         status->getErrorDescription();
    }
    std::vector<AudioStore::File> list() {
        const auto answer = service.answer(SimpleMessageRequest<86>());
        const auto* files = dynamic_cast<const KRPResponseGetAudioList*>(answer.get());
        return files == nullptr ? std::vector<AudioStore::File>{{0, 0, "no answer", ""}}
                                : files->audioFiles;
    }
    std::string upload(const std::string& name) const {
        return directory.write("uploads/" + name, "sound");
    }

    const TemporaryDirectory directory;
    AudioStore store{directory.path() / "kept"};
    AudioService service{store, directory.path() / "uploads/"};
};

TEST_F(AudioServiceTest, ListsWhatItHasTakenOver) {
    EXPECT_EQ(service.participant(), "HandheldServer");
    EXPECT_THAT(list(), IsEmpty());
    EXPECT_EQ(set(upload("1.wav"), "first"), "OK");
    EXPECT_EQ(set(upload("2"), "second"), "OK");
    EXPECT_THAT(list(), ElementsAre(AudioStore::File{1, 2, "1.wav", "first"},
                                    AudioStore::File{1, 2, "2", "second"}));
}

TEST_F(AudioServiceTest, GivesAFileItHasAnotherMarker) {
    set(upload("1.wav"), "first");
    EXPECT_EQ(set("1.wav", "other"), "OK");
    EXPECT_THAT(list(), ElementsAre(AudioStore::File{1, 2, "1.wav", "other"}));
}

TEST_F(AudioServiceTest, KnowsNoFileThatIsNeitherHeldNorUploaded) {
    EXPECT_EQ(set("1.wav"), "4 there is no audio file \"1.wav\"");
    EXPECT_EQ(set(""), "4 there is no audio file \"\"");
    const std::string missing = (directory.path() / "uploads/3").string();
    EXPECT_EQ(set(missing), "4 " + missing + ": No such file or directory");
}

TEST_F(AudioServiceTest, LeavesFilesOfOtherDirectoriesAlone) {
    upload("1");
    const std::string other = directory.write("other/1", "not an upload");
    const std::string below = directory.write("uploads/below/1", "not an upload");
    const std::string round = (directory.path() / "uploads/../other/1").string();
    const std::string uploads = (directory.path() / "uploads/").string();
    for (const std::string& file : {other, below, round, uploads, uploads + ".", uploads + ".."}) {
        EXPECT_EQ(set(file), "4 there is no audio file \"" + file + "\"");
    }
    EXPECT_TRUE(fs::exists(other));
    EXPECT_TRUE(fs::exists(below));
    EXPECT_THAT(list(), IsEmpty());
}

TEST_F(AudioServiceTest, RefusesALink) {
    const fs::path link = fs::path(upload("1")).parent_path() / "2";
    fs::create_symlink(directory.path() / "uploads/1", link);
    EXPECT_EQ(set(link.string()).substr(0, 2), "3 ");
}

TEST_F(AudioServiceTest, SaysWhenAFileCannotBeKept) {
    fs::remove(directory.path() / "kept/files");
    directory.write("kept/files", "in the way");
    EXPECT_EQ(set(upload("1")).substr(0, 2), "6 ");
}

TEST_F(AudioServiceTest, RefusesARequestWithoutParameters) {
    const auto answer = service.answer(SimpleMessageRequest<87>());
    EXPECT_EQ(dynamic_cast<const KRPMessageResponse&>(*answer).getErrorCode(),
              errorCode_t::InvalidParameter);
    EXPECT_EQ(service.answer(SimpleMessageRequest<23>()), nullptr);
}

}  // namespace
