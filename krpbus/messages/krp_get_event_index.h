// The answer to request 96: the current event index.
#pragma once

#include <cstdint>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetEventIndex : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_EVENT_INDEX;

    KRPResponseGetEventIndex() : KRPMessageResponse(kId) {}
    KRPResponseGetEventIndex(unsigned char whichIndex, std::int32_t currentIndex);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    unsigned char selector = 0;  // which index this is: the request's parameter
    std::int32_t index = 0;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
