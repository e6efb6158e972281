#include "plugin/kr_websocket.h"

#include <apr_pools.h>
#include <apr_strings.h>
#include <http_core.h>
#include <httpd.h>

#include <iostream>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "base/log.h"
#include "host/websocket_plugin.h"
#include "plugin/diagnostics.h"

namespace {

constexpr std::string_view kSubProtocol = "kr-webapp-v1";

void writeTestLines() {
    const MutexLocker lock(LogUtil::logMutex);
    // Text and line end in one piece: other processes write to the same log.
    std::cout << "debug test 0\n" << std::flush;
    std::cerr << "error test 0\n" << std::flush;
}

/// The connection record, allocated from `pool` with its strings; null when there is no memory.
LvSocket* makeSocket(apr_pool_t* pool, const _WebSocketServer* server, conn_rec* connection) {
    void* memory = apr_palloc(pool, sizeof(LvSocket));
    if (memory == nullptr) {
        return nullptr;
    }
    const char* ip = ap_get_remote_host(connection, nullptr, REMOTE_NOLOOKUP, nullptr);
    const char* name = ap_get_remote_host(connection, nullptr, REMOTE_NAME, nullptr);
    return new (memory) LvSocket{server, pool, apr_pstrdup(pool, ip), apr_pstrdup(pool, name)};
}

std::string textOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

KrWebsocket::KrWebsocket(const _WebSocketServer*) {
    writeTestLines();
    LogUtil::redirectOutputToError();
}

KrWebsocket::~KrWebsocket() {
    if (stp == &setup) {
        stp = nullptr;
    }
}

int KrWebsocket::setKrProtocol(const _WebSocketServer* server) {
    const std::size_t count = server->protocol_count(server);
    for (std::size_t i = 0; i < count; ++i) {
        const char* protocol = server->protocol_index(server, i);
        if (protocol != nullptr && protocol == kSubProtocol) {
            server->protocol_set(server, protocol);
            return 0;
        }
    }
    return -1;
}

int KrWebsocket::setup_socket(const _WebSocketServer* server) {
    if (server == nullptr || server->version != WEBSOCKET_SERVER_VERSION) {
        return -1;
    }
    const request_rec* request = server->request(server);
    print_connection_info(server);
    if (request == nullptr) {
        return -1;
    }
    if (setKrProtocol(server) != 0) {
        return -1;
    }
    apr_pool_t* pool = nullptr;
    if (apr_pool_create_ex(&pool, request->pool, nullptr, nullptr) != APR_SUCCESS ||
        pool == nullptr) {
        return -1;
    }
    LvSocket* socket = makeSocket(pool, server, request->connection);
    if (socket == nullptr) {
        apr_pool_destroy(pool);
        return -1;
    }
    setup.socket = socket;
    LogUtil::log(LogLevel::Debug, "setup_socket",
                 "client_ip: " + textOrEmpty(socket->clientIp) +
                     "\thostname: " + textOrEmpty(socket->hostName));
    setup.id = "[" + std::to_string(request->connection->id) + "] ";
    stp = &setup;
    // Fixed text: one field under two labels, with nothing between them.
    LogUtil::log(LogLevel::Debug, "setup_socket", "setup.id: " + setup.id + "stp->id: " + stp->id);
    return 0;
}
