#include "tests/kit/nats_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

std::uint16_t freePort() {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    const bool bound =
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    close(probe);
    if (!bound) {
        throw std::runtime_error("no free port for nats-server");
    }
    return ntohs(address.sin_port);
}

/// Whether a server greets on the port.
bool answers(std::uint16_t port) {
    const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    std::array<char, 4> greeting{};
    pollfd readable{client, POLLIN, 0};
    const bool good =
        connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        poll(&readable, 1, 1000) == 1 &&
        recv(client, greeting.data(), greeting.size(), MSG_WAITALL) == 4 && greeting[0] == 'I';
    close(client);
    return good;
}

std::string writeConfiguration(const std::string& extra) {
    std::string path = "/tmp/nats-server-XXXXXX";
    const int fd = mkostemp(path.data(), O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("no configuration file for nats-server");
    }
    close(fd);
    std::ofstream(path) << extra;
    return path;
}

}  // namespace

NatsServer::NatsServer(const std::string& extraConfiguration)
    : configurationFile_(writeConfiguration(extraConfiguration)) {
    // Somebody else may take a port between the look and the start.
    for (int attempt = 0; process_ < 0; ++attempt) {
        port_ = freePort();
        try {
            start();
        } catch (const std::runtime_error&) {
            if (attempt == 3) {
                unlink(configurationFile_.c_str());
                throw;
            }
        }
    }
}

NatsServer::~NatsServer() {
    stop();
    unlink(configurationFile_.c_str());
}

std::string NatsServer::address() const {
    return "127.0.0.1:" + std::to_string(port_);
}

void NatsServer::start() {
    const std::string port = std::to_string(port_);
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        if (getppid() == parent) {
            execlp("nats-server", "nats-server", "-c", configurationFile_.c_str(), "-a",
                   "127.0.0.1", "-p", port.c_str(), nullptr);
        }
        _exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!answers(port_)) {
        const bool ended = waitpid(process_, nullptr, WNOHANG) == process_;
        if (ended) {
            process_ = -1;
        }
        if (ended || std::chrono::steady_clock::now() > deadline) {
            stop();
            throw std::runtime_error("nats-server does not come up");
        }
        std::this_thread::sleep_for(10ms);
    }
}

void NatsServer::stop() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
}

void NatsServer::pause() {
    kill(process_, SIGSTOP);
    waitpid(process_, nullptr, WUNTRACED);  // the signal alone takes effect some time later
}

void NatsServer::resume() {
    kill(process_, SIGCONT);
}
