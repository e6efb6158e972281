#include "desk/services/audio_store.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "tests/kit/temporary_directory.h"

using desk::AudioError;
using desk::AudioStore;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace fs = std::filesystem;

namespace {

class AudioStoreTest : public testing::Test {
  protected:
    std::string upload(const std::string& name, const std::string& content) const {
        return directory.write("uploads/" + name, content);
    }
    fs::path home() const { return directory.path() / "kept"; }
    static std::string read(const fs::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static errorCode_t errorOf(AudioStore& store, const fs::path& upload) {
        try {
            store.takeOver(upload, 1, 2, "m");
        } catch (const AudioError& error) {
            return error.code;
        }
        return errorCode_t::None;
    }

    const TemporaryDirectory directory;
};

const std::string kSound("RIFF\0\r\n\xFF", 8);

TEST_F(AudioStoreTest, TakesAnUploadOverWithItsSpanAndMarker) {
    AudioStore store(home());
    const std::string file = upload("17.wav", kSound);
    store.takeOver(file, 10, 4294967295U, "m 1");
    EXPECT_THAT(store.files(), ElementsAre(AudioStore::File{10, 4294967295U, "17.wav", "m 1"}));
    EXPECT_EQ(read(store.pathOf("17.wav")), kSound);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(AudioStoreTest, KeepsFilesOverARestart) {
    {
        AudioStore store(home());
        store.takeOver(upload("1", "one"), 1, 2, "");
        store.takeOver(upload("2.o g%g", ""), 3, 4, "\xC3\xA4\n");
    }
    AudioStore store(home());
    EXPECT_THAT(store.files(), ElementsAre(AudioStore::File{1, 2, "1", ""},
                                           AudioStore::File{3, 4, "2.o g%g", "\xC3\xA4\n"}));
    EXPECT_EQ(read(store.pathOf("1")), "one");
    EXPECT_EQ(read(home() / "list"), "1 2 1 %\n3 4 2.o%20g%25g %C3%A4%0A\n");
}

TEST_F(AudioStoreTest, KeepsTheSecondOfTwoUploadsOfOneName) {
    AudioStore store(home());
    store.takeOver(upload("1", "a longer one"), 1, 2, "a");
    store.takeOver(upload("2", "two"), 1, 2, "b");
    store.takeOver(upload("1", "short"), 3, 4, "c");
    EXPECT_THAT(store.files(),
                ElementsAre(AudioStore::File{3, 4, "1", "c"}, AudioStore::File{1, 2, "2", "b"}));
    EXPECT_EQ(read(store.pathOf("1")), "short");
}

TEST_F(AudioStoreTest, AssignsAFileItHasAnotherSpanAndMarker) {
    {
        AudioStore store(home());
        store.takeOver(upload("1", "one"), 1, 2, "a");
        EXPECT_TRUE(store.assign("1", 5, 6, "b"));
        EXPECT_FALSE(store.assign("2", 5, 6, "b"));
    }
    EXPECT_THAT(AudioStore(home()).files(), ElementsAre(AudioStore::File{5, 6, "1", "b"}));
}

TEST_F(AudioStoreTest, RefusesMoreTextThanAnAnswerShouldHave) {
    const std::string half(AudioStore::kMostText / 2, 'm');
    const auto isRefused = ThrowsMessage<std::runtime_error>(
        "the audio files' names and markers would be more than 8388608 bytes together");
    AudioStore store(home());
    store.takeOver(upload("1", "one"), 1, 2, half);
    const std::string second = upload("2", "two");
    EXPECT_THAT([&] { store.takeOver(second, 1, 2, half); }, isRefused);
    EXPECT_EQ(store.files().size(), 1U);
    EXPECT_TRUE(fs::exists(second));
    EXPECT_FALSE(fs::exists(store.pathOf("2")));
    store.takeOver(second, 1, 2, "m");
    EXPECT_THAT([&] { store.assign("2", 1, 2, half); }, isRefused);
    EXPECT_EQ(store.files()[1], (AudioStore::File{1, 2, "2", "m"}));
}

TEST_F(AudioStoreTest, LetsAListThatHasTooMuchTextBecomeShorter) {
    const std::string most(AudioStore::kMostText, 'm');
    directory.write("kept/files/1", "one");
    directory.write("kept/list", "1 2 1 " + most + "\n");
    AudioStore store(home());
    EXPECT_TRUE(store.assign("1", 1, 2, most.substr(1) + "x"));
    EXPECT_TRUE(store.assign("1", 1, 2, "m"));
}

TEST_F(AudioStoreTest, RefusesWhatIsNoRegularFile) {
    AudioStore store(home());
    const fs::path uploads = fs::path(upload("real", "x")).parent_path();
    fs::create_symlink(uploads / "real", uploads / "link");
    fs::create_directory(uploads / "directory");
    ASSERT_EQ(mkfifo((uploads / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(errorOf(store, uploads / "missing"), errorCode_t::NotFound);
    EXPECT_EQ(errorOf(store, uploads / "link"), errorCode_t::NotAllowed);
    EXPECT_EQ(errorOf(store, uploads / "directory"), errorCode_t::NotAllowed);
    EXPECT_EQ(errorOf(store, uploads / "pipe"), errorCode_t::NotAllowed);
    EXPECT_THAT(store.files(), IsEmpty());
    EXPECT_TRUE(fs::exists(uploads / "real"));
}

TEST_F(AudioStoreTest, RefusesAFileWithAnotherName) {
    AudioStore store(home());
    const fs::path uploaded = upload("one", "x");
    const fs::path other = uploaded.parent_path() / "other";
    fs::create_hard_link(uploaded, other);
    EXPECT_EQ(errorOf(store, uploaded), errorCode_t::NotAllowed);
    EXPECT_EQ(errorOf(store, other), errorCode_t::NotAllowed);
    fs::remove(other);
    store.takeOver(uploaded, 1, 2, "m");
    EXPECT_EQ(store.files().size(), 1U);
}

TEST_F(AudioStoreTest, RefusesAFileOfSomebodyElse) {
    AudioStore store(home(), geteuid() + 1);
    const fs::path uploaded = upload("one", "x");
    EXPECT_EQ(errorOf(store, uploaded), errorCode_t::NotAllowed);
    EXPECT_TRUE(fs::exists(uploaded));
}

TEST_F(AudioStoreTest, LeavesOutAFileThatIsNoLongerThere) {
    directory.write("kept/files/1", "one");
    directory.write("kept/list", "1 2 1 m\n1 2 2 m\n");
    EXPECT_THAT(AudioStore(home()).files(), ElementsAre(AudioStore::File{1, 2, "1", "m"}));
}

TEST_F(AudioStoreTest, RefusesAListThatHoldsSomethingElse) {
    for (const char* const line : {"hello", "1 2 a", "1 2 a b c", "-x 2 a b", "1 2 a %Z", ""}) {
        directory.write("kept/list", std::string(line) + "\n");
        EXPECT_THAT(
            [this] { AudioStore store(home()); },
            ThrowsMessage<std::runtime_error>("line 1 of the audio list \"" +
                                              (home() / "list").string() + "\" is no audio file"))
            << line;
    }
}

TEST_F(AudioStoreTest, SaysWhyADirectoryCannotBeUsed) {
    const std::string file = directory.write("file", "");
    EXPECT_THAT([&] { AudioStore store(file); },
                ThrowsMessage<std::runtime_error>("the audio directory \"" + file +
                                                  "\" cannot be used: Not a directory"));
}

TEST_F(AudioStoreTest, KeepsAnUploadThatCannotBeTaken) {
    AudioStore store(home());
    fs::remove(home() / "files");
    directory.write("kept/files", "in the way");
    const std::string file = upload("1", "one");
    EXPECT_THROW(store.takeOver(file, 1, 2, "m"), std::runtime_error);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_THAT(store.files(), IsEmpty());
}

TEST_F(AudioStoreTest, LeavesNothingBehindWithoutADirectory) {
    fs::path kept;
    {
        AudioStore store("");
        EXPECT_FALSE(store.assign("1", 1, 2, "m"));
        store.takeOver(upload("1", "one"), 1, 2, "m");
        kept = store.pathOf("1");
        EXPECT_EQ(read(kept), "one");
    }
    EXPECT_FALSE(fs::exists(kept.parent_path().parent_path()));
}

}  // namespace
