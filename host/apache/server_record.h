#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/apache/module.h"
#include "host/websocket_plugin.h"

namespace websocket {

/// What a plug-in may ask of its connection.
class PluginServices {
  public:
    virtual ~PluginServices() = default;

    virtual request_rec* request() const = 0;
    /// The sub-protocols that the peer offered.
    virtual const std::vector<std::string>& protocols() const = 0;
    /// Only while on_connect runs and on its thread, later they do nothing.
    virtual void setHeader(const std::string& name, const std::string& value) = 0;
    virtual void chooseProtocol(const std::string& protocol) = 0;
    /// Any thread, also when the connection has ended.
    virtual std::size_t send(int type, const unsigned char* data, std::size_t size) = 0;
    /// Any thread.
    virtual void close() = 0;
    /// Whether what the calling thread sends may wait for what it sends next. Any thread.
    virtual void hold(bool on) = 0;
};

/// The record through which a plug-in reaches its connection, which must outlive it.
WebSocketServer makeServerRecord(PluginServices& connection);

/// Offers `websocket_hold` to plug-ins. Called once, when the module is registered.
void registerOptionalFunctions();

}  // namespace websocket
