// The answer to request 83: the remote-control monitors.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetRCMonitorNames : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_RC_MONITOR_NAMES;

    struct rcMonitor_t {
        std::uint32_t index = 0;
        std::string name;

        bool operator==(const rcMonitor_t&) const = default;
    };

    KRPResponseGetRCMonitorNames() : KRPMessageResponse(kId) {}
    explicit KRPResponseGetRCMonitorNames(std::vector<rcMonitor_t> names);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    std::vector<rcMonitor_t> monitors;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
