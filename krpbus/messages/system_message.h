// Notices and commands of the logger system that nobody answers.
#pragma once

#include <cstdint>
#include <string>

#include "krpbus/messages/message_base.h"

class SystemMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 128;

    /// The types that mean something to somebody; any other byte may come.
    static constexpr unsigned char SM_STATE = 4;           // logger state: "1-config", "3-stop" ...
    static constexpr unsigned char SM_RCMON = 25;          // screen of the remote-control monitor
    static constexpr unsigned char SM_KSL = 32;            // the logger network has changed
    static constexpr unsigned char SM_KSL_HEARTBEAT = 33;  // a logger shows that it is there
    static constexpr unsigned char SM_KRPBUS_STATE = 34;   // state of a bus client
    static constexpr unsigned char SM_EVENT = 35;          // a SystemNgEventMessage

    /// The text of a field that does not apply: "n/a".
    static constexpr const char* NOT_AVAILABLE = "n/a";

    SystemMessage(unsigned char messageType, std::string messageText);

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    unsigned char getType() const { return type; }
    const std::string& getText() const { return text; }

    unsigned char type;
    std::string text;

  protected:
    SystemMessage(messageID_t messageID, unsigned char messageType, std::string messageText);
    void encodeBody(ByteWriter& writer) const override;
};
