#include "base/whole_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "tests/base/reserving_fault.h"
#include "tests/kit/file_size_limit.h"
#include "tests/kit/mounted_disk.h"
#include "tests/kit/temporary_directory.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

// A directory with the file that is written and read.
class WholeFile : public testing::Test {
  protected:
    bool write(std::string_view text) {
        return base::writeWholeFile(path_, text, base::ExistingFile::Any);
    }
    bool writeOwn(std::string_view text) {
        return base::writeWholeFile(path_, text, base::ExistingFile::OwnAlone);
    }
    void put(std::string_view text) const { std::ofstream(path_, std::ios::binary) << text; }
    std::string content() const { return contentOf(path_); }
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(directory_)) {
            all.push_back(entry.path().filename());
        }
        return all;
    }
    // A file of this size that takes no room.
    void putHole(std::uint64_t size) const {
        put("");
        ASSERT_EQ(::truncate(path_.c_str(), static_cast<off_t>(size)), 0);
    }
    // Has the file in use, as somebody who writes it.
    base::FileDescriptor use() const {
        base::FileDescriptor file(::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
        EXPECT_EQ(::flock(file.get(), LOCK_EX), 0);
        return file;
    }
    // Waits until the file is open for the second time in this process.
    void waitForSecondUser() const {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        while (users() < 2 && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(users(), 2);
    }

    const TemporaryDirectory temporary_;
    const fs::path directory_ = temporary_.path();
    fs::path path_ = directory_ / "file";

  private:
    int users() const {
        int count = 0;
        std::error_code gone;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            const std::string target = fs::read_symlink(entry, gone).string();
            count += target.rfind(path_.string(), 0) == 0 ? 1 : 0;
        }
        return count;
    }
};

