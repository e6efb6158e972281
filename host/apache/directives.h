#pragma once

#include "host/apache/module.h"
#include "host/websocket_plugin.h"

namespace websocket {

enum class OriginCheck { Unset, Same, Trusted, Off };
enum class SystemCalls { Unset, All, Restricted };

/// How many websockets there may be at once; 0 for any number.
struct ConnectionLimits {
    apr_int64_t inAll;  ///< negative: not given
    apr_int64_t perAddress;
};

/// The directives of one directory or location. Lives in a pool of the server's configuration, so
/// it holds plain values only.
struct Directives {
    WebSocketPlugin* plugin;     ///< null: WebSocketHandler was not given
    apr_int64_t maxMessageSize;  ///< bytes; negative: not given
    apr_int64_t maxTextSize;     ///< bytes; negative: not given
    apr_int64_t memoryLimit;     ///< bytes, 0 for none; negative: not given
    apr_int64_t pingInterval;    ///< seconds, 0 for none; negative: not given
    OriginCheck originCheck;
    apr_array_header_t* trustedOrigins;  ///< of const char*; null: not given
    ConnectionLimits connections;
    SystemCalls systemCalls;
    apr_array_header_t* readPaths;     ///< of const char*; null: not given
    apr_array_header_t* makePaths;     ///< of const char*; null: not given
    apr_array_header_t* writePaths;    ///< of const char*; null: not given
    apr_array_header_t* connectPorts;  ///< of std::uint16_t; null: not given

    apr_uint64_t effectiveMaxMessageSize() const;
    apr_uint64_t effectiveMaxTextSize() const;
};

extern const command_rec kDirectives[];

/// Whether some directive of the configuration that was read last confines processes to paths or
/// ports.
bool confinementIsConfigured();

extern "C" {
void* websocketCreateDirectives(apr_pool_t* pool, char* directory);
void* websocketMergeDirectives(apr_pool_t* pool, void* base, void* added);
}

/// The directives that hold for a request.
const Directives& directivesOf(const request_rec* request);

}  // namespace websocket
