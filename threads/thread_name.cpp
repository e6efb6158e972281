#include "threads/thread_name.h"

#include <httpd.h>
#include <sys/prctl.h>

#include <array>

#include "host/websocket_plugin.h"

long connectionId(const _WebSocketServer* server) {
    if (server == nullptr) {
        return 0;
    }
    const request_rec* request = server->request(server);
    return request != nullptr && request->connection != nullptr ? request->connection->id : 0;
}

void setThreadName(const std::string& name, const _WebSocketServer* server) {
    const std::string full = name + "_" + std::to_string(connectionId(server));
    prctl(PR_SET_NAME, full.c_str(), 0, 0, 0);
}

std::string getThreadName() {
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data(), 0, 0, 0);
    return name.data();
}
