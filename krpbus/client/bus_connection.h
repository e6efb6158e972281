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
#include <vector>

#include "base/mutex.h"
#include "base/wake_event.h"
#include "krpbus/client/nats_connection.h"
#include "krpbus/client/server_watch.h"

namespace krpbus {

/// What the owner is told. The calls come one at a time, from the reader thread or connect(), with
/// a lock held: they must not call the connection and not wait.
class BusListener {
  public:
    virtual ~BusListener() = default;
    /// Connected, first or again; what was wanted is subscribed to.
    virtual void onConnected() = 0;
    /// The connection is lost, and everything that came over it has been handed on.
    virtual void onDisconnected() = 0;
    /// What has come in, which may be taken out of the list. Without the lock, from the reader
    /// thread; must not wait.
    virtual void onReceived(std::vector<Received>& received) = 0;
};

/// Keeps a bus client connected. The first connection is made by connect(). From then on the reader
/// thread empties the connection's socket, probes a silent server, gives up one that stays silent
/// for three times the interval of probes, and after each loss makes a new connection, without end,
/// and renews the subscriptions on it.
class BusConnection {
  public:
    /// `address` is the client's own subject: what is published to it comes back, which is how the
    /// server is probed, every `probeInterval` while it is silent, and it names the client in the
    /// server's list of connections. Throws
    /// std::system_error where the process has no thread or descriptor left.
    BusConnection(std::string url, std::string address, BusListener& listener,
                  std::chrono::milliseconds probeInterval);
    /// Writes what is still to be written and disconnects. No other thread may be in a call.
    ~BusConnection();

    /// Makes one attempt at the first connection, of two seconds at most; nothing where there has
    /// been one: it then connects again by itself. One thread at a time.
    void connect();
    /// Any thread.
    bool isConnected() const { return connected_.load(); }

    /// Publishes a payload: see NatsConnection::publish(). One thread at a time.
    SendResult publish(const std::string& subject, const std::string& reply,
                       std::span<const std::uint8_t> payload);
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
    short waitAndRead(NatsConnection& connection, int interest, std::chrono::nanoseconds timeout);
    void watchServer(NatsConnection& connection);
    void wait(std::chrono::nanoseconds timeout);

    const std::string url_;
    const std::string address_;
    BusListener& listener_;

    base::WakeEvent wake_;  // raised when the reader has something to do
    std::atomic<bool> connected_{false};
    std::atomic<bool> wasConnected_{false};
    std::atomic<bool> stop_{false};

    /// Held while a connection begins or ends, and while what is wanted changes. Before the others.
    Mutex changeMutex_;
    std::map<std::string, const std::string*> wanted_ GUARDED_BY(changeMutex_);  // by subject

    mutable Mutex currentMutex_;  // the innermost
    std::shared_ptr<NatsConnection> current_ GUARDED_BY(currentMutex_);

    std::string refusal_;             // logged last; of who opens connections
    ServerWatch watch_;               // of the reader
    std::vector<Received> received_;  // of the reader; empty between two reads

    std::thread reader_;
};

}  // namespace krpbus
