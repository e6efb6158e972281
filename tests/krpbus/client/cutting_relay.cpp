#include "tests/krpbus/client/cutting_relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace {

constexpr int kLookMilliseconds = 50;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

}  // namespace

CuttingRelay::CuttingRelay(std::uint16_t serverPort)
    : serverPort_(serverPort), listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listening_.get(), generic, length) != 0 || listen(listening_.get(), 16) != 0 ||
        getsockname(listening_.get(), generic, &length) != 0) {
        throw std::runtime_error("no free port for a relay");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

CuttingRelay::~CuttingRelay() {
    stop_ = true;
    thread_.join();
}

void CuttingRelay::cutAfter(std::size_t bytes) {
    left_ = bytes;
    then_ = Then::Cut;
}

void CuttingRelay::standStillAfter(std::size_t bytes) {
    left_ = bytes;
    then_ = Then::StandStill;
}

void CuttingRelay::run() {
    while (!stop_) {
        pollfd waiting{listening_.get(), POLLIN, 0};
        if (poll(&waiting, 1, kLookMilliseconds) != 1) {
            continue;
        }
        const base::FileDescriptor client(
            accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        const base::FileDescriptor server(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(serverPort_);
        if (connect(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
            0) {
            relay(client.get(), server.get());
        }
    }
}

void CuttingRelay::relay(int client, int server) {
    bool open = true;
    passed_ = 0;
    ++connections_;
    if (const std::size_t bytes = leftInLogins_; bytes != kAll) {
        standStillAfter(bytes);
    }
    while (open && !stop_) {
        const bool still = then_ == Then::StandStill && left_ == 0;
        std::array<pollfd, 2> waiting{{{client, POLLIN, 0}, {still ? -1 : server, POLLIN, 0}}};
        poll(waiting.data(), waiting.size(), kLookMilliseconds);
        if (waiting[0].revents != 0) {
            open = passOn(client, server, false);
        }
        if (open && waiting[1].revents != 0) {
            open = passOn(server, client, true);
        }
    }
    then_ = Then::Pass;
}

// Passes on what has come, as far as it may be; false when the connection has ended.
bool CuttingRelay::passOn(int from, int to, bool limited) {
    std::array<char, 64 * 1024> buffer{};
    const bool ending = limited && then_ != Then::Pass;
    const std::size_t most = ending ? std::min(left_.load(), buffer.size()) : buffer.size();
    const ssize_t got = recv(from, buffer.data(), most, 0);
    if (got <= 0) {
        return false;
    }
    if (limited) {
        passed_ += static_cast<std::size_t>(got);
    }
    for (ssize_t sent = 0; sent < got;) {
        const ssize_t now =
            send(to, buffer.data() + sent, static_cast<std::size_t>(got - sent), MSG_NOSIGNAL);
        if (now <= 0) {
            return false;
        }
        sent += now;
    }
    if (ending) {
        left_ -= static_cast<std::size_t>(got);
    }
    return !(ending && then_ == Then::Cut && left_ == 0);
}
