// A participant of the message bus.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "krpbus/client/live_data.h"
#include "krpbus/messages/message_base.h"

/// What a client does differently from the rule. Desk loggers and tests set these.
struct KRPBusOptions {
    /// The logger that the client belongs to; empty: KSLUtil::findLowestMAC().
    std::string mac;
    /// Received messages that may wait for the consumer, in bytes of payload. Past it the client
    /// counts as disconnected.
    std::size_t queueLimit = std::size_t{64} << 20;
    /// How long the oldest message may wait for the consumer before old live data is skipped.
    std::chrono::milliseconds skipAfter{1000};
    /// How often a silent bus server is probed; silent for three times as long it is given up.
    std::chrono::milliseconds probeInterval{5000};
};

/// A client of the bus server under one participant's name. Its own reader thread empties the
/// socket into a queue at all times, so that a consumer that stands still slows nobody else down;
/// a consumer that waits with Waiting does that itself while it keeps up.
///
/// While the consumer keeps up the queue is complete and in order. When the oldest message that
/// waits is about a second old, since the consumer stands still or is merely too slow, only the
/// newest SignalMessage per (sender, web-application name) and the newest BusLoadExtMessage per
/// (sender, bus, channel) are kept, each in the place of the newest; all other messages stay
/// complete and in order. What was skipped is counted in one "[INFO] " line once the queue has been
/// drained.
///
/// A connection that is lost, and one whose server has been silent for 15 seconds, is replaced by a
/// new one, without end.
///
/// Sending is open to every thread; read(), getMessage() and takeVanished() belong to one consumer
/// thread at a time. The base class Mutex is free for callers; the client itself never takes it.
class KRPBusClient : public Mutex {
  public:
    /// Makes the first attempt to connect; whether it succeeded tells isConnected(). An empty host
    /// means the environment's KRPBUS_SERVER ("host:port" or a NATS URL) or else 127.0.0.1 and
    /// `port`; a host may be a NATS URL, too. Throws KRException where the process lacks the
    /// resources for a client.
    KRPBusClient(const std::string& name, const std::string& host, unsigned short port,
                 const KRPBusOptions& options = {});
    /// Sends what is still to be sent, then disconnects and stops the reader thread. No other
    /// thread may be in a call.
    ~KRPBusClient();

    /// Connects where the client has never been connected; afterwards it reconnects by itself.
    /// Returns whether it is connected. At most about two seconds. One thread at a time.
    bool connectToServer();
    /// Any thread.
    bool isConnected() const;
    /// How often the client has been connected: 0 before the first time, then one more after every
    /// reconnect. Answers to requests sent under an older number will not come. Any thread.
    std::uint32_t getConnectionCount() const;

    /// One descriptor for the client's life, only for waiting: readable while messages wait, while
    /// the server is gone and while participants have vanished. After a Waiting it may also be
    /// readable when something has come that makes no message, until read() has been called.
    int getFd() const;
    /// While it lives the consumer thread does nothing but wait on getFd(), to call read() as soon
    /// as that is readable. Its own thread then takes in what the server sends, and no other one
    /// has to be woken; where it does not come back for some ten milliseconds, the reader thread
    /// takes over. Without it the reader takes in everything; a consumer that has begun to wait
    /// with it does so each time.
    class Waiting {
      public:
        explicit Waiting(KRPBusClient& client);
        ~Waiting();
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

      private:
        KRPBusClient& client_;
    };
    /// Whether the server is there, or messages that came before it went still wait; false, again
    /// and again, while it has gone. Does not wait. Fixes how many messages getMessage() hands out
    /// until the next read(): as many as wait now, so that a consumer that takes them all comes
    /// back to its loop however much arrives meanwhile.
    bool read();
    /// The next of the messages that read() found; null when there is no more. Does not wait. A
    /// payload that is no message is dropped with one "[ERROR] " line.
    std::unique_ptr<MessageBase> getMessage();

