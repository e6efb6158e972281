// What a logger's GPS receiver reports.
#pragma once

#include <cstdint>
#include <string>

#include "krpbus/messages/message_base.h"

class GPSTraceMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 0x8021;

    GPSTraceMessage() : MessageBase(kMessageID) {}

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    std::uint64_t timestamp = 0;  // microseconds since 1970 UTC
    std::string gprmcStatus;      // "A": valid fix, "V": none
    double latitude = 0.0;        // degrees, north positive; meaningful with a fix only
    double longitude = 0.0;       // degrees, east positive; meaningful with a fix only

  protected:
    void encodeBody(ByteWriter& writer) const override;
};
