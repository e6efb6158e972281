// What the browser is sent about triggers. Each of these classes is one answer, complete once it is
// constructed.
#pragma once

#include <string>

#include "json/wa_response_message.h"

class KRPResponseGetEventIndex;
class KRPResponseGetEventList;
class SystemNgEventMessage;

/// "set_trigger": an event was created, by whomever. All events are then asked for anew. Bus
/// thread.
class WaResponseSetTrigger : public WaResponseKRPMessage {
  public:
    explicit WaResponseSetTrigger(const SystemNgEventMessage* event);
};

/// Sends "set_trigger" and asks for all events. Bus thread.
void sendSetTrigger(const SystemNgEventMessage* event);

/// "get_trigger_count". Bus thread.
class WaResponseGetTriggerCount : public WaResponseKRPMessage {
  public:
    explicit WaResponseGetTriggerCount(const KRPResponseGetEventIndex* answer);
};

/// "get_trigger". Bus thread.
class WaResponseGetEventList : public WaResponseKRPMessage {
  public:
    /// One logger's answer: stored, and followed by the merged list. A busy logger is asked again
    /// after 100 ms, any other failure is passed on to the browser.
    WaResponseGetEventList(const KRPResponseGetEventList* answer, const std::string& logger);
    /// The events of every logger that has answered, "PROGRESS" while one is missing.
    WaResponseGetEventList();
};
