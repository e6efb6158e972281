// A message whose bytes stop in the middle, to try out what receivers do with it.
#pragma once

#include <cstdint>
#include <ostream>
#include <vector>

#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"

namespace desk {

/// Has the class and the source channel of another message and the first half of the rest.
class TruncatedMessage : public MessageBase {
  public:
    explicit TruncatedMessage(const MessageBase& whole)
        : MessageBase(whole.getMessageID(), whole.getSourceChannel()) {
        static constexpr std::size_t kHead = 3;  // class and source channel
        ByteWriter writer;
        whole.encode(writer);
        const auto rest = writer.bytes().subspan(kHead);
        const auto half = rest.first(rest.size() / 2);
        body_.assign(half.begin(), half.end());
    }

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<TruncatedMessage>(*this);
    }
    void print(std::ostream& out) const override {
        out << "TruncatedMessage [bytes=" << body_.size() << "]";
    }

  protected:
    void encodeBody(ByteWriter& writer) const override { writer.raw(body_.data(), body_.size()); }

  private:
    std::vector<std::uint8_t> body_;
};

}  // namespace desk
