// An event: sent to the event service to create one, sent by it to report one.
#pragma once

#include <cstdint>
#include <string>

#include "krpbus/messages/system_message.h"

/// What happened. Any other value may come.
enum eventid_t : std::uint8_t {
    EVENTID_TRIGGER_SET = 3,
    EVENTID_TRIGGER_COUNT_RESET = 8,
};

class SystemNgEventMessage : public SystemMessage {
  public:
    static constexpr messageID_t kMessageID = 129;

    /// `time` is when the message was made, `eventTime` when the event happened, both in
    /// microseconds since 1970 UTC.
    SystemNgEventMessage(unsigned long long time, eventid_t eventId, unsigned long long eventTime,
                         const std::string& timeZone, const std::string& markerId,
                         unsigned short number, const std::string& messageText);

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    eventid_t getEventId() const { return eventId_; }
    /// In host order here; big-endian on the bus.
    std::uint64_t getTime() const { return time_; }
    std::uint64_t getEventTime() const { return eventTime_; }
    std::uint16_t getNumber() const { return number_; }
    const std::string& getTimeZone() const { return timeZone_; }
    const std::string& getMarkerId() const { return markerId_; }

  protected:
    void encodeBody(ByteWriter& writer) const override;

  private:
    eventid_t eventId_;
    std::uint64_t eventTime_;
    std::uint16_t number_;
    std::uint64_t time_;
    std::string timeZone_;
    std::string markerId_;
};
