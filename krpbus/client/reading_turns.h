// Who takes in what the bus server sends: the reader thread, or the consumer.
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "base/file_descriptor.h"
#include "base/mutex.h"
#include "krpbus/client/bus_listener.h"
#include "krpbus/client/nats_connection.h"
#include "krpbus/client/server_watch.h"

namespace krpbus {

/// Lets the consumer read the connection's socket itself while it keeps up, so that no other thread
/// has to be woken for what comes in. The socket comes to the consumer when it waits and nothing is
/// left for it. It goes back to the reader thread when the consumer has not been seen waiting, with
/// nothing left in the socket, for some ten milliseconds: it does something that takes long, or
/// more comes than it gets done. A clock in the kernel tells that, the reader sleeps meanwhile.
///
/// Only sockets without TLS: reading may take long with it.
class ReadingTurns {
  public:
    /// `consumerEvent` is what wakes the consumer else. Throws std::system_error where the process
    /// has no descriptor left.
    ReadingTurns(int consumerEvent, BusListener& listener, std::chrono::milliseconds probeInterval);

    /// What the consumer waits for: its event, and the socket in its turn.
    int fd() const { return set_.get(); }

    /// The consumer goes to wait with nothing left to do; the connection may be null. True when it
    /// has got its turn by that: the reader is to stop waiting for the socket.
    bool beginWait(const std::shared_ptr<NatsConnection>& connection);
    /// It has stopped waiting.
    void endWait();
    /// Takes in what has arrived if it is the consumer's turn. Consumer.
    void readAsConsumer();

    /// What the reader waits for beside the socket; takeBackWhenLate() is due when it is readable.
    int clock() const { return clock_.get(); }
    /// Whether the reader is to wait for the socket, too.
    bool isReadersTurn();
    /// Takes in what has arrived if it is the reader's turn; `ready` is what the socket is ready
    /// for. False as for NatsConnection::read().
    bool readAsReader(NatsConnection& connection, short ready);
    void takeBackWhenLate();

    /// Ends the connection. Reader.
    void close(NatsConnection& connection);

    /// The server is watched by what has come from it, whoever read it. Reader.
    void beginWatch();
    ServerWatch::Clock::time_point watchDue();
    ServerWatch::Action watch();

  private:
    bool read(NatsConnection& connection, short ready, BusListener::Reader reader) REQUIRES(mutex_);
    void giveBack() REQUIRES(mutex_);
    void setClock(std::chrono::nanoseconds time) REQUIRES(mutex_);

    BusListener& listener_;
    const base::FileDescriptor set_;
    const base::FileDescriptor clock_;

    /// Held by who reads, until what was read has been handed on. Before all others but the one
    /// that is held while a connection begins.
    Mutex mutex_;
    std::shared_ptr<NatsConnection> consumers_ GUARDED_BY(mutex_);  // in its turn
    bool caughtUp_ GUARDED_BY(mutex_) = false;  // in its turn: it waits, and the clock stands
    ServerWatch watch_ GUARDED_BY(mutex_);
    std::vector<Received> received_ GUARDED_BY(mutex_);  // empty between two reads
};

}  // namespace krpbus
