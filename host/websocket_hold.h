/*
 * An optional function of a websocket host, for plug-ins that send several messages in a row: a
 * host that has it registers it with Apache, a plug-in asks with APR_RETRIEVE_OPTIONAL_FN and does
 * without where there is none.
 */
#ifndef HOST_WEBSOCKET_HOLD_H
#define HOST_WEBSOCKET_HOLD_H

#include <apr_optional.h>

#include "host/websocket_plugin.h"

/* With `hold` 1, what the calling thread sends from now on may wait for what it sends next, so that
 * all of it leaves at once; with 0 it goes out and the next message leaves by itself again. What
 * other threads send takes along what waits. In between the thread must not sleep. One thread holds
 * at a time; of two, one is not heeded. Does nothing for a connection of another host. */
APR_DECLARE_OPTIONAL_FN(void, websocket_hold, (const WebSocketServer* server, int hold));

#endif /* HOST_WEBSOCKET_HOLD_H */
