// The answers of the remote-control monitor. Each is built and sent by its constructor, on the bus
// thread.
#pragma once

#include "json/wa_response_message.h"

class KRPResponseGetRCMonitorNames;
class SignalMessage;

/// The monitors of the local logger, in the order of its answer.
class WaResponseGetRCMonitorNames : public WaResponseKRPMessage {
  public:
    explicit WaResponseGetRCMonitorNames(const KRPResponseGetRCMonitorNames* answer);
};

/// A value that a monitor's screen shows. It carries no status: it answers nothing.
class WaResponseSignalMessage : public WaResponseKRPMessage {
  public:
    explicit WaResponseSignalMessage(const SignalMessage* message);
};
