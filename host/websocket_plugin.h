/*
 * The interface between an Apache websocket module (the host) and the plug-ins that it loads.
 *
 * The layouts are shared with modules and plug-ins that were built elsewhere: members keep their
 * order and types, and new ones may only be added at the end, with a higher version.
 *
 * What a host of ours promises a plug-in:
 *  - the callbacks of one connection come one at a time, on the connection's own thread;
 *  - a text message is valid UTF-8, arrives whole, and its buffer holds a zero byte behind `size`;
 *  - `send` may be called from any thread at any time, also after the peer has gone; each call is
 *    one whole frame, and frames leave in the order of the calls;
 *  - before on_disconnect is called, every sender that waits has been woken.
 */
#ifndef HOST_WEBSOCKET_PLUGIN_H
#define HOST_WEBSOCKET_PLUGIN_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

struct request_rec;

/* Message types, as they are passed to `send` and `on_message`. */
#define WEBSOCKET_MESSAGE_INVALID (-1)
#define WEBSOCKET_MESSAGE_TEXT 0
#define WEBSOCKET_MESSAGE_BINARY 128
#define WEBSOCKET_MESSAGE_CLOSE 255
#define WEBSOCKET_MESSAGE_PING 256
#define WEBSOCKET_MESSAGE_PONG 257

#define WEBSOCKET_SERVER_VERSION 1
#define WEBSOCKET_PLUGIN_VERSION 0

/* One connection as the plug-in sees it. Owned by the host, valid from on_connect until
 * on_disconnect has returned. */
typedef struct _WebSocketServer {
    unsigned int size;    /* sizeof(WebSocketServer) of the host */
    unsigned int version; /* WEBSOCKET_SERVER_VERSION */
    void* state;          /* the host's own */

    /* The request that opened the connection. */
    struct request_rec* (*request)(const struct _WebSocketServer* server);
    /* A header of that request, or null. */
    const char* (*header_get)(const struct _WebSocketServer* server, const char* key);
    /* Sets a header of the handshake's answer; only during on_connect. */
    void (*header_set)(const struct _WebSocketServer* server, const char* key, const char* value);
    /* The sub-protocols that the peer offered, in its order; null past the end. */
    size_t (*protocol_count)(const struct _WebSocketServer* server);
    const char* (*protocol_index)(const struct _WebSocketServer* server, size_t index);
    /* Chooses the sub-protocol of the handshake's answer; only during on_connect. */
    void (*protocol_set)(const struct _WebSocketServer* server, const char* protocol);
    /* Sends one message of the given type; returns the number of payload bytes taken, 0 when the
     * connection has ended. */
    size_t (*send)(const struct _WebSocketServer* server, int type, const unsigned char* buffer,
                   size_t size);
    /* Closes the connection. */
    void (*close)(const struct _WebSocketServer* server);
} WebSocketServer;

/* A plug-in as the host sees it: the record that the plug-in's init function returns. */
typedef struct _WebSocketPlugin {
    unsigned int size;    /* sizeof(WebSocketPlugin) of the plug-in */
    unsigned int version; /* WEBSOCKET_PLUGIN_VERSION */

    /* Called once when the plug-in is unloaded; may be null. */
    void (*destroy)(struct _WebSocketPlugin* plugin);
    /* A peer wants to connect. Returns the plug-in's private pointer of this connection, or null to
     * refuse it. */
    void* (*on_connect)(const WebSocketServer* server);
    /* A message has arrived whole. The return value is not used. */
    size_t (*on_message)(void* plugin_private, const WebSocketServer* server, int type,
                         unsigned char* buffer, size_t size);
    /* The connection has ended; may be null. */
    void (*on_disconnect)(void* plugin_private, const WebSocketServer* server);
} WebSocketPlugin;

/* The function that the directive WebSocketHandler names. */
typedef WebSocketPlugin* (*WebSocketPluginInit)(void);

#ifdef __cplusplus
}
#endif

#endif /* HOST_WEBSOCKET_PLUGIN_H */
