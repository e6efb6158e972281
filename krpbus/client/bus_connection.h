// The connection to the bus server, and the thread that empties it.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "base/file_descriptor.h"

// What a connection tells its owner. The calls come from threads of the connection and of the NATS
// library, some with the library's locks held: they must not call the connection and not wait.
class BusListener {
  public:
    virtual ~BusListener() = default;
    // Connected again; the first time is connect()'s result instead.
    virtual void onReconnected() = 0;
    virtual void onDisconnected() = 0;
};

// What a subscription delivers to. The calls come one at a time, over all subscriptions of a
// process, in the order in which the messages arrived. Must not wait.
class BusSubscriber {
  public:
    virtual ~BusSubscriber() = default;
    // Owns the message.
    virtual void onMessage(natsMsg* message) = 0;
};

// One connection of the NATS client in its event-loop mode: the library does no input or output by
// itself, the reader thread here does. After the first connection the library reconnects, without
// end, from a thread of its own, and renews the subscriptions.
//
// The subscriptions deliver through the library's common delivery thread. That keeps the order in
// which messages of different subscriptions arrived; one queue per subscription would lose it.
class BusConnection {
  public:
    enum class SendResult { Sent, NotConnected, TooLarge, Stuck, Failed };

    // `name` is shown in the server's list of connections; the library sends it as it is, so it
    // must hold no control characters. Throws std::system_error where the process has no thread or
    // descriptor left.
    BusConnection(std::string url, std::string name, BusListener& listener);
    // Writes what is still to be written, disconnects, and returns when no call to a subscriber is
    // under way any more.
    ~BusConnection();

    // Makes one attempt, of two seconds at most; nothing where it is connected already or
    // reconnects by itself. Returns whether a first connection was made.
    bool connect();
    bool isConnected() const { return connected_.load(); }

    // Publishes a payload and sees to it that it gets written: at once when nothing was sent just
    // before, otherwise soon, together with what follows. Waits while more than a quarter of a
    // megabyte is unwritten. One thread at a time.
    SendResult publish(const std::string& subject, const std::string& reply,
                       std::span<const std::uint8_t> payload);
    // The largest payload that the server takes; 0 when not connected.
    std::int64_t maxPayload() const;

    // Subscribes, also while reconnecting; null when never connected or refused. The subscriber
    // must outlive the connection.
    natsSubscription* subscribe(const std::string& subject, BusSubscriber& subscriber);
    // Ends a subscription; all must have ended before the connection goes.
    void unsubscribe(natsSubscription* subscription);

  private:
    static natsStatus onAttach(void** user, void* loop, natsConnection* connection, natsSock fd);
    static natsStatus onReadInterest(void* user, bool add);
    static natsStatus onWriteInterest(void* user, bool add);
    static natsStatus onDetach(void* user);

    void run();
    void poll();
    short waitAndRead(int interest, const timespec* timeout);
    void processWrite();
    void writeOut(bool writeUnderWay);
    bool waitForRoom();
    void waitForSubscribers();

    const std::string url_;
    const std::string name_;
    BusListener& listener_;

    FileDescriptor wake_;
    std::atomic<natsConnection*> connection_{nullptr};
    std::atomic<int> socket_{-1};
    std::atomic<bool> connected_{false};
    std::atomic<bool> wasConnected_{false};
    std::atomic<bool> writeWanted_{false};
    std::atomic<bool> flushRequested_{false};
    std::atomic<bool> stop_{false};

    // Of the thread that is in publish().
    std::int64_t lastPublish_ = 0;  // microseconds
    std::size_t unwritten_ = 0;     // bytes handed to the library since the last write, roughly
    bool congested_ = false;        // that write has left something over

    // Held while the library reads or writes. TLS cannot do both at the same time, and
    // subscriptions must not end during either; the library does not see to that. Before its own
    // locks.
    std::mutex ioMutex_;

    std::mutex subscriptionsMutex_;
    std::condition_variable subscriptionEnded_;
    std::size_t subscriptions_ = 0;

    std::thread reader_;
};
