// What the plug-in writes to standard error beside its log. Any thread.
#pragma once

struct _WebSocketServer;

extern "C" {

// Writes the bytes as they are, then a line end; in one piece, since standard error is unbuffered.
// Without bytes it is the line end alone.
void print_buffer(const unsigned char* buffer, int size);

// Writes "connection id: " and the number of the Apache connection; 0 where there is none.
void print_connection_info(const _WebSocketServer* server);

}  // extern "C"
