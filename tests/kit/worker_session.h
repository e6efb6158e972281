// What a worker thread needs of a session: a connection and the set-up record that leads to it.
#pragma once

#include <string>
#include <vector>

#include "setup/lv_setup.h"
#include "tests/kit/recording_host.h"

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

    RecordingHost host;
    LvSetup setup;

  private:
    LvSocket socket_;
};