// In a file system of its own.
class WholeFileOnADisk : public WholeFile {
  protected:
    explicit WholeFileOnADisk(const char* type, const char* options = "")
        : type_(type), options_(options) {}
    ~WholeFileOnADisk() override { disk_ = nullptr; }
    void SetUp() override {
        if (const std::string reason = MountedDisk::whyNot(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        disk_ = std::make_unique<MountedDisk>(directory_, type_, options_);
    }

  private:
    const char* type_;
    const char* options_;
    std::unique_ptr<MountedDisk> disk_;
};

class WholeFileOnAFullDisk : public WholeFileOnADisk {
  protected:
    WholeFileOnAFullDisk() : WholeFileOnADisk("tmpfs", "size=64k") {}
};

class WholeFileWithoutReserving : public WholeFileOnADisk {
  protected:
    WholeFileWithoutReserving() : WholeFileOnADisk("ramfs") {}
};

TEST_F(WholeFile, IsMadeReplacedAndReadWhole) {
    EXPECT_TRUE(write("a longer text"));
    EXPECT_THAT(base::readWholeFile(path_), Optional(std::string("a longer text")));
    EXPECT_TRUE(write("x"));
    EXPECT_EQ(content(), "x");
    EXPECT_TRUE(write("xyz"));
    EXPECT_EQ(content(), "xyz");
    EXPECT_TRUE(write(""));
    EXPECT_THAT(base::readWholeFile(path_), Optional(std::string()));
    EXPECT_THAT(names(), ElementsAre("file"));
}

TEST_F(WholeFile, IsMadeAtTheEndOfALinkThatLedNowhere) {
    fs::create_symlink(directory_ / "target", path_);
    EXPECT_TRUE(write("x"));
    EXPECT_EQ(content(), "x");
    EXPECT_TRUE(fs::is_symlink(path_));
}

TEST_F(WholeFile, IsNotWhatIsNoRegularFile) {
    ASSERT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    EXPECT_FALSE(write("x"));
    EXPECT_EQ(base::readWholeFile(path_), std::nullopt);
    fs::remove(path_);
    fs::create_directory(path_);
    EXPECT_FALSE(write("x"));
    EXPECT_EQ(base::readWholeFile(path_), std::nullopt);
}

TEST_F(WholeFile, KeepsItsContentWhereTheNewOneMayNotBeSoLarge) {
    put("old");
    {
        const FileSizeLimit limit(5);
        EXPECT_FALSE(write("longer than five"));
    }
    EXPECT_EQ(content(), "old");
}

TEST_F(WholeFile, IsNotMadeWhereItMayNotBeSoLarge) {
    {
        const FileSizeLimit limit(5);
        EXPECT_FALSE(write("longer than five"));
    }
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(WholeFile, OfMoreThanTwoGigabytesIsReplaced) {
    putHole(3ULL << 30);
    EXPECT_TRUE(write("x"));
    EXPECT_EQ(content(), "x");
}

TEST_F(WholeFile, IsNotReadWhenItIsTooLargeForMemory) {
    putHole(1ULL << 40);
    EXPECT_EQ(base::readWholeFile(path_), std::nullopt);
}

TEST_F(WholeFile, IsNotReadWhenItsCopiesAreTooLargeForMemory) {
    putHole(1ULL << 20);
    EXPECT_EQ(base::readWholeFile(path_)->size(), 1U << 20);
    EXPECT_EQ(base::readWholeFile(path_, 1U << 31), std::nullopt);
}

TEST_F(WholeFile, IsLeftAloneByAWriterWhoGetsNoTurn) {
    put("theirs");
    const base::FileDescriptor user = use();
    EXPECT_FALSE(write("mine"));
    EXPECT_EQ(content(), "theirs");
}

TEST_F(WholeFile, IsWrittenWhenTheOtherIsDone) {
    put("theirs");
    base::FileDescriptor user = use();
    std::thread other([&] {
        waitForSecondUser();
        user = base::FileDescriptor();
    });
    EXPECT_TRUE(write("mine"));
    other.join();
    EXPECT_EQ(content(), "mine");
}

TEST_F(WholeFile, IsMadeAnewWhenTheOtherHasRemovedIt) {
    put("theirs");
    base::FileDescriptor user = use();
    std::thread other([&] {
        waitForSecondUser();
        fs::remove(path_);
        user = base::FileDescriptor();
    });
    EXPECT_TRUE(write("mine"));
    other.join();
    EXPECT_EQ(content(), "mine");
}

TEST_F(WholeFile, IsReadWhenItHasBeenWrittenToItsEnd) {
    base::FileDescriptor user = use();
    std::thread writer([&] {
        waitForSecondUser();
        std::this_thread::sleep_for(100ms);  // who does not wait reads now
        put("whole");
        user = base::FileDescriptor();
    });
    EXPECT_THAT(base::readWholeFile(path_), Optional(std::string("whole")));
    writer.join();
}

TEST_F(WholeFile, IsReadAllTheSameWhenSomebodyKeepsItInUse) {
    put("text");
    const base::FileDescriptor user = use();
    EXPECT_THAT(base::readWholeFile(path_), Optional(std::string("text")));
}

TEST_F(WholeFile, HoldsOneWholeTextWhenManyWriteAtOnce) {
    for (int round = 0; round < 20; ++round) {
        std::vector<std::thread> writers;
        for (const char letter : {'a', 'b', 'c', 'd'}) {
            writers.emplace_back([this, letter] {
                const auto length = static_cast<std::size_t>(letter - 'a' + 1) * 10'000;
                EXPECT_TRUE(write(std::string(length, letter)));
            });
        }
        for (std::thread& writer : writers) {
            writer.join();
        }
        const std::string text = content();
        ASSERT_EQ(text, std::string(static_cast<std::size_t>(text[0] - 'a' + 1) * 10'000, text[0]));
    }
}

TEST_F(WholeFile, OfOnesOwnIsReplaced) {
    EXPECT_TRUE(writeOwn("a longer text"));
    EXPECT_TRUE(writeOwn("x"));
    EXPECT_EQ(content(), "x");
}

TEST_F(WholeFile, OfOnesOwnIsNotBehindALink) {
    std::ofstream(directory_ / "target") << "theirs";
    fs::create_symlink(directory_ / "target", path_);
    EXPECT_FALSE(writeOwn("mine"));
    EXPECT_EQ(content(), "theirs");
}

TEST_F(WholeFile, OfOnesOwnHasNoSecondName) {
    std::ofstream(directory_ / "target") << "theirs";
    fs::create_hard_link(directory_ / "target", path_);
    EXPECT_FALSE(writeOwn("mine"));
    EXPECT_EQ(content(), "theirs");
    EXPECT_TRUE(write("mine")) << "where that does not matter";
}

TEST_F(WholeFile, OfOnesOwnIsNotSomebodyElses) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    put("theirs");
    ASSERT_EQ(::chown(path_.c_str(), 65534, 65534), 0);
    EXPECT_FALSE(writeOwn("mine"));
    EXPECT_EQ(content(), "theirs");
    EXPECT_TRUE(write("mine")) << "where that does not matter";
}

TEST_F(WholeFileOnAFullDisk, KeepsItsContent) {
    put("old");
    EXPECT_FALSE(write(std::string(200'000, 'x')));
    EXPECT_EQ(content(), "old");
    EXPECT_THAT(names(), ElementsAre("file"));
    EXPECT_TRUE(write(std::string(50'000, 'y'))) << "what was reserved is free again";
}

TEST_F(WholeFile, KeepsItsLengthWhenReservingTookWhatRoomThereWas) {
    // Unlike others, ext4 keeps what it could reserve before the room ended.
    const std::string image = directory_ / "image";
    const std::string mounted = directory_ / "mounted";
    fs::create_directory(mounted);
    const std::string commands =
        "mkfs.ext4 -q -F " + image + " 1M && mount -o loop " + image + " " + mounted;
    if (!MountedDisk::whyNot().empty() || std::system((commands + " 2>&1").c_str()) != 0) {
        GTEST_SKIP() << "no file system in a file can be mounted here";
    }
    path_ = fs::path(mounted) / "file";
    put("old");
    EXPECT_FALSE(write(std::string(4'000'000, 'x')));
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(::umount2(mounted.c_str(), MNT_DETACH), 0);
}

TEST_F(WholeFile, KeepsItsLengthWhereTheSystemMadeItLongerAndFailed) {
    put("old");
    roomForFile = 2000;
    EXPECT_FALSE(write(std::string(4000, 'x')));
    roomForFile = -1;
    EXPECT_EQ(content(), "old");
    EXPECT_TRUE(write("new"));
}

TEST_F(WholeFileOnAFullDisk, KeepsAContentThatTookNoRoom) {
    putHole(60'000);
    std::ofstream(directory_ / "other") << std::string(50'000, 'o');
    EXPECT_FALSE(write(std::string(60'000, 'x')));
    EXPECT_EQ(content(), std::string(60'000, '\0'));
}

TEST_F(WholeFileOnAFullDisk, IsNotMade) {
    EXPECT_FALSE(write(std::string(200'000, 'x')));
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(WholeFileOnAFullDisk, IsReplacedInTheRoomThatItHas) {
    put(std::string(60'000, 'o'));
    EXPECT_TRUE(write(std::string(60'000, 'x')));
    EXPECT_EQ(content(), std::string(60'000, 'x'));
}

TEST_F(WholeFileWithoutReserving, IsMadeAndReplaced) {
    EXPECT_TRUE(write("a longer text"));
    EXPECT_TRUE(write("x"));
    EXPECT_EQ(content(), "x");
}

TEST_F(WholeFileWithoutReserving, HoldsNoPartOfWhatCouldNotBeWritten) {
    put("old");
    {
        const FileSizeLimit limit(5);
        EXPECT_FALSE(write("longer than five"));
    }
    EXPECT_EQ(content(), "");
    fs::remove(path_);
    {
        const FileSizeLimit limit(5);
        EXPECT_FALSE(write("longer than five"));
    }
    EXPECT_THAT(names(), IsEmpty());
}

}  // namespace
