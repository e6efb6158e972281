#pragma once

#include <atomic>
#include <vector>

#include "base/mutex.h"
#include "host/apache/module.h"
#include "host/protocol/byte_source.h"
#include "host/protocol/output_port.h"
#include "host/protocol/socket_port.h"

struct apr_thread_mutex_t;

namespace websocket {

/// One connection of the web server, taken over for a websocket: reads through the server's input
/// filters and writes without ever waiting.
///
/// Without TLS frames go straight to the socket. With TLS (or any other filter on the connection
/// that may change them) they go through the output filters, at whose end a filter of ours takes
/// the bytes instead of the server's own, which would wait for the socket. All use of the filters
/// is under one lock, as TLS cannot read and write at the same time.
class ApacheTransport : public ByteSource, public OutputPort {
  public:
    /// Registers the filter; once, when the module is loaded.
    static void registerFilter();

    /// Takes the connection of this request over: what earlier answers left unsent goes out first.
    explicit ApacheTransport(request_rec* request);
    ~ApacheTransport() override;
    ApacheTransport(const ApacheTransport&) = delete;
    ApacheTransport& operator=(const ApacheTransport&) = delete;

    /// Gives the connection back to the server; nobody else may use it any more. Called once more
    /// by the destructor, which is harmless.
    void release();

    /// Tells the peer that nothing more will come: closes TLS and the sending half of the socket.
    void shutdownOutput();

    /// How many bytes have arrived for this connection so far, and how many of them nobody has read
    /// yet, as the system counts them.
    std::uint64_t arrived() const { return socket_.arrived(); }
    std::size_t unread() const { return socket_.unread(); }

    ByteSource::Status read(std::uint8_t* buffer, std::size_t size, std::size_t& got) override;

    OutputPort::Status write(const iovec* pieces, int count, std::size_t& taken) override;
    std::uint64_t written() const override { return socket_.written(); }
    bool holdsOutput() const override { return holdsOutput_; }
    int descriptor() const override { return socket_.descriptor(); }

  private:
    static apr_status_t wireFilter(ap_filter_t* filter, apr_bucket_brigade* brigade);

    void lockAllocator();
    OutputPort::Status writeFiltered(const iovec* pieces, int count, std::size_t& taken);
    OutputPort::Status flushWire() REQUIRES(filters_);
    bool passPlain(const iovec* pieces, int count, std::size_t skip, std::size_t& passed)
        REQUIRES(filters_);

    conn_rec* connection_;
    request_rec* request_;
    SocketPort socket_;
    ap_filter_t* filter_ = nullptr;  // null: straight to the socket
    bool released_ = false;
    apr_thread_mutex_t* allocatorMutex_ = nullptr;
    std::atomic<bool> holdsOutput_{false};

    Mutex filters_;
    /// Every use of the connection's filters, and what is read and made by them.
    apr_bucket_brigade* input_ GUARDED_BY(filters_);
    apr_bucket_brigade* output_ GUARDED_BY(filters_);
    std::vector<std::uint8_t> wire_
        GUARDED_BY(filters_);  // what the filters made, ready for the socket
    std::size_t wireDone_ GUARDED_BY(filters_) = 0;
};

}  // namespace websocket
