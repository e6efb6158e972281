// Feeds arbitrary text frames to a session. Run with -close_fd_mask=3: every frame is dumped and
// logged.
#include <rapidjson/document.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "host/websocket_plugin.h"
#include "json/document.h"
#include "modules/audio/upload_info.h"
#include "network/ksl_info.h"
#include "plugin/lv_websocket.h"
#include "setup/lv_setup.h"

/// Nothing answers here, so nothing is worth waiting for. Takes the place of the library's.
void microsleep(unsigned int, bool) {}

namespace {

/// Every frame that is sent must be one JSON object with "response" as its first member.
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

/// A session without threads, whose connection is held by the program.
struct Fixture {
    Fixture() {
        server.size = sizeof server;
        server.version = WEBSOCKET_SERVER_VERSION;
        server.request = [](const WebSocketServer*) -> request_rec* { return nullptr; };
        server.send = checkFrame;
        setup.socket = &socket;
        stp = &setup;
    }

    WebSocketServer server{};
    LvSocket socket{&server, nullptr, "", ""};
    LvSetup setup;
    LvWebsocket session;
};

/// Whether the frame is a command that touches files of the machine.
bool touchesFiles(const std::string& frame) {
    static const std::set<std::string> commands = {"save_config", "load_config", "delete_config"};
    Document doc;
    doc.Parse<rapidjson::kParseIterativeFlag>(frame.c_str());
    if (!doc.IsObject() || !doc.HasMember("command")) {
        return false;
    }
    const Value& command = doc["command"];
    return command.IsString() && commands.count(command.GetString()) != 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto* const fixture = new Fixture;
    if (size == 0) {
        fixture->session.wa_handle_message(data, 0);
        return 0;
    }
    // The first byte chooses the session's state, the others are the frame.
    const bool complete = (data[0] & 1U) != 0;
    const bool uploading = (data[0] & 2U) != 0;
    const kslMsgState_t state = complete ? KSL_MSG_STATE_COMPLETE : KSL_MSG_STATE_EMPTY;
    kslInfo->configState = state;
    kslInfo->timeZoneState = state;
    kslInfo->deviceComponentsState = state;
    uploadfileInfo.take();
    if (uploading) {
        uploadfileInfo.announce(std::make_shared<UploadInfoAudio>("n", "wav", 1U, 2U, "m"));
    }

    const std::string frame(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (touchesFiles(frame)) {
        return 0;
    }
    // A buffer of its own size, without a zero byte behind it.
    const auto exact = std::make_unique<unsigned char[]>(frame.size());
    frame.copy(reinterpret_cast<char*>(exact.get()), frame.size());
    fixture->session.wa_handle_message(exact.get(), static_cast<unsigned>(frame.size()));
    return 0;
}
