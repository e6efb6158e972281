// What has come in from the bus and waits for the consumer.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "base/wake_event.h"
#include "krpbus/client/live_data_skipping.h"

namespace krpbus {

/// The queue between the thread that receives and the consumer, and the descriptor that wakes the
/// consumer. It also keeps whether the server is there, since the consumer learns that from the
/// same descriptor. Every function takes the inbox's own lock and calls nobody while holding it.
class Inbox {
  public:
    /// `limit` is in bytes; for `skipAfter` see LiveDataSkipping. Throws std::system_error where
    /// the process has no descriptor left.
    Inbox(std::size_t limit, std::chrono::milliseconds skipAfter);

    /// Readable while something waits or the server is gone.
    int fd() const { return event_.descriptor(); }
    /// The consumer goes to wait for that. Whether it is not readable now.
    bool beginWait();

    /// Appends a message. Drops it while the inbox has overrun; the message that makes it overrun
    /// throws away all others, and then true is returned.
    bool push(Received&& received);
    /// The same for several, and with one wake-up of the consumer for all.
    bool push(std::vector<Received>& received);
    /// The same without a wake-up. Consumer, which looks at once, and calls beginWait() before it
    /// waits.
    bool pushOwn(std::vector<Received>& received);
    /// The consumer looks, which begins a pass: whether the server is there or messages still wait.
    /// The pass is as many messages as wait now. Ends an overrun, which counts as a reconnect.
    bool look();
    /// Takes the oldest message, or one without content when none waits or the pass has ended.
    /// Takes up to 64 out of the queue at a time and hands them on one by one; they are no longer
    /// skipped. Consumer. `skipped` is set to the number of messages that were skipped since the
    /// last drain when this one drained the queue.
    Received pop(std::uint64_t& skipped);

    /// The server is there, first or again.
    void connected();
    void disconnected();
    bool isConnected() const;
    std::uint32_t connectionCount() const { return connections_.load(); }

    void addVanished(std::string address);
    std::vector<std::string> takeVanished();

  private:
    bool append(Received&& received) REQUIRES(mutex_);
    bool appendAll(std::vector<Received>& received) REQUIRES(mutex_);
    void takeSome();
    void updateSignal() REQUIRES(mutex_);

    const std::size_t limit_;
    base::WakeEvent event_;

    /// Of the consumer: what it has taken out, and from where on it has not been handed on.
    std::vector<Received> taken_;
    std::size_t handedOn_ = 0;
    std::uint64_t skipped_ = 0;

    mutable Mutex mutex_;
    LiveDataSkipping waiting_ GUARDED_BY(mutex_);
    std::size_t passLeft_ GUARDED_BY(mutex_) =
        0;  // messages that the consumer may still take in this pass
    bool consuming_ GUARDED_BY(mutex_) = false;  // the consumer has not handed on all it took
    bool signalled_ GUARDED_BY(mutex_) = false;
    bool connected_ GUARDED_BY(mutex_) = false;
    bool overrun_ GUARDED_BY(mutex_) = false;
    std::atomic<std::uint32_t> connections_{0};
    std::vector<std::string> vanished_ GUARDED_BY(mutex_);
};

}  // namespace krpbus
