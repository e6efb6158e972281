// What a worker thread needs of a session: a connection and the set-up record that leads to it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "setup/lv_setup.h"
#include "tests/kit/recording_host.h"

/// Runs a request as the session does; what the module's handler returns.
template <class Handler>
int runRequest(Handler handler, const std::string& request) {
    Document doc;
    doc.Parse(request.c_str());
    EXPECT_TRUE(doc.IsObject()) << request;
    return handler(doc["command"].GetString(), doc);
}

/// Stands for the session: fills the set-up record for the host's connection and makes it the
/// current one. One at a time.
class WorkerSession {
  public:
    explicit WorkerSession(long connectionId = 17);
    ~WorkerSession();
    WorkerSession(const WorkerSession&) = delete;
    WorkerSession& operator=(const WorkerSession&) = delete;

    /// What the browser was sent: a text frame as compact JSON, a close frame as "close <status>".
    std::vector<std::string> sent() const;
    /// The same since the last call.
    std::vector<std::string> takeSent();

    /// Runs the request, which is the module's, and returns what the browser was sent for it alone.
    template <class Handler>
    std::vector<std::string> answersTo(Handler handler, const std::string& request) {
        host.clearFrames();
        EXPECT_EQ(runRequest(handler, request), 1) << request;
        return sent();
    }

    RecordingHost host;
    LvSetup setup;

  private:
    LvSocket socket_;
};
