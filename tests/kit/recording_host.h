// A websocket host in memory: it gives a plug-in a connection and keeps what the plug-in does.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/websocket_plugin.h"
#include "json/document.h"

struct apr_pool_t;

/// A frame that the plug-in has sent.
struct SentFrame {
    int type = WEBSOCKET_MESSAGE_INVALID;
    std::string payload;
};

/// What the connection looks like to the plug-in.
struct RecordingHostOptions {
    std::vector<std::string> protocols = {"kr-webapp-v1"};  // offered by the browser
    long connectionId = 17;
    const char* clientIp = "192.0.2.7";
    const char* hostName = "browser.example";
    unsigned version = WEBSOCKET_SERVER_VERSION;
    bool withRequest = true;  // whether the host has a request record
};

/// One connection, with an Apache request on a real pool. Everything may be called by any thread;
/// it is thread-safe as a host is. The pool goes with the object.
class RecordingHost {
  public:
    using Options = RecordingHostOptions;

    explicit RecordingHost(Options options = {});
    virtual ~RecordingHost();
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    /// What callbacks get. Its callbacks may be replaced by a test.
    WebSocketServer* server() { return &server_; }
    apr_pool_t* requestPool() { return pool_; }

    /// All frames so far.
    std::vector<SentFrame> frames() const;
    /// The texts of the text frames so far.
    std::vector<std::string> texts() const;
    /// Text frame number `index`, parsed; null where there is no such frame or it is no JSON.
    Document json(std::size_t index) const;
    void clearFrames();

    /// Waits until at least `count` frames have been sent; false when that took too long.
    bool waitForFrames(std::size_t count,
                       std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Waits until a frame matches; false when that took too long.
    bool waitForFrame(const std::function<bool(const SentFrame&)>& matches,
                      std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Waits until a text frame holds `part`.
    bool waitForText(const std::string& part,
                     std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

    /// The calls of protocol_set so far, in order.
    std::vector<std::string> chosenProtocols() const;
    std::size_t closeCalls() const;

  protected:
    /// Called by the plug-in's send, on its thread. Records the frame.
    virtual std::size_t send(int type, const unsigned char* buffer, std::size_t size);

  private:
    static RecordingHost& of(const WebSocketServer* server);
    void makeRequest();
    void fillServer();

    const Options options_;
    WebSocketServer server_{};
    apr_pool_t* pool_ = nullptr;
    request_rec* request_ = nullptr;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<SentFrame> frames_;
    std::vector<std::string> chosenProtocols_;
    std::size_t closeCalls_ = 0;
};
