// One connection to the bus server, from the login to its loss.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "base/mutex.h"
#include "base/wake_event.h"
#include "krpbus/client/received.h"
#include "krpbus/client/sender_order.h"

namespace krpbus {

/// Whether the bus server has been given a message, and if not why not.
enum class SendResult { Sent, NotConnected, TooLarge, Stuck, Failed };

/// What there is to a message beside its bytes.
struct Sending {
    /// Others follow at once: it is written with them.
    bool moreFollows = false;
    /// Who receives it may not have received the one before of the same subject: its place among
    /// the sender's messages is told with it.
    bool forMany = false;
    /// Its sender listens where live data is sent once for all, and says so with it.
    bool takesShared = false;
};

/// Everything of one connection: the NATS client's object in its event-loop mode with its protocol
/// parser, its subscriptions, what waits to be written. It never connects again: in this mode the
/// library would go on in the middle of the message that the old connection broke off in, so that
/// nothing, or nonsense, would come in any more. Once lost it is closed and thrown away whole; of a
/// large message that it broke off in, the library keeps the buffer for ever.
///
/// The library does no input or output by itself and no thread of it watches the connection. The
/// reader thread waits for the socket and calls write(), probe() and close(). It also calls read(),
/// in turns with the consumer; see ReadingTurns. Who sends writes, too, but never reads.
///
/// The library has a queue for each subscription, and no thread of it delivers: read() takes out
/// what has come. The order of messages that came by different subscriptions is lost by that; a
/// number in a header of each message brings back the order in which its sender sent it.
class NatsConnection {
  public:
    /// Connects and logs in, within two seconds, wherever the server stands still. Looking up a
    /// host's name takes as long as the system takes. Null when there is no server or it refuses;
    /// `refusal` then says why where the server is there. `name` is shown in the server's list of
    /// connections; the library sends it as it is, so it must hold no control characters. `wake` is
    /// the event of the reader, raised when it has something to do; it must outlive the connection.
    static std::shared_ptr<NatsConnection> open(const std::string& url, const std::string& name,
                                                base::WakeEvent& wake, std::string& refusal);
    /// The connection must be closed, or nobody may be in a call.
    ~NatsConnection();
    NatsConnection(const NatsConnection&) = delete;
    NatsConnection& operator=(const NatsConnection&) = delete;

    /// Whether something has come over it, and not over TLS. Any thread.
    bool isPlain() const { return transport_ == Transport::Plain; }
    /// Whether the connection has ended, for whatever reason. Any thread.
    bool isLost() const { return lost_.load(); }

    /// Publishes a payload and sees to it that it gets written: at once when nothing was sent just
    /// before, otherwise soon, together with what follows; where more follows only once there is
    /// enough for a write, and the caller calls writeHeld() in the end. Waits while more than a
    /// quarter of a megabyte is unwritten. One thread at a time.
    SendResult publish(const std::string& subject, const std::string& reply,
                       std::span<const std::uint8_t> payload, const Sending& sending);
    /// Writes what publish() was told to wait with. In the place of publish().
    void writeHeld();
    /// The largest payload that the server takes. Any thread.
    std::int64_t maxPayload() const { return natsConnection_GetMaxPayload(connection_); }
    /// Waits until the server has read what was published, for two seconds at most. The reader
    /// must go on meanwhile.
    void flush();

    /// Subscribes; false when the connection has ended or the process lacks the memory. What comes
    /// in is for the `destination`, which must outlive it. Any thread.
    bool subscribe(const std::string& subject, const std::string& destination);
    /// Ends a subscription; an unknown one changes nothing. Any thread.
    void unsubscribe(const std::string& subject);

    /// What the reader waits for. Stays the same, and open, until the connection is destroyed.
    int socket() const { return socket_.get(); }
    /// Whether something waits to be written.
    bool wantsWrite() const { return writeWanted_.load(); }
    /// Whether a sender has left something that is to be written soon.
    bool isFlushRequested() const { return flushRequested_.load(); }
    void forgetFlushRequest() { flushRequested_ = false; }
    /// Takes in what has arrived, once, and appends it to `received`; `ready` is what the socket is
    /// ready for. What came from one sender has the order in which it was sent. False when it could
    /// take in nothing yet: more has to arrive, or a sender is stuck in a write. One thread at a
    /// time.
    bool read(short ready, std::vector<Received>& received);
    /// Writes what waits, as far as the socket takes it. Reader and senders.
    void write();
    /// Publishes an empty payload, which the server sends back to whoever has subscribed to the
    /// subject. Reader.
    void probe(const std::string& subject);
    /// Ends a connection whose server does not answer: the reader then finds it lost. Any thread.
    void giveUp();
    /// Ends the connection where it has not ended yet. No other thread may be reading.
    void close();

  private:
    /// What the server speaks shows in the first bytes after the login.
    enum class Transport { Unknown, Plain, Tls };
    struct Subscription {
        natsSubscription* queue = nullptr;
        const std::string* destination = nullptr;
        bool refusal = false;  // the last that came was one
    };

    using Subscriptions = std::map<std::string, Subscription>;

    explicit NatsConnection(base::WakeEvent& wake);

    static natsStatus onAttach(void** user, void* loop, natsConnection* connection, natsSock fd);
    static natsStatus onReadInterest(void* user, bool add);
    static natsStatus onWriteInterest(void* user, bool add);
    static natsStatus onDetach(void* user);

    natsStatus connect(const std::string& url, const std::string& name);
    bool lockIo() TRY_ACQUIRE(true, ioMutex_);
    bool canRead(short ready);
    void writeOut(bool writeUnderWay, bool moreFollows);
    void leaveToReader();
    bool waitForRoom();
    natsStatus publishNumbered(const std::string& subject, const std::string& reply,
                               std::span<const std::uint8_t> payload, const Sending& sending);
    natsStatus publishWithHeader(const std::string& subject, const std::string& reply,
                                 std::span<const std::uint8_t> payload, const char* order,
                                 bool takesShared);
    void destroyLater(NatsMessage message, std::size_t size);
    Subscriptions::iterator addSubscription(const std::string& subject)
        REQUIRES(subscriptionsMutex_);
    void takeReceived(std::vector<Received>& received);
    static void takeQueue(Subscription& subscription, std::vector<Received>& taken);

    base::WakeEvent& wake_;
    natsConnection* connection_ = nullptr;
    base::FileDescriptor socket_;  // our own name for the library's
    std::atomic<bool> lost_{false};
    std::atomic<bool> writeWanted_{false};
    std::atomic<bool> flushRequested_{false};
    std::atomic<Transport> transport_{Transport::Unknown};

    /// Of the thread that is in publish().
    std::int64_t lastPublish_ = 0;  // microseconds
    std::size_t unwritten_ = 0;     // bytes handed to the library since the last write, roughly
    bool congested_ = false;        // that write has left something over
    SendCounter counter_;
    /// Messages that were sent are destroyed when they are that many: each time a thread of the
    /// library is woken.
    static constexpr std::size_t kMostSpent = 64;
    std::vector<NatsMessage> spent_;
    std::size_t spentBytes_ = 0;

    /// Of who reads.
    int awaited_ = 1;  // bytes that have to arrive before the socket shows as readable
    std::vector<std::vector<Received>> taken_;  // of each subscription; empty between two reads

    /// Held while the library reads or writes. TLS cannot do both at the same time, and
    /// subscriptions must not end during either; the library does not see to that. Before its own
    /// locks.
    Mutex ioMutex_;

    Mutex subscriptionsMutex_;
    Subscriptions subscriptions_ GUARDED_BY(subscriptionsMutex_);
};

}  // namespace krpbus
