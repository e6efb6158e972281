// A whole session for fuzz targets: all modules, a bus client whose server is away, and nothing
// that waits.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "host/websocket_plugin.h"
#include "plugin/lv_websocket.h"
#include "setup/lv_setup.h"
#include "threads/thread_krpbus_lv_data.h"

/// One for the process; every input begins with begin() and ends with end(). Every frame that it
/// sends must be one JSON object whose first member is "response"; anything else ends the process.
/// One thread.
class FuzzSession {
  public:
    FuzzSession();

    /// Sets up the modules. `complete`: whether the logger info is there, without which most
    /// commands are refused.
    void begin(bool complete);
    /// Ends them. Nothing of one input stays for the next one.
    void end();

    void text(std::string_view frame);
    void binary(std::string_view frame);
    /// As if these bytes had come on the bus from that sender: decoded and offered to the modules.
    void busMessage(std::span<const std::uint8_t> bytes);
    void busReconnected() { busThread_->handleReconnect(); }
    void setLoggerInfo(bool complete);

  private:
    WebSocketServer server_{};
    LvSocket socket_;
    LvSetup setup_;
    LvWebsocket session_;
    ThreadKrpbusLvData* busThread_ = nullptr;
};
