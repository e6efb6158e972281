#include "fuzz/session.h"

#include <rapidjson/document.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "json/document.h"
#include "krpbus/messages/message_base.h"
#include "modules/audio/upload_info.h"
#include "modules/module_table.h"
#include "network/ksl_info.h"
#include "threads/thread_krpbus_lv_data.h"

/// Nothing answers here, so nothing is worth waiting for. Takes the place of the library's.
void microsleep(std::uint32_t, bool) {}

namespace {

/// Addresses that messages come from: the own logger, another one, and nonsense.
constexpr std::string_view kSenders[] = {"OnlineProcessor", "1|02:00:00:00:00:02|OnlineProcessor",
                                         "", "||"};

size_t checkFrame(const WebSocketServer*, int type, const unsigned char* buffer, size_t size) {
    if (type == WEBSOCKET_MESSAGE_TEXT) {
        Document answer;
        answer.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(
            reinterpret_cast<const char*>(buffer), size);
        if (!answer.IsObject() || answer.ObjectEmpty() ||
            answer.MemberBegin()->name != "response") {
            std::abort();
        }
    }
    return size;
}

/// Whether the frame is a command that writes files of the machine, under whatever name it likes.
bool writesFiles(const std::string& frame) {
    static const std::set<std::string> commands = {"save_config", "delete_config"};
    Document doc;
    doc.Parse<rapidjson::kParseIterativeFlag>(frame.c_str());
    if (!doc.IsObject() || !doc.HasMember("command")) {
        return false;
    }
    const Value& command = doc["command"];
    return command.IsString() && commands.count(command.GetString()) != 0;
}

/// Nobody listens there.
void setSurroundings() {
    setenv("KRPBUS_SERVER", "127.0.0.1:1", 1);
    setenv("KRPBUS_MAC", "02:00:00:00:00:01", 1);
    setenv("KSL_CONFIG_FILE", "/nonexistent/network.xml", 1);
}

}  // namespace

FuzzSession::FuzzSession() : socket_{&server_, nullptr, "", ""} {
    setSurroundings();
    server_.size = sizeof server_;
    server_.version = WEBSOCKET_SERVER_VERSION;
    server_.request = [](const WebSocketServer*) -> request_rec* { return nullptr; };
    server_.send = checkFrame;
    server_.close = [](const WebSocketServer*) {};
    setup_.socket = &socket_;
    stp = &setup_;
    busThread_ = new ThreadKrpbusLvData(&setup_, 0, "krpbus", krpbus_run);  // for the process
}

void FuzzSession::begin(bool complete) {
    kslInfo->setNeighbours({"02:00:00:00:00:02"});
    kslInfo->neighboursState = KSL_MSG_STATE_COMPLETE;
    setLoggerInfo(complete);
    setUpModules(busThread_);
}

void FuzzSession::end() {
    tearDownModules([](std::string_view) {});
    uploadfileInfo.take();
}

void FuzzSession::setLoggerInfo(bool complete) {
    const kslMsgState_t state = complete ? KSL_MSG_STATE_COMPLETE : KSL_MSG_STATE_EMPTY;
    kslInfo->configState = state;
    kslInfo->timeZoneState = state;
    kslInfo->deviceComponentsState = state;
}

void FuzzSession::text(std::string_view frame) {
    if (writesFiles(std::string(frame))) {
        return;
    }
    // A buffer of its own size, without a zero byte behind it.
    const auto exact = std::make_unique<unsigned char[]>(frame.size());
    frame.copy(reinterpret_cast<char*>(exact.get()), frame.size());
    session_.wa_handle_message(exact.get(), static_cast<unsigned>(frame.size()));
}

void FuzzSession::binary(std::string_view frame) {
    session_.wa_binary_handle_message(reinterpret_cast<const unsigned char*>(frame.data()),
                                      static_cast<unsigned>(frame.size()));
}

void FuzzSession::busMessage(std::span<const std::uint8_t> bytes) {
    const std::unique_ptr<MessageBase> message = MessageBase::decode(bytes);
    if (message == nullptr) {
        return;
    }
    message->setSource(std::string(kSenders[bytes.size() % std::size(kSenders)]));
    busThread_->handleMessages(message.get());
}
