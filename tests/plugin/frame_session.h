// A session without threads for tests of what it does with frames.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "plugin/lv_websocket.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

// The session under test answers to the host of `connection`.
class FrameSession : public testing::Test {
  protected:
    void deliver(std::string_view frame);
    void deliverBinary(std::string_view frame);
    // Makes the network record complete, or not.
    static void setLoggerInfoComplete(bool complete);

    // The texts of "error_msg" that the browser was sent; "(none)" for an answer without one.
    std::vector<std::string> descriptions() const;
    // What the browser was sent, each as compact JSON.
    std::vector<std::string> answers() const { return connection.sent(); }
    // Whether standard output or standard error holds this text.
    bool written(const std::string& text) const;

    WorkerSession connection;
    LogCapture capture;
    LvWebsocket session;
};
