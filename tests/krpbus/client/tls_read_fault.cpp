#include "tests/krpbus/client/tls_read_fault.h"

#include <dlfcn.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> faulty{false};

bool hasEnded(int socket) {
    char byte = 0;
    return recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

}  // namespace

TlsReadFault::TlsReadFault() {
    faulty = true;
}

TlsReadFault::~TlsReadFault() {
    faulty = false;
}

// Instead of OpenSSL's, for every library of the process.
__attribute__((visibility("default"))) int SSL_read(SSL* ssl, void* buffer, int size) {
    using Function = int (*)(SSL*, void*, int);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "SSL_read"));
    if (faulty && hasEnded(SSL_get_fd(ssl))) {
        errno = EAGAIN;
        return -1;
    }
    return original(ssl, buffer, size);
}
