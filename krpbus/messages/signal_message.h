// A live value of a signal.
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "krpbus/messages/message_base.h"

/// What kind of value a signal has. Any other byte may come.
enum signalValue_t : std::uint8_t {
    SIGNALVALUE_UNKNOWN = 0,
    SIGNALVALUE_UNSIGNED = 1,
    SIGNALVALUE_SIGNED = 2,
    SIGNALVALUE_FLOAT = 3,
    SIGNALVALUE_DOUBLE = 4,
    SIGNALVALUE_BOOL = 5,
    SIGNALVALUE_STRING = 6,
    SIGNALVALUE_BYTES = 7,
};

/// "SIGNALVALUE_UNSIGNED" and so on; "SIGNALVALUE_42" for a byte without a name.
std::ostream& operator<<(std::ostream& out, signalValue_t type);
/// Whether values of the type are numbers: unsigned, signed, float, double.
bool isNumeric(signalValue_t type);

struct BaseSignal {
    /// Diagnostics of signal data are wanted when not 0. Written by one thread, polled by others.
    static std::atomic<int> debug;
};

class SignalMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 0x8010;

    SignalMessage() : MessageBase(kMessageID) {}

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    std::uint64_t timestamp = 0;  // microseconds since 1970 UTC
    std::string instanceName;
    std::string webappName;  // empty: the value belongs to a monitor's screen
    std::string unit;
    std::string value;
    std::uint64_t raw = 0;
    double phys = 0.0;
    std::string descr;  // text of the value; empty when it has none

  protected:
    void encodeBody(ByteWriter& writer) const override;
};
