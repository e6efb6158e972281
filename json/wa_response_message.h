// The base classes of the answers that carry data. Used in this order: construct, add "response"
// and what else the answer says to `document`, add the status, send, destroy. One thread at a time,
// any thread of the session.
#pragma once

#include <string>
#include <utility>

#include "json/document.h"
#include "json/kr_state.h"

class KRPMessageResponse;
struct _WebSocketServer;

/// An answer to the browser that was connected when it was made.
class WaResponseMessage {
  public:
    WaResponseMessage();
    virtual ~WaResponseMessage() = default;
    WaResponseMessage(const WaResponseMessage&) = delete;
    WaResponseMessage& operator=(const WaResponseMessage&) = delete;

    /// Appends "status", for an error state "error_code" too, and "error_msg" unless `msg` is
    /// empty. An error without a description is logged whole.
    void addStatus(kr_state state, kr_error_code code, const std::string& msg);

    /// Sends the answer. One without "response" is dropped without a word.
    void sendMessage();

  protected:
    const _WebSocketServer* server;  // not owned; null when there was no session
    Document document;               // an object

    /// Appends a member whose value is copied. `name` is kept as it is: give it a constant.
    void addText(const char* name, const std::string& text);
};

/// Makes an answer of the class `Response`, which is sent by being made, and lets it go.
template <class Response, class... Arguments>
void sendResponse(Arguments&&... arguments) {
    const Response sent(std::forward<Arguments>(arguments)...);
}

/// An answer made from an answer of the message bus.
class WaResponseKRPMessage : public WaResponseMessage {
  public:
    /// Appends the status members for the bus answer's status.
    void addKrpStatus(const KRPMessageResponse* reply);

    /// Appends the bus answer's error members.
    void addKrpErrorCode(const KRPMessageResponse* reply);
};
