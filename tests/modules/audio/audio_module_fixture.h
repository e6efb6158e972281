// A session with a bus, and the touch panel's server on it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "krpbus/messages/simple_messages.h"
#include "modules/audio/audio_module.h"
#include "modules/audio/save_audio.h"
#include "modules/audio/upload_info.h"
#include "tests/kit/answers.h"
#include "tests/kit/handheld_session.h"
#include "tests/kit/temporary_directory.h"

// An announcement, and the record of it that is pending then.
inline constexpr const char* kAnnounce =
    R"({"command":"upload_audio_file","name":"note","marker_id":"m1","start_time":10,"end_time":4294967295,"file_extension":"wav"})";
inline constexpr const char* kPendingText =
    "name: note; file_extension: wav; start_time: 10; marker_id: m1; end_time: 4294967295;";

class AudioModule : public HandheldSession {
  protected:
    AudioModule() : HandheldSession("audio_test") {}
    ~AudioModule() override {
        uploadfileInfo.take();
        for (const std::string& file : files_) {
            std::filesystem::remove(file);
        }
    }

    // Runs the request and returns what the browser was sent for it, as compact JSON.
    std::vector<std::string> run(const std::string& request) {
        return session_.answersTo(wa_handle_message_audio, request);
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
    static std::string pendingText() {
        const auto pending = uploadfileInfo.get();
        return pending ? pending->toString() : "(none)";
    }
    // That it is all that the browser gets.
    static testing::Matcher<std::vector<std::string>> isRefused(const std::string& command,
                                                                const std::string& reason,
                                                                const std::string& request) {
        return testing::ElementsAre(refusal(command, reason, request));
    }

    std::vector<std::string> files_;
};
