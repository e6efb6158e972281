// The two raw ways to the browser: a text frame and a close frame. Both find the connection through
// the current session's set-up record and may be called by any thread of the session. They take no
// lock: each frame goes to the host's send callback whole, in one call.
#pragma once

#include <string_view>

struct _WebSocketServer;

/// The current session's websocket server; null where there is none.
const _WebSocketServer* currentServer();

/// Sends `size` bytes as one text frame. Does not free the buffer. Without a buffer or a server the
/// text is dropped, and a log line says so.
void sendWebsocketMessage(const unsigned char* buffer, unsigned size);

/// Sends an answer that was written as text where others are built as a document and sent by
/// WaResponseMessage::sendMessage(). What the log says about it is the same: it is that function's.
void sendMessageText(std::string_view text);

/// Hands a zero-terminated text to `server` as one text frame, its zero byte left out. Frees
/// `text`, which may be null, in any case. What cannot be sent is dropped with a log line in the
/// name of `function`.
void sendAndFreeText(char* text, const _WebSocketServer* server, std::string_view function);

/// While it lives, frames that the calling thread sends may wait for the next ones, so that they
/// leave together, where the host can do that. The thread must not sleep meanwhile. For one thread
/// of the session.
class HeldFrames {
  public:
    HeldFrames();
    ~HeldFrames();
    HeldFrames(const HeldFrames&) = delete;
    HeldFrames& operator=(const HeldFrames&) = delete;

  private:
    const _WebSocketServer* const server_;
};

/// Sends a close frame with status 1001 (going away). The name's spelling is historical.
void closeWebwsocket();
