// One connection to the bus server, from the login to its loss.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "base/file_descriptor.h"
#include "base/mutex.h"
#include "base/wake_event.h"

/// What a subscription delivers to. The calls come one at a time, over all subscriptions of a
/// process, in the order in which the messages arrived. Must not wait.
class BusSubscriber {
  public:
    virtual ~BusSubscriber() = default;
    /// Owns the message.
    virtual void onMessage(natsMsg* message) = 0;
};

/// Whether the bus server has been given a message, and if not why not.
enum class SendResult { Sent, NotConnected, TooLarge, Stuck, Failed };

/// Everything of one connection: the NATS client's object in its event-loop mode with its protocol
/// parser, its subscriptions, what waits to be written. It never connects again: in this mode the
/// library would go on in the middle of the message that the old connection broke off in, so that
/// nothing, or nonsense, would come in any more. Once lost it is closed and thrown away whole; of a
/// large message that it broke off in, the library keeps the buffer for ever.
///
/// The library does no input or output by itself and no thread of it watches the connection. One
/// thread, the reader, owns the socket: it waits for it and calls read(), write(), probe() and
/// close(). Who sends writes, too, but never reads.
///
/// The subscriptions deliver through the library's common delivery thread. That keeps the order in
/// which messages of different subscriptions arrived; one queue per subscription would lose it.
class NatsConnection {
  public:
    /// Connects and logs in, within two seconds, wherever the server stands still. Looking up a
    /// host's name takes as long as the system takes. Null when there is no server or it refuses;
    /// `refusal` then says why where the server is there. `name` is shown in the server's list of
    /// connections; the library sends it as it is, so it must hold no control characters. `wake` is
    /// the event of the reader, raised when it has something to do; it must outlive the connection.
    static std::shared_ptr<NatsConnection> open(const std::string& url, const std::string& name,
                                                WakeEvent& wake, std::string& refusal);
    /// The connection must be closed, or nobody may be in a call.
    ~NatsConnection();
    NatsConnection(const NatsConnection&) = delete;
    NatsConnection& operator=(const NatsConnection&) = delete;

    /// Whether the connection has ended, for whatever reason. Any thread.
    bool isLost() const { return lost_.load(); }

    /// Publishes a payload and sees to it that it gets written: at once when nothing was sent just
    /// before, otherwise soon, together with what follows. Waits while more than a quarter of a
    /// megabyte is unwritten. One thread at a time.
    SendResult publish(const std::string& subject, const std::string& reply,
                       std::span<const std::uint8_t> payload);
    /// The largest payload that the server takes. Any thread.
    std::int64_t maxPayload() const { return natsConnection_GetMaxPayload(connection_); }
    /// Waits until the server has read what was published, for two seconds at most. The reader
    /// must go on meanwhile.
    void flush();

    /// Subscribes; false when the connection has ended or the process lacks the memory. The
    /// subscriber must outlive the connection. Any thread.
    bool subscribe(const std::string& subject, BusSubscriber& subscriber);
    /// Ends a subscription; an unknown one changes nothing. Any thread.
    void unsubscribe(const std::string& subject);

    /// What the reader waits for. Stays the same, and open, until the connection is destroyed.
    int socket() const { return socket_.get(); }
    /// Whether something waits to be written.
    bool wantsWrite() const { return writeWanted_.load(); }
    /// Whether a sender has left something that is to be written soon.
    bool isFlushRequested() const { return flushRequested_.load(); }
    void forgetFlushRequest() { flushRequested_ = false; }
    /// Takes in what has arrived, once; `ready` is what the socket is ready for. False when it
    /// could take in nothing yet: more has to arrive, or a sender is stuck in a write. Reader.
    bool read(short ready);
    /// Writes what waits, as far as the socket takes it. Reader and senders.
    void write();
    /// Publishes an empty payload, which the server sends back to whoever has subscribed to the
    /// subject. Reader.
    void probe(const std::string& subject);
    /// Ends a connection whose server does not answer: the reader then finds it lost. Any thread.
    void giveUp();
    /// Ends the connection where it has not ended yet, and returns when no call to a subscriber is
    /// under way any more. No other thread may be reading.
    void close();

  private:
    /// What the server speaks shows in the first bytes after the login.
    enum class Transport { Unknown, Plain, Tls };

    explicit NatsConnection(WakeEvent& wake) : wake_(wake) {}

    static natsStatus onAttach(void** user, void* loop, natsConnection* connection, natsSock fd);
    static natsStatus onReadInterest(void* user, bool add);
    static natsStatus onWriteInterest(void* user, bool add);
    static natsStatus onDetach(void* user);

    natsStatus connect(const std::string& url, const std::string& name);
    bool lockIo() TRY_ACQUIRE(true, ioMutex_);
    bool canRead(short ready);
    void writeOut(bool writeUnderWay);
    bool waitForRoom();
    void letDeliver();
    void endDelivery();

    WakeEvent& wake_;
    natsConnection* connection_ = nullptr;
    FileDescriptor socket_;  // our own name for the library's
    std::atomic<bool> lost_{false};
    std::atomic<bool> writeWanted_{false};
    std::atomic<bool> flushRequested_{false};
    std::atomic<Transport> transport_{Transport::Unknown};

    /// Of the thread that is in publish().
    std::int64_t lastPublish_ = 0;  // microseconds
    std::size_t unwritten_ = 0;     // bytes handed to the library since the last write, roughly
    bool congested_ = false;        // that write has left something over

    /// Of the reader.
    int awaited_ = 1;  // bytes that have to arrive before the socket shows as readable

    /// Held while the library reads or writes. TLS cannot do both at the same time, and
    /// subscriptions must not end during either; the library does not see to that. Before its own
    /// locks.
    Mutex ioMutex_;

    Mutex subscriptionsMutex_;
    std::map<std::string, natsSubscription*> subscriptions_ GUARDED_BY(subscriptionsMutex_);
    /// Subscriptions that the library still delivers for. The lock is the innermost.
    Mutex deliveringMutex_;
    ConditionVariable deliveryEnded_;
    std::size_t delivering_ GUARDED_BY(deliveringMutex_) = 0;
};
