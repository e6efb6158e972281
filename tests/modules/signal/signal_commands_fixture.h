// The signal commands on a real bus, and what the browser is sent of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "modules/signal/signal_catalogue.h"
#include "modules/signal/signal_commands.h"
#include "modules/signal/signal_module.h"
#include "modules/signal/signal_responses.h"
#include "tests/kit/log_capture.h"
#include "tests/modules/signal/signal_network.h"

inline const SignalKey kSpeed("Speed", kLocalLogger);

inline constexpr const char* kForwardingStarted =
    R"({"response": "signal_forwarding_start","status": "OK"})";
inline constexpr const char* kForwardingStopped =
    R"({"response": "signal_forwarding_stop","status": "OK"})";
inline const std::string kKeyAndInterval =
    R"("signal_key": ["Speed","02:00:00:00:00:01"],"interval": -1,)";
inline const std::string kStarted =
    R"({"response": "generic_start_sig",)" + kKeyAndInterval + R"("status": "OK"})";
inline const std::string kNoValue = R"({"response": "generic_sig_value",)" + kKeyAndInterval +
                                    R"("status": "ERROR","error_code": "no_value"})";
inline const std::string kStopped =
    R"({"response": "generic_stop_sig",)" + kKeyAndInterval + R"("status": "OK"})";

// The answer to a command on "Speed" that failed.
inline std::string failed(const std::string& cmd, const std::string& code) {
    return R"({"response": ")" + cmd + R"(",)" + kKeyAndInterval +
           R"("status": "ERROR","error_code": ")" + code + R"("})";
}

class SignalCommandsFixture : public testing::Test {
  protected:
    // Runs the command in this request.
    int run(const std::string& request) {
        Document doc;
        doc.Parse(request.c_str());
        return wa_handle_message_signal(doc["command"].GetString(), doc);
    }
    // The loggers' signals are known: "Speed" on the local logger.
    void completeCatalogue() {
        signalInfo->updateSignalConfiguration(speedConfig(), kLocalLogger);
        signalInfo->configState = KSL_MSG_STATE_COMPLETE;
    }
    bool isActive(const SignalKey& key = kSpeed) { return signalInfo->getSignalData(key).active; }
    // What the browser was sent, each answer in one line; the members' order is kept.
    std::vector<std::string> answers() {
        std::vector<std::string> lines;
        for (const std::string& text : network.session.host.texts()) {
            std::string line;
            bool atStart = false;
            for (const char c : text) {
                atStart = c == '\n' || (atStart && c == ' ');
                if (!atStart) {
                    line += c;
                }
            }
            lines.push_back(line);
        }
        return lines;
    }
    void clearAnswers() { network.session.host.clearFrames(); }

    LogCapture log;
    SignalNetwork network;
};
