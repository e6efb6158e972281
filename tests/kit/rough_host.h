// A websocket host that keeps to the plug-in interface and to nothing beyond it.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>

#include "tests/kit/recording_host.h"

/// It drives a plug-in through its record as rough hosts do: `send` waits until on_connect has
/// returned, or without end; a lock that `send` takes is held all through on_connect; the buffers
/// of messages end with their last byte. Several connections may follow each other in one process,
/// the plug-in's statics living on.
class RoughHost : public RecordingHost {
  public:
    explicit RoughHost(WebSocketPlugin* plugin, Options options = {});
    /// Lets all senders go.
    ~RoughHost() override;

    /// Calls on_connect with the lock held. Returns the plug-in's private pointer.
    void* connect();
    /// Calls on_message with a buffer of exactly this size.
    void deliver(int type, std::string_view payload);
    void deliverText(std::string_view text) { deliver(WEBSOCKET_MESSAGE_TEXT, text); }
    /// Calls on_disconnect. Senders that wait go on waiting until releaseSenders().
    void disconnect();

    /// From now on every `send` waits, until releaseSenders().
    void blockSenders();
    void releaseSenders();
    /// Waits until a sender waits; false when that took too long.
    bool waitForBlockedSender(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

  protected:
    std::size_t send(int type, const unsigned char* buffer, std::size_t size) override;

  private:
    WebSocketPlugin* plugin_;
    void* private_ = nullptr;
    std::mutex connectMutex_;

    mutable std::mutex gateMutex_;
    mutable std::condition_variable gateChanged_;
    bool blocked_ = false;
    int waiting_ = 0;
};
