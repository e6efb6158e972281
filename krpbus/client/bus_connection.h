// The way to the bus server: one connection after the other, and the thread that keeps them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <thread>

#include "base/mutex.h"
#include "base/wake_event.h"
#include "krpbus/client/bus_listener.h"
#include "krpbus/client/nats_connection.h"
#include "krpbus/client/reading_turns.h"

namespace krpbus {

/// Keeps a bus client connected. The first connection is made by connect(). From then on the reader
/// thread empties the connection's socket where the consumer does not do it itself, probes a silent
/// server, gives up one that stays silent for three times the interval of probes, and after each
/// loss makes a new connection, without end, and renews the subscriptions on it.
class BusConnection {
  public:
    /// `address` is the client's own subject: what is published to it comes back, which is how the
    /// server is probed, every `probeInterval` while it is silent, and it names the client in the
    /// server's list of connections. For `consumerEvent` see ReadingTurns. Throws
    /// std::system_error where the process has no thread or descriptor left.
    BusConnection(std::string url, std::string address, int consumerEvent, BusListener& listener,
                  std::chrono::milliseconds probeInterval);
    /// Writes what is still to be written and disconnects. No other thread may be in a call.
    ~BusConnection();

    /// Makes one attempt at the first connection, of two seconds at most; nothing where there has
    /// been one: it then connects again by itself. One thread at a time.
    void connect();
    /// Any thread.
    bool isConnected() const { return connected_.load(); }

    /// What the consumer waits for, the same for the connection's life: its event, and what has
    /// come in while it is the one to take that in.
    int consumerFd() const { return turns_.fd(); }
    /// The consumer goes to wait for that, and nothing is left for it; it has stopped waiting; it
    /// takes in what has come in if that is up to it. Consumer.
    void beginWait();
    void endWait() { turns_.endWait(); }
    void takeIn() { turns_.readAsConsumer(); }

    /// Publishes a payload: see NatsConnection::publish(). One thread at a time.
    SendResult publish(const std::string& subject, const std::string& reply,
                       std::span<const std::uint8_t> payload, const Sending& sending = {});
    /// See NatsConnection::writeHeld().
    void writeHeld();
    /// The largest payload that the server takes; 0 when not connected. Any thread.
    std::int64_t maxPayload() const;

    /// Receives what is published to a subject, on this connection and all later ones, for the
    /// `destination`, which must outlive all that is received. Any thread.
    void subscribe(const std::string& subject, const std::string& destination);
    /// Ends that. What has arrived before may still be handed on. Any thread.
    void unsubscribe(const std::string& subject);

  private:
    std::shared_ptr<NatsConnection> current() const;
    bool open();
    void begin(std::shared_ptr<NatsConnection> connection);
    void end(NatsConnection& connection);

    void run();
    void keepConnected();
    void recover(const std::exception& error);
    void connectAgain();
    void serve(NatsConnection& connection);
    short waitAndRead(NatsConnection& connection, short interest, std::chrono::nanoseconds timeout);
    void watchServer(NatsConnection& connection);
    void wait(std::chrono::nanoseconds timeout);

    const std::string url_;
    const std::string address_;
    BusListener& listener_;
    ReadingTurns turns_;

    base::WakeEvent wake_;  // raised when the reader has something to do
    std::atomic<bool> connected_{false};
    std::atomic<bool> wasConnected_{false};
    std::atomic<bool> stop_{false};

    /// Held while a connection begins or ends, and while what is wanted changes. Before the others.
    Mutex changeMutex_;
    std::map<std::string, const std::string*> wanted_ GUARDED_BY(changeMutex_);  // by subject

    mutable Mutex currentMutex_;  // the innermost
    std::shared_ptr<NatsConnection> current_ GUARDED_BY(currentMutex_);

    std::string refusal_;  // logged last; of who opens connections

    std::thread reader_;
};

}  // namespace krpbus
