// The answer to request 137: the live-view signals that a logger offers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/krp_message.h"
#include "krpbus/messages/message_ids.h"

class KRPResponseGetLVSignalConfig : public KRPMessageResponse {
  public:
    static constexpr krpMsgID_t kId = KRP_GET_LV_SIGNAL_CONFIG;

    /// One signal.
    struct signalConfig_t {
        std::string instanceName;
        std::string webappName;  // the name under which the web application knows it
        std::string userName;    // given by the user
        std::string unit;
        busid_t busId = BUSID_UNKNOWN;
        unsigned char channel = 0;    // raw: counted from 0
        unsigned char kslOffset = 0;  // channel offset in the logger network; 0: the local logger
        unsigned char valueType = 0;  // a signalValue_t
        double scale = 0.0;
        double offset = 0.0;
        std::map<std::uint64_t, std::string> valueDescriptionTable;  // raw value to text

        bool operator==(const signalConfig_t&) const = default;
    };

    KRPResponseGetLVSignalConfig() : KRPMessageResponse(kId) {}
    explicit KRPResponseGetLVSignalConfig(std::vector<signalConfig_t> signals);

    std::unique_ptr<MessageBase> clone() const override;
    void decodeResult(ByteReader& reader) override;

    std::vector<signalConfig_t> configs;

  protected:
    void encodeResult(ByteWriter& writer) const override;
    void printResult(std::ostream& out) const override;
};
