// The keep-alive module: closes the connection of a browser that has stopped pinging.
#pragma once

#include <apr_thread_proc.h>

class KrWebsocket;
class ThreadData;

/// Remembers the session; returns 0. Connection thread.
int ping_module_setup(KrWebsocket* session);

/// Takes over the keep-alive thread as soon as the object exists, before its start: from then on
/// pings are answered, and ping_module_destroy stops and deletes it. Connection thread.
void ping_module_own(ThreadData* thread);

/// The keep-alive thread's function; `data` is its ThreadData. The thread's id is the time that the
/// browser has for its next ping, counted in sleeps of one millisecond.
void* ping_run(apr_thread_t* thread, void* data);

/// Answers the browser's ping and starts a new waiting period. Sends nothing while there is no
/// keep-alive thread. Connection thread.
void sendPing();

/// Stops, joins and deletes the keep-alive thread; returns 0. Connection thread.
int ping_module_destroy();
