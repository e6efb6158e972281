#include "krpbus/client/login_deadline.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <system_error>

namespace {

/// The login that this thread makes.
thread_local LoginDeadline* current = nullptr;

void onState(const SSL* tls, int where, int) {
    if ((where & SSL_CB_HANDSHAKE_START) != 0 && current != nullptr) {
        current->watch(SSL_get_fd(tls));
    }
}

/// Of every TLS object of the process; those of others are none of our business.
void onNew(void* tls, void*, CRYPTO_EX_DATA*, int, long, void*) {
    if (current != nullptr) {
        SSL_set_info_callback(static_cast<SSL*>(tls), onState);
    }
}

/// OpenSSL stays in the process when we are unloaded, and must not call us any more.
class TlsObjects {
  public:
    TlsObjects()
        : index_(
              CRYPTO_get_ex_new_index(CRYPTO_EX_INDEX_SSL, 0, nullptr, onNew, nullptr, nullptr)) {}
    ~TlsObjects() { CRYPTO_free_ex_index(CRYPTO_EX_INDEX_SSL, index_); }
    TlsObjects(const TlsObjects&) = delete;
    TlsObjects& operator=(const TlsObjects&) = delete;

  private:
    const int index_;
};

}  // namespace

LoginDeadline::LoginDeadline(std::chrono::milliseconds patience)
    : due_(std::chrono::steady_clock::now() + patience) {
    static const TlsObjects watched;
    current = this;
}

LoginDeadline::~LoginDeadline() {
    current = nullptr;
    if (!watcher_.joinable()) {
        return;
    }
    {
        const MutexLocker lock(mutex_);
        over_ = true;
        changed_.notifyAll();
    }
    watcher_.join();
}

void LoginDeadline::watch(int socket) {
    if (watcher_.joinable()) {
        return;  // a renewed handshake
    }
    socket_ = FileDescriptor(fcntl(socket, F_DUPFD_CLOEXEC, 0));
    try {
        if (socket_.get() >= 0) {
            watcher_ = std::thread([this] { run(); });
        }
    } catch (const std::system_error&) {
        // No thread to be had: said below.
    }
    if (!watcher_.joinable()) {
        // Better no login than one that may never end.
        shutdown(socket, SHUT_RDWR);
    }
}

void LoginDeadline::run() {
    pthread_setname_np(pthread_self(), "krpbus-login");
    const MutexLocker lock(mutex_);
    while (!over_ && std::chrono::steady_clock::now() < due_) {
        changed_.waitUntil(mutex_, due_);
    }
    if (!over_) {
        passed_ = true;
        shutdown(socket_.get(), SHUT_RDWR);
    }
}
