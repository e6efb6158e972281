// A key of the handheld unit was pressed or released.
#pragma once

#include <cstdint>

#include "krpbus/messages/message_base.h"

class KeyboardMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 32817;  // 0x8031
    static constexpr unsigned char kTriggerKey = 16;

    KeyboardMessage(unsigned char key, unsigned char isPressed, std::uint64_t eventTime)
        : MessageBase(kMessageID), keyCode(key), pressed(isPressed), time(eventTime) {}

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    unsigned char keyCode;
    unsigned char pressed;  // 1 pressed, 0 released
    /// Microseconds since 1970 UTC. The only number that travels in the sender's own byte order:
    /// a key event is handed on as the keyboard driver's record holds it, and every logger that
    /// compares it with a known event has the same processor.
    std::uint64_t time;

  protected:
    void encodeBody(ByteWriter& writer) const override;
};
