#include "modules/audio/upload_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

// Says that it is gone.
class WatchedUpload : public UploadInfo {
  public:
    explicit WatchedUpload(bool& gone) : UploadInfo("a", ""), gone_(gone) {}
    ~WatchedUpload() override { gone_ = true; }

  private:
    bool& gone_;
};

}  // namespace

TEST(UploadInfo, WritesItsNameAndExtension) {
    const UploadInfo info("speech", "ogg");
    std::ostringstream text;
    text << info;
    EXPECT_EQ(text.str(), "name: speech; file_extension: ogg;");
    EXPECT_EQ(info.toString(), text.str());
}

TEST(UploadInfo, OfAudioWritesTheTimeSpanAndTheMarkerToo) {
    const UploadInfoAudio audio("speech", "", 1, 4294967295U, "m 1");
    const UploadInfo& info = audio;
    std::ostringstream text;
    text << info;
    EXPECT_EQ(text.str(),
              "name: speech; file_extension: ; start_time: 1; marker_id: m 1; "
              "end_time: 4294967295;");
}

TEST(UploadInfo, StoresUnderANumberAndTheExtension) {
    const UploadInfo with("a", "wav");
    EXPECT_THAT(with.getStoredName(), testing::MatchesRegex("[0-9]+\\.wav"));
    const UploadInfo without("a.b", "");
    EXPECT_THAT(without.getStoredName(), testing::MatchesRegex("[0-9]+"));
    EXPECT_FALSE(without.isReceiving());
}

TEST(UploadInfo, DrawsTheNumberFromTheCurrentSecond) {
    const auto drawnIn = [](std::time_t second) {
        std::srand(static_cast<unsigned>(second));
        return std::to_string(std::rand());
    };
    const std::time_t before = std::time(nullptr);
    const std::string name = UploadInfo("a", "").getStoredName();
    const std::time_t after = std::time(nullptr);
    std::vector<std::string> possible;
    for (std::time_t second = before; second <= after; ++second) {
        possible.push_back(drawnIn(second));
    }
    EXPECT_THAT(possible, testing::Contains(name));
}

TEST(UploadInfo, OfTheSameSecondShareTheirStoredName) {
    // The second may turn between two announcements, but not a hundred times in a row.
    bool shared = false;
    for (int i = 0; i < 100 && !shared; ++i) {
        shared = UploadInfo("a", "wav").getStoredName() == UploadInfo("b", "wav").getStoredName();
    }
    EXPECT_TRUE(shared);
}

TEST(PendingUpload, IsOneAtATime) {
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
    const auto first = std::make_shared<UploadInfo>("a", "");
    EXPECT_TRUE(uploadfileInfo.announce(first));
    EXPECT_FALSE(uploadfileInfo.announce(std::make_shared<UploadInfo>("b", "")));
    EXPECT_EQ(uploadfileInfo.get(), first);
    EXPECT_EQ(uploadfileInfo.take(), first);
    EXPECT_EQ(uploadfileInfo.get(), nullptr);
    EXPECT_EQ(uploadfileInfo.take(), nullptr);
    EXPECT_TRUE(uploadfileInfo.announce(first));
    uploadfileInfo.take();
}

TEST(PendingUpload, StaysForWhoeverWorksOnItAfterItWasTaken) {
    bool gone = false;
    uploadfileInfo.announce(std::make_shared<WatchedUpload>(gone));
    std::shared_ptr<UploadInfo> storing = uploadfileInfo.get();
    uploadfileInfo.take().reset();
    EXPECT_FALSE(gone);
    storing.reset();
    EXPECT_TRUE(gone);
}
