// The base of a session: sub-protocol, connection record, and the document of a request.
#pragma once

#include "json/document.h"
#include "setup/lv_setup.h"

struct _WebSocketServer;

/// One connection. Constructed, used and destroyed on the connection thread.
class KrWebsocket {
  public:
    /// Writes a test line to each standard stream and from then on, lastingly, sends standard
    /// output where standard error goes: the log belongs in the web server's error log.
    explicit KrWebsocket(const _WebSocketServer* server);
    /// Takes the set-up record out of `stp`.
    virtual ~KrWebsocket();
    KrWebsocket(const KrWebsocket&) = delete;
    KrWebsocket& operator=(const KrWebsocket&) = delete;

    /// Chooses "kr-webapp-v1" when the browser has offered it: 0, otherwise -1.
    int setKrProtocol(const _WebSocketServer* server);

    /// Chooses the sub-protocol, creates the session's memory pool, a child of the request's, fills
    /// the set-up record and makes it the current one. 0, or -1 when something is missing.
    int setup_socket(const _WebSocketServer* server);

    /// Parses a text frame into `doc`, which holds on to a copy of the frame. `data` need not be
    /// zero-terminated, but the text ends at its first zero byte. 0 when `doc` is an object now;
    /// 1 otherwise, and the browser has been told.
    int wa_setup_document(const unsigned char* data, unsigned size, Document* doc);

  protected:
    LvSetup setup;
};
