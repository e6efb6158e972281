// The answer to request 81: the buses that a logger records.
#pragma once

#include <string>
#include <vector>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetBusNames : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_BUS_NAMES;

    struct busName_t {
        busid_t busId = BUSID_UNKNOWN;
        unsigned char channel = 0;    // counted from 0
        unsigned char kslOffset = 0;  // channel offset in the logger network; 0: the local logger
        std::string name;

        bool operator==(const busName_t&) const = default;
    };

    KRPResponseGetBusNames() : KRPMessageResponse(kId) {}
    explicit KRPResponseGetBusNames(std::vector<busName_t> buses);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    std::vector<busName_t> busNames;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
