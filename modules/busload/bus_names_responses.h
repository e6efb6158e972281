// What the browser is sent about the buses that there are.
#pragma once

#include <string>

#include "json/wa_response_message.h"

class KRPResponseGetBusNames;

/// "get_bus_names". Complete once it is constructed.
class WaResponseGetBusNames : public WaResponseKRPMessage {
  public:
    /// One logger's answer, on the bus thread: stored, and followed by the merged catalogue. A busy
    /// logger is asked again after 100 ms, any other failure is passed on to the browser.
    WaResponseGetBusNames(const KRPResponseGetBusNames* answer, const std::string& source);
    /// The buses of every logger that has answered, "PROGRESS" while one is missing. While bus load
    /// runs every bus is then shown at once.
    WaResponseGetBusNames();

  private:
    void addFailure(const KRPResponseGetBusNames& answer, const std::string& source);
};
