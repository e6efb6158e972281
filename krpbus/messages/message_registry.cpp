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
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "krpbus/messages/system_set_state_message.h"

namespace {

// Makes a message from what stands behind its class and source channel.
using Decoder = std::unique_ptr<MessageBase> (*)(ByteReader&);
// Makes a request from its payload, or an answer that is still empty.
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
    registry.requests[23] = plainRequest<SimpleMessageRequest<23>>;
    registry.requests[50] = byteRequest<Simple1MessageRequest<50, unsigned char>>;
    registry.requests[53] = plainRequest<SimpleMessageRequest<53>>;
    registry.requests[81] = byteRequest<Simple1MessageRequest<81, unsigned char>>;
    registry.requests[82] = plainRequest<SimpleMessageRequest<82>>;
    registry.requests[83] = plainRequest<SimpleMessageRequest<83>>;
    registry.requests[86] = plainRequest<SimpleMessageRequest<86>>;
    registry.requests[87] = setAudioFileRequest;
    registry.requests[88] = plainRequest<SimpleMessageRequest<88>>;
    registry.requests[89] = plainRequest<SimpleMessageRequest<89>>;
    registry.requests[96] = byteRequest<Simple1MessageRequest<96, unsigned char>>;
    registry.requests[117] = plainRequest<SimpleMessageRequest<117>>;
    registry.requests[137] = plainRequest<SimpleMessageRequest<137>>;
}

void addResponses(Registry& registry) {
    registry.responses[23] = emptyResponse<Simple1MessageResponse<23, unsigned char>>;
    registry.responses[50] = emptyResponse<KRPResponseGetEventList>;
    registry.responses[53] = emptyResponse<StringMessageResponse<53, 1>>;
    registry.responses[81] = emptyResponse<KRPResponseGetBusNames>;
    registry.responses[82] = emptyResponse<String2MessageResponse<82>>;
    registry.responses[83] = emptyResponse<KRPResponseGetRCMonitorNames>;
    registry.responses[86] = emptyResponse<KRPResponseGetAudioList>;
    registry.responses[87] = emptyResponse<SimpleMessageResponse<87>>;
    registry.responses[88] = emptyResponse<StringVectorMessageResponse<88>>;
    registry.responses[89] = emptyResponse<Simple1MessageResponse<89, long long>>;
    registry.responses[96] = emptyResponse<KRPResponseGetEventIndex>;
    registry.responses[117] = emptyResponse<KRPResponseGetDeviceComponents>;
    registry.responses[137] = emptyResponse<KRPResponseGetLVSignalConfig>;
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

// The result stands in an answer with status OK only; behind another status anything is ignored.
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
