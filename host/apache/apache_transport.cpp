#include "host/apache/apache_transport.h"

#include <sys/socket.h>

#include <algorithm>
#include <new>
#include <string_view>

extern "C" {
#include <apr_allocator.h>
#include <apr_buckets.h>
#include <apr_portable.h>
#include <apr_thread_mutex.h>
#include <http_connection.h>
#include <util_filter.h>
}

namespace websocket {

namespace {

constexpr char kFilterName[] = "WEBSOCKET_WIRE";
/// How much goes through the filters at once: enough for full TLS records, little enough to hold.
constexpr std::size_t kPlainChunk = 64 * 1024;

/// The filters that leave the bytes alone: the server's own end of the chain, the one that counts,
/// and the one of the guard against slow requests, which waits for an answer's end.
bool writesThrough(const ap_filter_t* filter) {
    const std::string_view name = filter->frec->name;
    return name == "core" || name == "log_input_output" || name == "reqtimeout";
}

int socketOf(conn_rec* connection) {
    apr_os_sock_t socket = -1;
    apr_os_sock_get(&socket, ap_get_conn_socket(connection));
    return socket;
}

/// The first filter that has to see what is sent; null without any.
const ap_filter_t* findNeeded(const conn_rec* connection) {
    const ap_filter_t* f = connection->output_filters;
    while (f != nullptr && writesThrough(f)) {
        f = f->next;
    }
    return f;
}

/// The guard against slow requests would end a websocket that has nothing to say.
void removeRequestTimeout(conn_rec* connection) {
    for (ap_filter_t* f = connection->input_filters; f != nullptr; f = f->next) {
        if (std::string_view(f->frec->name) == "reqtimeout") {
            ap_remove_input_filter(f);
            return;
        }
    }
}

}  // namespace

void ApacheTransport::registerFilter() {
    // Before the server's own end of the chain, behind everything else.
    ap_register_output_filter(kFilterName, &ApacheTransport::wireFilter, nullptr,
                              static_cast<ap_filter_type>(AP_FTYPE_NETWORK - 1));
}

ApacheTransport::ApacheTransport(request_rec* request)
    : connection_(request->connection),
      request_(request),
      socket_(socketOf(request->connection)),
      input_(apr_brigade_create(request->pool, request->connection->bucket_alloc)),
      output_(apr_brigade_create(request->pool, request->connection->bucket_alloc)) {
    removeRequestTimeout(connection_);
    APR_BRIGADE_INSERT_TAIL(output_, apr_bucket_flush_create(connection_->bucket_alloc));
    ap_pass_brigade(connection_->output_filters, output_);
    apr_brigade_cleanup(output_);
    if (const ap_filter_t* needed = findNeeded(connection_)) {
        ap_log_rerror(APLOG_MARK, APLOG_DEBUG, 0, request,
                      "WS205: frames pass the server's filters, on account of \"%s\"",
                      needed->frec->name);
        filter_ = ap_add_output_filter(kFilterName, this, nullptr, connection_);
    }
    lockAllocator();
}

ApacheTransport::~ApacheTransport() {
    release();
}

/// The filters take memory from the allocator that the request's pool uses as well, and that pool
/// is the plug-in's to use while another thread writes.
void ApacheTransport::lockAllocator() {
    apr_allocator_t* allocator = apr_pool_allocator_get(connection_->pool);
    if (apr_allocator_mutex_get(allocator) == nullptr &&
        apr_thread_mutex_create(&allocatorMutex_, APR_THREAD_MUTEX_DEFAULT, request_->pool) ==
            APR_SUCCESS) {
        apr_allocator_mutex_set(allocator, allocatorMutex_);
    }
}

void ApacheTransport::release() {
    if (released_) {
        return;
    }
    released_ = true;
    const MutexLocker guard(filters_);
    if (filter_ != nullptr) {
        ap_remove_output_filter(filter_);
    }
    // The server counts for its access log where it writes, which it did not do here.
    if (auto* count = APR_RETRIEVE_OPTIONAL_FN(ap_logio_add_bytes_out)) {
        count(connection_, static_cast<apr_off_t>(socket_.written()));
    }
    if (allocatorMutex_ != nullptr) {
        apr_allocator_mutex_set(apr_pool_allocator_get(connection_->pool), nullptr);
    }
}

apr_status_t ApacheTransport::wireFilter(ap_filter_t* filter, apr_bucket_brigade* brigade) {
    auto& transport = *static_cast<ApacheTransport*>(filter->ctx);
    transport.filters_.assertHeld();  // called from within ap_pass_brigade() and ap_get_brigade()
    apr_status_t status = APR_SUCCESS;
    for (apr_bucket* b = APR_BRIGADE_FIRST(brigade);
         b != APR_BRIGADE_SENTINEL(brigade) && status == APR_SUCCESS; b = APR_BUCKET_NEXT(b)) {
        if (APR_BUCKET_IS_METADATA(b)) {
            continue;
        }
        const char* data = nullptr;
        apr_size_t size = 0;
        status = apr_bucket_read(b, &data, &size, APR_BLOCK_READ);
        if (status == APR_SUCCESS) {
            // Of the same type, since bytes are copied one by one otherwise.
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(data);
            try {
                transport.wire_.insert(transport.wire_.end(), bytes, bytes + size);
            } catch (const std::bad_alloc&) {
                status = APR_ENOMEM;
            }
        }
    }
    transport.holdsOutput_ = transport.wireDone_ < transport.wire_.size();
    apr_brigade_cleanup(brigade);
    return status;
}

ByteSource::Status ApacheTransport::read(std::uint8_t* buffer, std::size_t size, std::size_t& got) {
    const MutexLocker guard(filters_);
    got = 0;
    // An empty brigade is how the end of the connection begins: the next call tells it.
    for (int attempt = 0; attempt < 2 && got == 0; ++attempt) {
        const apr_status_t status =
            ap_get_brigade(connection_->input_filters, input_, AP_MODE_READBYTES, APR_NONBLOCK_READ,
                           static_cast<apr_off_t>(size));
        if (APR_STATUS_IS_EAGAIN(status) || APR_STATUS_IS_EINTR(status)) {
            return ByteSource::Status::Nothing;
        }
        if (status != APR_SUCCESS) {
            return ByteSource::Status::Ended;
        }
        apr_size_t copied = size;
        apr_brigade_flatten(input_, reinterpret_cast<char*>(buffer), &copied);
        apr_brigade_cleanup(input_);
        got = copied;
    }
    return got > 0 ? ByteSource::Status::Data : ByteSource::Status::Nothing;
}

OutputPort::Status ApacheTransport::write(const iovec* pieces, int count, std::size_t& taken) {
    return filter_ == nullptr ? socket_.write(pieces, count, taken)
                              : writeFiltered(pieces, count, taken);
}

OutputPort::Status ApacheTransport::writeFiltered(const iovec* pieces, int count,
                                                  std::size_t& taken) {
    const MutexLocker guard(filters_);
    taken = 0;
    for (;;) {
        const OutputPort::Status status = flushWire();
        if (status != OutputPort::Status::Done) {
            return status;
        }
        std::size_t passed = 0;
        if (!passPlain(pieces, count, taken, passed)) {
            return OutputPort::Status::Failed;
        }
        if (passed == 0) {
            return OutputPort::Status::Done;
        }
        taken += passed;
    }
}

/// Sends the next chunk through the filters, leaving out what was passed before.
bool ApacheTransport::passPlain(const iovec* pieces, int count, std::size_t skip,
                                std::size_t& passed) {
    apr_bucket_alloc_t* alloc = connection_->bucket_alloc;
    for (int i = 0; i < count && passed < kPlainChunk; ++i) {
        if (skip >= pieces[i].iov_len) {
            skip -= pieces[i].iov_len;
            continue;
        }
        const std::size_t size = std::min(pieces[i].iov_len - skip, kPlainChunk - passed);
        const char* data = static_cast<const char*>(pieces[i].iov_base) + skip;
        APR_BRIGADE_INSERT_TAIL(output_, apr_bucket_transient_create(data, size, alloc));
        passed += size;
        skip = 0;
    }
    if (passed == 0) {
        return true;
    }
    APR_BRIGADE_INSERT_TAIL(output_, apr_bucket_flush_create(alloc));
    const apr_status_t status = ap_pass_brigade(connection_->output_filters, output_);
    apr_brigade_cleanup(output_);
    return status == APR_SUCCESS && !connection_->aborted;
}

/// Writes what the filters made. The caller holds filters_.
OutputPort::Status ApacheTransport::flushWire() {
    const iovec piece{wire_.data() + wireDone_, wire_.size() - wireDone_};
    std::size_t taken = 0;
    const OutputPort::Status status = socket_.write(&piece, 1, taken);
    wireDone_ += taken;
    if (wireDone_ == wire_.size()) {
        wire_.clear();
        wireDone_ = 0;
        holdsOutput_ = false;
    }
    return status;
}

void ApacheTransport::shutdownOutput() {
    const MutexLocker guard(filters_);
    if (filter_ != nullptr && !connection_->aborted) {
        APR_BRIGADE_INSERT_TAIL(output_, ap_bucket_eoc_create(connection_->bucket_alloc));
        ap_pass_brigade(connection_->output_filters, output_);
        apr_brigade_cleanup(output_);
        flushWire();
    }
    shutdown(socket_.descriptor(), SHUT_WR);
}

}  // namespace websocket
