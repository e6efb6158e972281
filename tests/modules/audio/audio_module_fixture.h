// A session with a bus, and the touch panel's server on it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "json/json_text.h"
#include "krpbus/messages/simple_messages.h"
#include "modules/audio/audio_module.h"
#include "modules/audio/save_audio.h"
#include "modules/audio/upload_info.h"
#include "tests/kit/bus_participant.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/worker_session.h"

// An announcement, and the record of it that is pending then.
inline constexpr const char* kAnnounce =
    R"({"command":"upload_audio_file","name":"note","marker_id":"m1","start_time":10,"end_time":4294967295,"file_extension":"wav"})";
inline constexpr const char* kPendingText =
    "name: note; file_extension: wav; start_time: 10; marker_id: m1; end_time: 4294967295;";

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
            std::filesystem::remove(file);
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
    // The parser's answer to a request, which it quotes behind the reason.
    static std::string refusal(const std::string& command, const std::string& reason,
                               const std::string& request) {
        Document quoted;
        quoted.Parse(request.c_str());
        std::string text;
        for (const char c : dom_to_string(&quoted)) {
            text += c == '"' ? "\\\"" : c == '\n' ? "\\n" : std::string(1, c);
        }
        return R"({"response":")" + command +
               R"(","status":"ERROR","error_code":"invalid_command","error_msg":")" + reason + "(" +
               text + R"x()"})x";
    }
    // That it is all that the browser gets.
    static testing::Matcher<std::vector<std::string>> isRefused(const std::string& command,
                                                                const std::string& reason,
                                                                const std::string& request) {
        return testing::ElementsAre(refusal(command, reason, request));
    }

    NatsServer nats_;
    BusParticipant server_;
    KRPBusClient client_;
    WorkerSession session_;
    std::vector<std::string> files_;
};
