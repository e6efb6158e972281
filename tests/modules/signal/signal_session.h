// What the module needs of a session: a browser's connection and the network record.
#pragma once

#include "network/ksl_info.h"
#include "setup/lv_setup.h"
#include "tests/kit/recording_host.h"

// Stands for the session. Nothing but the browser is connected: what goes to the bus is dropped.
class SignalSession {
  public:
    SignalSession() : socket_{host.server(), host.requestPool(), "", ""} {
        setup.socket = &socket_;
        stp = &setup;
    }
    ~SignalSession() { stp = nullptr; }
    SignalSession(const SignalSession&) = delete;
    SignalSession& operator=(const SignalSession&) = delete;

    RecordingHost host;
    LvSetup setup;

  private:
    LvSocket socket_;
};
