// The way of the websocket module's frames to the socket, against the bare system call with the
// same bytes, both over loopback TCP to a peer that reads. Two questions:
//
//   under load: how many small frames a second does one thread get rid of?
//   when idle:  how long after the call does a frame reach the peer?
//
// Both ways take turns in one run; what is compared are their medians.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/protocol/frame_sender.h"
#include "host/protocol/socket_port.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPayload = 100;
constexpr std::size_t kFrame = kPayload + 2;
constexpr int kRounds = 9;
constexpr int kFrames = 200'000;
constexpr int kIdleFrames = 1'000;
constexpr std::chrono::microseconds kPause{300};
constexpr std::size_t kQueueCapacity = 1024 * 1024;

void require(bool condition, const char* what) {
    if (!condition) {
        std::perror(what);
        std::exit(1);
    }
}

/// A loopback TCP connection, both ends in this process.
class TcpPair {
  public:
    TcpPair() {
        const int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* name = reinterpret_cast<sockaddr*>(&address);
        require(bind(listener, name, size) == 0 && listen(listener, 1) == 0 &&
                    getsockname(listener, name, &size) == 0,
                "listen");
        near = socket(AF_INET, SOCK_STREAM, 0);
        require(connect(near, name, size) == 0, "connect");
        far = accept(listener, nullptr, nullptr);
        require(far >= 0, "accept");
        close(listener);
        const int on = 1;
        setsockopt(near, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~TcpPair() {
        close(near);
        close(far);
    }
    TcpPair(const TcpPair&) = delete;
    TcpPair& operator=(const TcpPair&) = delete;

    int near = -1;
    int far = -1;
};

/// Reads so many bytes and calls `onFrame` with the number of whole frames that have come.
template <typename OnFrame>
std::thread startPeer(int descriptor, std::size_t total, OnFrame onFrame) {
    return std::thread([=] {
        const auto buffer = std::make_unique_for_overwrite<char[]>(1 << 20);
        std::size_t have = 0;
        while (have < total) {
            const ssize_t got = read(descriptor, buffer.get(), 1 << 20);
            require(got > 0, "read");
            have += static_cast<std::size_t>(got);
            onFrame(have / kFrame);
        }
    });
}

double seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// One way of sending a frame of kPayload bytes.
class BareWrite {
  public:
    explicit BareWrite(int descriptor) : descriptor_(descriptor) {
        frame_[0] = static_cast<char>(0x81);
        frame_[1] = static_cast<char>(kPayload);
    }
    void send() {
        require(write(descriptor_, frame_.data(), frame_.size()) == static_cast<ssize_t>(kFrame),
                "write");
    }

  private:
    int descriptor_;
    std::string frame_ = std::string(kFrame, 'x');
};

class ThroughHost {
  public:
    explicit ThroughHost(int descriptor) : port_(descriptor) {
        sender_.start();
        sender_.open("");
    }
    void send() {
        const auto* data = reinterpret_cast<const std::uint8_t*>(payload_.data());
        require(sender_.send(WSLAY_TEXT_FRAME, data, kPayload) == kPayload, "send");
    }

  private:
    websocket::SocketPort port_;
    websocket::FrameSender sender_{port_, kQueueCapacity, std::chrono::seconds(30)};
    std::string payload_ = std::string(kPayload, 'x');
};

/// Frames a second from the first call until the peer has the last one.
template <typename Way>
double rateUnderLoad() {
    TcpPair pair;
    std::thread peer = startPeer(pair.far, kFrames * kFrame, [](std::size_t) {});
    Way way(pair.near);
    const auto start = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
        way.send();
    }
    peer.join();
    return kFrames / seconds(Clock::now() - start);
}

/// Microseconds from the call until the peer has the frame, in the median.
template <typename Way>
double delayWhenIdle() {
    TcpPair pair;
    std::vector<Clock::time_point> sent(kIdleFrames);
    std::vector<double> delays(kIdleFrames);
    std::thread peer = startPeer(pair.far, kIdleFrames * kFrame, [&](std::size_t frames) {
        delays[frames - 1] = seconds(Clock::now() - sent[frames - 1]) * 1e6;
    });
    Way way(pair.near);
    for (auto& time : sent) {
        std::this_thread::sleep_for(kPause);
        time = Clock::now();
        way.send();
    }
    peer.join();
    return median(delays);
}

template <typename Measure, typename Floor>
std::array<double, 2> takeTurns(Measure measure, Floor floor) {
    std::vector<double> measured;
    std::vector<double> floors;
    for (int round = 0; round < kRounds; ++round) {
        floors.push_back(floor());
        measured.push_back(measure());
    }
    return {median(measured), median(floors)};
}

}  // namespace

int main() {
    const auto [hostRate, bareRate] =
        takeTurns(rateUnderLoad<ThroughHost>, rateUnderLoad<BareWrite>);
    std::printf("under load, frames of %zu bytes, one thread:\n", kPayload);
    std::printf("  one write each   %10.0f frames/s\n", bareRate);
    std::printf("  through the host %10.0f frames/s, ratio %.1f\n", hostRate, hostRate / bareRate);
    const auto [hostDelay, bareDelay] =
        takeTurns(delayWhenIdle<ThroughHost>, delayWhenIdle<BareWrite>);
    std::printf("when idle, from the call to the peer, median:\n");
    std::printf("  one write each   %8.1f us\n", bareDelay);
    std::printf("  through the host %8.1f us, ratio %.2f\n", hostDelay, hostDelay / bareDelay);
    return 0;
}
