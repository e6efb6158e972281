// What has come in from the bus and waits for the consumer.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/file_descriptor.h"

struct NatsMsgDeleter {
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
};

// A payload as it came, and what it came in for.
struct Received {
    std::unique_ptr<natsMsg, NatsMsgDeleter> message;
    const std::string* destination = nullptr;  // not owned; lives as long as the client
};

// The queue between the thread that receives and the consumer, and the descriptor that wakes the
// consumer. It also keeps whether the server is there, since the consumer learns that from the
// same descriptor. Every function takes the inbox's own lock and calls nobody while holding it.
class Inbox {
  public:
    // Throws std::system_error where the process has no descriptor left.
    Inbox(std::size_t limit, std::chrono::milliseconds skipAfter);

    // Readable while something waits or the server is gone.
    int fd() const { return event_.get(); }

    // Appends a message. Drops it while the inbox has overrun; the message that makes it overrun
    // throws away all others, and then true is returned.
    bool push(Received&& received);
    // Takes the oldest message, or one without content when none waits. `skipped` is set to the
    // number of messages that were skipped since the last drain when this one drained the queue.
    Received pop(std::uint64_t& skipped);
    // The consumer looks: whether the server is there or messages still wait. Ends an overrun,
    // which counts as a reconnect.
    bool look();

    // The server is there, first or again.
    void connected();
    void disconnected();
    bool isConnected() const;
    std::uint32_t connectionCount() const { return connections_.load(); }

    void addVanished(std::string address);
    std::vector<std::string> takeVanished();

  private:
    using Clock = std::chrono::steady_clock;

    void rememberNewest(std::uint64_t position);
    void startSkipping();
    void dropTombstones();
    void pushSkipping(Received&& received);
    void clearMessages();
    void updateSignal();
    std::size_t waiting() const { return queue_.size() - tombstones_; }

    const std::size_t limit_;
    const std::chrono::milliseconds skipAfter_;
    FileDescriptor event_;

    mutable std::mutex mutex_;
    bool signalled_ = false;
    bool connected_ = false;
    bool overrun_ = false;
    std::atomic<std::uint32_t> connections_{0};
    std::vector<std::string> vanished_;

    // An entry without a message is the former place of one that was replaced by a newer one.
    std::deque<Received> queue_;
    std::uint64_t firstPosition_ = 0;  // of queue_.front(), counted over the inbox's life
    std::size_t tombstones_ = 0;
    std::size_t bytes_ = 0;
    std::int64_t standingSince_ =
        0;  // when the consumer last took, or should have taken, something

    bool skipping_ = false;
    std::uint64_t skipped_ = 0;
    std::unordered_map<std::string, std::uint64_t> newest_;  // live-data key to position
};
