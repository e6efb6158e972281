#include "host/apache/server_record.h"

#include "host/websocket_hold.h"

namespace websocket {

namespace {

PluginServices& of(const WebSocketServer* server) {
    return *static_cast<PluginServices*>(server->state);
}

request_rec* request(const WebSocketServer* server) {
    return of(server).request();
}

const char* headerGet(const WebSocketServer* server, const char* key) {
    return key == nullptr ? nullptr : apr_table_get(of(server).request()->headers_in, key);
}

void headerSet(const WebSocketServer* server, const char* key, const char* value) {
    if (key != nullptr && value != nullptr) {
        of(server).setHeader(key, value);
    }
}

size_t protocolCount(const WebSocketServer* server) {
    return of(server).protocols().size();
}

const char* protocolIndex(const WebSocketServer* server, size_t index) {
    const auto& protocols = of(server).protocols();
    return index < protocols.size() ? protocols[index].c_str() : nullptr;
}

void protocolSet(const WebSocketServer* server, const char* protocol) {
    if (protocol != nullptr) {
        of(server).chooseProtocol(protocol);
    }
}

size_t send(const WebSocketServer* server, int type, const unsigned char* buffer, size_t size) {
    return of(server).send(type, buffer, buffer == nullptr ? 0 : size);
}

void close(const WebSocketServer* server) {
    of(server).close();
}

extern "C" void websocket_hold(const WebSocketServer* server, int hold) {
    // The record of another host would hold something else.
    if (server != nullptr && server->send == &send) {
        of(server).hold(hold != 0);
    }
}

}  // namespace

void registerOptionalFunctions() {
    APR_REGISTER_OPTIONAL_FN(websocket_hold);
}

WebSocketServer makeServerRecord(PluginServices& connection) {
    WebSocketServer server{};
    server.size = sizeof server;
    server.version = WEBSOCKET_SERVER_VERSION;
    server.state = &connection;
    server.request = &request;
    server.header_get = &headerGet;
    server.header_set = &headerSet;
    server.protocol_count = &protocolCount;
    server.protocol_index = &protocolIndex;
    server.protocol_set = &protocolSet;
    server.send = &send;
    server.close = &close;
    return server;
}

}  // namespace websocket
