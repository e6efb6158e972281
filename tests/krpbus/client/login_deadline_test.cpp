#include "krpbus/client/login_deadline.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <stdexcept>

#include "base/file_descriptor.h"
#include "tests/krpbus/client/bus_test_client.h"

namespace {

using namespace std::chrono_literals;

// Nobody accepts what connects to it: the system does.
class Listener {
  public:
    explicit Listener(int family) : family_(family), socket_(socket(family, SOCK_STREAM, 0)) {
        auto& v6 = reinterpret_cast<sockaddr_in6&>(address_);
        auto& v4 = reinterpret_cast<sockaddr_in&>(address_);
        address_.ss_family = static_cast<sa_family_t>(family);
        if (family == AF_INET6) {
            v6.sin6_addr = in6addr_loopback;
        } else {
            v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        }
        socklen_t length = sizeof address_;
        if (bind(socket_.get(), generic(), length) != 0 || listen(socket_.get(), 4) != 0 ||
            getsockname(socket_.get(), generic(), &length) != 0) {
            throw std::runtime_error("no free port");
        }
        // The same place in both.
        port_ = ntohs(v4.sin_port);
    }

    std::uint16_t port() const { return port_; }
    base::FileDescriptor connect(int flags = 0) {
        base::FileDescriptor connected(socket(family_, SOCK_STREAM | flags, 0));
        EXPECT_EQ(::connect(connected.get(), generic(), sizeof address_), 0);
        return connected;
    }

  private:
    sockaddr* generic() { return reinterpret_cast<sockaddr*>(&address_); }

    const int family_;
    const base::FileDescriptor socket_;
    sockaddr_storage address_{};
    std::uint16_t port_ = 0;
};

bool isShutDown(const base::FileDescriptor& socket) {
    pollfd looked{socket.get(), POLLRDHUP, 0};
    return poll(&looked, 1, 0) == 1;
}

TEST(LoginDeadline, EndsTheSocketOfALoginToTheServerWhenTheTimeIsOver) {
    Listener server(AF_INET);
    const base::FileDescriptor login = server.connect();
    const krpbus::LoginDeadline deadline(50ms, server.port());
    EXPECT_TRUE(eventually([&] { return isShutDown(login); }));
    EXPECT_TRUE(deadline.hasPassed());
}

TEST(LoginDeadline, EndsOneThatBeginsWhenTheTimeIsOverAlready) {
    Listener server(AF_INET);
    const krpbus::LoginDeadline deadline(0ms, server.port());
    EXPECT_TRUE(eventually([&] { return deadline.hasPassed(); }));
    const base::FileDescriptor login = server.connect();
    EXPECT_TRUE(eventually([&] { return isShutDown(login); }));
}

TEST(LoginDeadline, EndsOneToAServerWithAnAddressOfTheNewKind) {
    std::unique_ptr<Listener> server;
    try {
        server = std::make_unique<Listener>(AF_INET6);
    } catch (const std::runtime_error&) {
        GTEST_SKIP() << "this machine has no IPv6";
    }
    const base::FileDescriptor login = server->connect();
    const krpbus::LoginDeadline deadline(0ms, server->port());
    EXPECT_TRUE(eventually([&] { return isShutDown(login); }));
}

TEST(LoginDeadline, LeavesConnectionsThatAreLoggedInAndThoseToOthersAlone) {
    Listener server(AF_INET);
    Listener other(AF_INET);
    const base::FileDescriptor loggedIn = server.connect(SOCK_CLOEXEC);
    const base::FileDescriptor elsewhere = other.connect();
    const base::FileDescriptor login = server.connect();  // looked at last
    const krpbus::LoginDeadline deadline(0ms, server.port());
    EXPECT_TRUE(eventually([&] { return isShutDown(login); }));
    EXPECT_FALSE(isShutDown(loggedIn));
    EXPECT_FALSE(isShutDown(elsewhere));
}

TEST(LoginDeadline, DoesNothingWhenTheLoginIsOverInTime) {
    Listener server(AF_INET);
    const base::FileDescriptor login = server.connect();
    {
        const krpbus::LoginDeadline deadline(1h, server.port());
        EXPECT_FALSE(deadline.hasPassed());
    }
    EXPECT_FALSE(isShutDown(login));
}

}  // namespace
