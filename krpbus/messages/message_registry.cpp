// Which message class and which request or answer id is which type: the decoder's table.
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "krpbus/messages/system_set_state_message.h"

namespace {

/// Makes a message from what stands behind its class and source channel.
using Decoder = std::unique_ptr<MessageBase> (*)(ByteReader&);
/// Makes a request from its payload, or an answer that is still empty.
using RequestFactory = std::unique_ptr<KRPMessageRequest> (*)(ByteReader& payload);
using ResponseFactory = std::unique_ptr<KRPMessageResponse> (*)();

struct Registry {
    std::map<messageID_t, Decoder> messages;
    std::map<krpMsgID_t, RequestFactory> requests;
    std::map<krpMsgID_t, ResponseFactory> responses;
};

template <class Request>
std::unique_ptr<KRPMessageRequest> plainRequest(ByteReader&) {
    return std::make_unique<Request>();
}

template <class Request>
std::unique_ptr<KRPMessageRequest> byteRequest(ByteReader& payload) {
    return std::make_unique<Request>(payload.number<unsigned char>());
}

std::unique_ptr<KRPMessageRequest> setAudioFileRequest(ByteReader& payload) {
    const auto start = payload.number<std::uint32_t>();
    const auto end = payload.number<std::uint32_t>();
    std::string file = payload.text();
    std::string marker = payload.text();
    return std::make_unique<KRPRequestSetAudioFile>(start, end, std::move(file), std::move(marker));
}

template <class Response>
std::unique_ptr<KRPMessageResponse> emptyResponse() {
    return std::make_unique<Response>();
}

void addRequests(Registry& registry) {
    registry.requests[KRP_GET_LOGGER_STATUS] =
        plainRequest<SimpleMessageRequest<KRP_GET_LOGGER_STATUS>>;
    registry.requests[KRP_GET_EVENT_LIST] =
        byteRequest<Simple1MessageRequest<KRP_GET_EVENT_LIST, unsigned char>>;
    registry.requests[KRP_GET_TIME_ZONE] = plainRequest<SimpleMessageRequest<KRP_GET_TIME_ZONE>>;
    registry.requests[KRP_GET_BUS_NAMES] =
        byteRequest<Simple1MessageRequest<KRP_GET_BUS_NAMES, unsigned char>>;
    registry.requests[KRP_GET_LOGGER_CONFIG] =
        plainRequest<SimpleMessageRequest<KRP_GET_LOGGER_CONFIG>>;
    registry.requests[KRP_GET_RC_MONITOR_NAMES] =
        plainRequest<SimpleMessageRequest<KRP_GET_RC_MONITOR_NAMES>>;
    registry.requests[KRP_GET_AUDIO_LIST] = plainRequest<SimpleMessageRequest<KRP_GET_AUDIO_LIST>>;
    registry.requests[KRP_SET_AUDIO_FILE] = setAudioFileRequest;
    registry.requests[KRP_GET_KSL_NEIGHBOURS] =
        plainRequest<SimpleMessageRequest<KRP_GET_KSL_NEIGHBOURS>>;
    registry.requests[KRP_GET_KSL_TIME_OFFSET] =
        plainRequest<SimpleMessageRequest<KRP_GET_KSL_TIME_OFFSET>>;
    registry.requests[KRP_GET_EVENT_INDEX] =
        byteRequest<Simple1MessageRequest<KRP_GET_EVENT_INDEX, unsigned char>>;
    registry.requests[KRP_GET_DEVICE_COMPONENTS] =
        plainRequest<SimpleMessageRequest<KRP_GET_DEVICE_COMPONENTS>>;
    registry.requests[KRP_GET_LV_SIGNAL_CONFIG] =
        plainRequest<SimpleMessageRequest<KRP_GET_LV_SIGNAL_CONFIG>>;
}

void addResponses(Registry& registry) {
    registry.responses[KRP_GET_LOGGER_STATUS] =
        emptyResponse<Simple1MessageResponse<KRP_GET_LOGGER_STATUS, unsigned char>>;
    registry.responses[KRP_GET_EVENT_LIST] = emptyResponse<KRPResponseGetEventList>;
    registry.responses[KRP_GET_TIME_ZONE] =
        emptyResponse<StringMessageResponse<KRP_GET_TIME_ZONE, 1>>;
    registry.responses[KRP_GET_BUS_NAMES] = emptyResponse<KRPResponseGetBusNames>;
    registry.responses[KRP_GET_LOGGER_CONFIG] =
        emptyResponse<String2MessageResponse<KRP_GET_LOGGER_CONFIG>>;
    registry.responses[KRP_GET_RC_MONITOR_NAMES] = emptyResponse<KRPResponseGetRCMonitorNames>;
    registry.responses[KRP_GET_AUDIO_LIST] = emptyResponse<KRPResponseGetAudioList>;
    registry.responses[KRP_SET_AUDIO_FILE] =
        emptyResponse<SimpleMessageResponse<KRP_SET_AUDIO_FILE>>;
    registry.responses[KRP_GET_KSL_NEIGHBOURS] =
        emptyResponse<StringVectorMessageResponse<KRP_GET_KSL_NEIGHBOURS>>;
    registry.responses[KRP_GET_KSL_TIME_OFFSET] =
        emptyResponse<Simple1MessageResponse<KRP_GET_KSL_TIME_OFFSET, long long>>;
    registry.responses[KRP_GET_EVENT_INDEX] = emptyResponse<KRPResponseGetEventIndex>;
    registry.responses[KRP_GET_DEVICE_COMPONENTS] = emptyResponse<KRPResponseGetDeviceComponents>;
    registry.responses[KRP_GET_LV_SIGNAL_CONFIG] = emptyResponse<KRPResponseGetLVSignalConfig>;
}

Registry& registry() {
    static Registry* const instance = new Registry;  // threads may still decode at exit
    return *instance;
}

std::unique_ptr<MessageBase> decodeRequest(ByteReader& reader) {
    const auto id = reader.number<krpMsgID_t>();
    const auto word = reader.number<std::uint16_t>();
    const auto count = reader.number<std::uint8_t>();
    const auto bytes = reader.raw(reader.number<std::uint32_t>());
    const auto factory = registry().requests.find(id);
    if (!reader.ok() || factory == registry().requests.end()) {
        return nullptr;
    }
    ByteReader payload(bytes);
    auto request = factory->second(payload);
    if (!payload.complete()) {
        return nullptr;
    }
    request->word = word;
    request->count = count;
    return request;
}

/// The result stands in an answer with status OK only; behind another status anything is ignored.
std::unique_ptr<MessageBase> decodeResponse(ByteReader& reader) {
    const auto id = reader.number<krpMsgID_t>();
    const auto factory = registry().responses.find(id);
    if (!reader.ok() || factory == registry().responses.end()) {
        return nullptr;
    }
    auto response = factory->second();
    response->status = reader.number<std::uint8_t>();
    const auto codes = reader.raw(reader.number<std::uint32_t>());
    response->errorCode.assign(codes.begin(), codes.end());
    response->errorDescription = reader.text();
    ByteReader result(reader.raw(reader.number<std::uint32_t>()));
    if (!reader.ok()) {
        return nullptr;
    }
    if (response->status == KRPMessageResponse::KRPSTATUS_OK) {
        response->decodeResult(result);
        if (!result.complete()) {
            return nullptr;
        }
    }
    return response;
}

std::unique_ptr<MessageBase> decodeKrpMessage(ByteReader& reader) {
    switch (reader.number<KRPMessageBase::kind_t>()) {
        case KRPMessageBase::KRPKIND_REQUEST:
            return decodeRequest(reader);
        case KRPMessageBase::KRPKIND_RESPONSE:
            return decodeResponse(reader);
    }
    return nullptr;
}

void addMessages(Registry& registry) {
    registry.messages[KRPMessageBase::kMessageID] = decodeKrpMessage;
    registry.messages[SystemMessage::kMessageID] = SystemMessage::decodeBody;
    registry.messages[SystemNgEventMessage::kMessageID] = SystemNgEventMessage::decodeBody;
    registry.messages[SystemSetStateKrpBusMessage::kMessageID] =
        SystemSetStateKrpBusMessage::decodeBody;
    registry.messages[RouterMessage::kMessageID] = RouterMessage::decodeBody;
    registry.messages[SignalMessage::kMessageID] = SignalMessage::decodeBody;
    registry.messages[BusLoadExtMessage::kMessageID] = BusLoadExtMessage::decodeBody;
    registry.messages[GPSTraceMessage::kMessageID] = GPSTraceMessage::decodeBody;
    registry.messages[KeyboardMessage::kMessageID] = KeyboardMessage::decodeBody;
}

}  // namespace

void MessageBase::registerMessages() {
    static std::once_flag once;
    std::call_once(once, [] {
        addMessages(registry());
        addRequests(registry());
        addResponses(registry());
    });
}

std::unique_ptr<MessageBase> MessageBase::decode(ByteReader& reader) {
    const auto decoder = registry().messages.find(reader.number<messageID_t>());
    const auto sourceChannel = reader.number<std::uint8_t>();
    if (!reader.ok() || decoder == registry().messages.end()) {
        return nullptr;
    }
    auto message = decoder->second(reader);
    if (!message || !reader.complete()) {
        return nullptr;
    }
    message->sourceChannel_ = sourceChannel;
    return message;
}

std::unique_ptr<MessageBase> MessageBase::decode(std::span<const std::uint8_t> bytes) {
    registerMessages();
    try {
        ByteReader reader(bytes);
        return decode(reader);
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}
