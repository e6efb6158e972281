// A message on its way between two loggers: the envelope around it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "krpbus/messages/message_base.h"

class RouterMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 0xFFFE;
    /// Longer addresses are cut to their first bytes.
    static constexpr std::size_t kMaxAddressLength = 255;
    /// Envelopes within envelopes beyond this are malformed.
    static constexpr unsigned int kMaxNesting = 4;

    /// `inner` may be null.
    RouterMessage(std::string_view sourceAddress, std::string_view destinationAddress,
                  std::unique_ptr<MessageBase> inner);
    RouterMessage(const RouterMessage& other);
    RouterMessage& operator=(const RouterMessage&) = delete;

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    /// Who sent the message inside: the forwarding address of a participant on another logger in
    /// what a client receives, the sender's own name in what it hands to the forwarder.
    const std::string& getSourceAddress() const { return sourceAddress_; }
    /// Where the message inside shall go.
    const std::string& getDestinationAddress() const { return destinationAddress_; }
    /// The message inside; null when there is none. Owned by this envelope.
    const MessageBase* getMessage() const { return inner_.get(); }
    MessageBase* getMessage() { return inner_.get(); }
    /// Takes the message out; the envelope is empty afterwards.
    std::unique_ptr<MessageBase> takeMessage() { return std::move(inner_); }

  protected:
    void encodeBody(ByteWriter& writer) const override;

  private:
    std::string sourceAddress_;
    std::string destinationAddress_;
    std::unique_ptr<MessageBase> inner_;
};
