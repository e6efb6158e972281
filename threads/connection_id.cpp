#include "threads/connection_id.h"

#include <httpd.h>

#include "host/websocket_plugin.h"

namespace klv {

long connectionId(const _WebSocketServer* server) {
    if (server == nullptr) {
        return 0;
    }
    const request_rec* request = server->request(server);
    return request != nullptr && request->connection != nullptr ? request->connection->id : 0;
}

}  // namespace klv
