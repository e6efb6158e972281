// The answer to request 50: a logger's events (trigger markers).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetEventList : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_EVENT_LIST;

    struct event_t {
        std::uint64_t timestamp = 0;  // microseconds since 1970-01-01 00:00:00 UTC
        std::string time_zone;
        std::int32_t number = 0;
        std::string marker_id;

        bool operator==(const event_t&) const = default;
    };

    KRPResponseGetEventList() : KRPMessageResponse(kId) {}
    explicit KRPResponseGetEventList(std::vector<event_t> list);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    std::vector<event_t> events;  // in the logger's order

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
