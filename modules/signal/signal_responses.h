// What arrives on the bus about signals, and what the browser is sent of it. Bus thread.
#pragma once

#include <string>

#include "json/wa_response_message.h"
#include "modules/signal/signal_data.h"

class KRPResponseGetLVSignalConfig;
class SignalMessage;

/// Stores a value, and sends it to the browser when its signal has been started.
void passOnValue(const SignalMessage& message, const std::string& source);

/// "get_signal_names": the catalogue, or why a logger has not given its signals. Sent on
/// construction.
class WaResponseGetSignalNames : public WaResponseKRPMessage {
  public:
    /// Takes one logger's answer into the catalogue, then sends all of it. A logger that is busy is
    /// asked again after 100 ms, on this thread, and nothing is sent.
    WaResponseGetSignalNames(const KRPResponseGetLVSignalConfig* answer, const std::string& source);
    /// Sends the catalogue.
    WaResponseGetSignalNames();
};

/// "generic_sig_value": the latest value of a started signal; nothing is sent for any other. Sent
/// on construction.
class WaResponseSignal : public WaResponseKRPMessage {
  public:
    explicit WaResponseSignal(const SignalKey& key);
};
