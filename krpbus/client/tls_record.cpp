#include "krpbus/client/tls_record.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>

namespace krpbus {

namespace {

constexpr int kHead = 5;  // type, version, length
constexpr int kLongest = 16384 + 2048;

using Head = std::array<unsigned char, kHead>;

/// The head of the next record; how much of it there is.
int peek(int socket, Head& head) {
    return static_cast<int>(recv(socket, head.data(), head.size(), MSG_PEEK | MSG_DONTWAIT));
}

/// Change of cipher, alert, handshake, data; of any version since SSL 3.
bool isHead(const Head& head) {
    return head[0] >= 20 && head[0] <= 23 && head[1] == 3;
}

void await(int socket, int bytes, int& awaited) {
    if (bytes != awaited) {
        awaited = bytes;
        setsockopt(socket, SOL_SOCKET, SO_RCVLOWAT, &bytes, sizeof bytes);
    }
}

}  // namespace

bool startsTlsRecord(int socket) {
    Head head{};
    return peek(socket, head) >= 2 && isHead(head);
}

bool awaitTlsRecord(int socket, int& awaited) {
    Head head{};
    const int there = peek(socket, head);
    int needed = kHead;
    if (there == kHead) {
        const int length = head[3] << 8 | head[4];
        // What is no record is for the library to complain of.
        needed = isHead(head) && length <= kLongest ? kHead + length : 1;
    }
    int waiting = 0;
    if (there <= 0 || ioctl(socket, FIONREAD, &waiting) != 0 || waiting >= needed) {
        await(socket, 1, awaited);
        return true;
    }
    // Readable although the rest has not come: the system has no room for it before something is
    // taken out. It waits outside, so that whoever begins to read the record gets it.
    if (needed == awaited) {
        return true;
    }
    await(socket, needed, awaited);
    return false;
}

}  // namespace krpbus
