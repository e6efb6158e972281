// A bus client's announcement of its own state to the bus server.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "krpbus/messages/system_message.h"

struct KRPBus {
    /// The states of a bus client; a client that is ready announces the one at index 2.
    static constexpr std::array<const char*, 5> statusNames = {
        "0-unknown", "1-starting", "2-running", "3-stopping", "4-failed"};
};

class SystemSetStateKrpBusMessage : public SystemMessage {
  public:
    static constexpr messageID_t kMessageID = 130;

    /// `status` is one of KRPBus::statusNames, `description` may be empty.
    SystemSetStateKrpBusMessage(const std::string& status, const std::string& description,
                                unsigned long long time);

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    const std::string& getStatus() const { return text; }
    const std::string& getDescription() const { return description_; }
    std::uint64_t getTime() const { return time_; }

  protected:
    void encodeBody(ByteWriter& writer) const override;

  private:
    std::string description_;
    std::uint64_t time_;
};