    /// Sends to a participant: by its name one on the own logger, by a forwarding address one on
    /// another logger, as getSource() of a received message gives it. In the latter case the
    /// message travels in a RouterMessage whose source address names this logger and `source`, so
    /// that the receiver learns which logger it came from. `source` is the name that answers come
    /// to, the client's own or one given to addParticipant(). Without a connection, and when the
    /// message is larger than the server takes, one "[ERROR] " line is logged and the message is
    /// dropped. Never throws on account of the bus. Waits only while more than a quarter of a
    /// megabyte is on its way out, for two seconds at most.
    void sendTo(const std::string& source, const std::string& destination,
                std::unique_ptr<MessageBase>&& message);
    /// Sends to whoever has registered a bus of the own logger. Otherwise like sendTo().
    void sendToBus(const std::string& source, const std::string& bus,
                   std::unique_ptr<MessageBase>&& message);
    /// Sends to every client of the own logger: state and network notices. Otherwise like sendTo().
    void sendToAll(const std::string& source, std::unique_ptr<MessageBase>&& message);
    /// What a forwarder does with the message inside a RouterMessage: sends it, bare, to a
    /// participant of the logger `mac`, as from `source` on this logger, to whom the receiver's
    /// answers then go. Otherwise like sendTo().
    void sendToLogger(const std::string& source, const std::string& mac,
                      const std::string& destination, std::unique_ptr<MessageBase>&& message);

    /// Sends live data, in the order of the list, to all clients at once that listen to it with
    /// listenToLive(): those of the own logger where `loggers` is empty, else those of these other
    /// ones. As much as is well below what the server takes travels together. The same message
    /// must not go to one of these clients alone besides. Otherwise like sendTo().
    void sendLive(const std::string& source, krpbus::LiveData data,
                  const std::vector<std::string>& loggers,
                  const std::vector<std::unique_ptr<MessageBase>>& messages);

    /// What is sent while it lives, by whatever thread, goes out together in as few writes as it
    /// takes, at its end at the latest. Its owner does nothing but send meanwhile.
    class Burst {
      public:
        explicit Burst(KRPBusClient& client);
        ~Burst();
        Burst(const Burst&) = delete;
        Burst& operator=(const Burst&) = delete;

      private:
        KRPBusClient& client_;
    };

    /// Receives what goes to a bus of the own logger, from now on and after every reconnect. Before
    /// the first connection it is only noted. A bus that is registered already changes nothing. Any
    /// thread.
    void registerBus(const std::string& bus);
    /// The same for the buses of that name on all loggers of the network, the own one included.
    void registerNetworkBus(const std::string& bus);
    /// Ends either; an unknown bus changes nothing.
    void unRegisterBus(const std::string& bus);
    /// Receives what loggers send once for all, from now on and after every reconnect: as if it had
    /// been sent to this client alone, bare from the own logger and in a RouterMessage from others.
    /// Who asks for it says so with MessageBase::setTakesShared(). Any thread.
    void listenToLive(krpbus::LiveData data);
    /// Ends it; nothing happens where it has not begun. Any thread.
    void endListeningToLive(krpbus::LiveData data);
    /// Whether it has begun and not ended. Any thread.
    bool listensToLive(krpbus::LiveData data) const;
    /// Receives under a further participant's name, too; getDestination() of a message tells which.
    void addParticipant(const std::string& name);

    /// Asks the bus server whether anybody has the address (a name or a forwarding address).
    /// Without one, takeVanished() lists the address within moments. Nothing reaches the
    /// participant. Any thread.
    void probe(const std::string& address);
    /// The addresses probed that nobody had, each as it was given; the list is empty afterwards.
    std::vector<std::string> takeVanished();

    /// The NATS URL of the client's server, for the log: without credentials.
    const std::string& getServer() const;
    /// The client's name on the bus.
    const std::string& getName() const;
    /// The logger that the client belongs to, in upper case.
    const std::string& getMac() const;

  private:
    class Impl;
    std::string server_;
    std::unique_ptr<Impl> impl_;
};
