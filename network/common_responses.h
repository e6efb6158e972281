// The answers about the logger network: what arrives on the bus, and what the browser is sent.
#pragma once

#include <string>

#include "json/wa_response_message.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"

class KRPResponseGetDeviceComponents;

/// Takes the bus answers of the common requests; 1 when the answer was one of them, 0 otherwise.
/// `mac` names the logger that answered. Bus thread.
int handleCommonMessages(const KRPMessageResponse* response, const std::string& mac);

// Each of these classes is one answer, complete once it is constructed. The ones made from a bus
// answer store it in the network record (and send the browser the merged answer where that is now
// complete, or the failure where the bus answer tells of one); the ones made from nothing send the
// merged answer. A process whose network record has gone stores nothing.

/// "get_ksl_network": stores and sends the neighbour list.
class WaResponseGetKSLNetwork : public WaResponseKRPMessage {
  public:
    explicit WaResponseGetKSLNetwork(
        const StringVectorMessageResponse<KRP_GET_KSL_NEIGHBOURS>* response);
};

/// "get_logger_status".
class WaResponseGetLoggerStatus : public WaResponseKRPMessage {
  public:
    WaResponseGetLoggerStatus(
        const Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>* response,
        const std::string& mac);
    WaResponseGetLoggerStatus();
};

/// "get_ksl_time_offset".
class WaResponseGetKslTimeOffset : public WaResponseKRPMessage {
  public:
    WaResponseGetKslTimeOffset(
        const Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>* response,
        const std::string& mac);
    WaResponseGetKslTimeOffset();
};

/// The three parts of "get_logger_info": stored, never sent one by one. An answer with a failure
/// status counts for nothing.
class WaResponseGetLoggerConfig : public WaResponseKRPMessage {
  public:
    WaResponseGetLoggerConfig(const String2MessageResponse<KRP_GET_LOGGER_CONFIG>* response,
                              const std::string& mac);
};

class WaResponseTimeZone : public WaResponseKRPMessage {
  public:
    WaResponseTimeZone(const StringMessageResponse<KRP_GET_TIME_ZONE, 1>* response,
                       const std::string& mac);
};

class WaResponseDeviceComponents : public WaResponseKRPMessage {
  public:
    WaResponseDeviceComponents(const KRPResponseGetDeviceComponents* response,
                               const std::string& mac);
};

/// "get_logger_info": everything that has been stored so far, "PROGRESS" while something is
/// missing.
class WaResponseGetLoggerInfo : public WaResponseKRPMessage {
  public:
    WaResponseGetLoggerInfo();
};
