// The functions of the web server that the plug-in calls, for programs that no server has loaded.
#include <http_core.h>
#include <httpd.h>

/// Visible, so that a plug-in that such a program loads finds it.
extern "C" __attribute__((visibility("default"))) const char* ap_get_remote_host(
    conn_rec* connection, void*, int type, int*) {
    switch (type) {
        case REMOTE_NOLOOKUP:
            return connection->client_ip;
        case REMOTE_NAME:
            return connection->remote_host;
        default:
            return nullptr;
    }
}
