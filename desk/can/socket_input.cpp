#include "desk/can/socket_input.h"

#include <linux/can.h>
#include <linux/can/error.h>
#include <linux/can/raw.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "base/clock.h"
#include "base/log.h"

namespace desk::can {

namespace {

constexpr int kLookAgainMilliseconds = 1000;
constexpr int kReceiveBuffer = 8 << 20;    // bytes; seconds of a full bus
constexpr std::size_t kMostFilters = 512;  // that the kernel takes
constexpr int kMessagesAtOnce = 4096;

base::FileDescriptor openRaw() {
    return base::FileDescriptor(socket(PF_CAN, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, CAN_RAW));
}

template <class Value>
bool setOption(int fd, int level, int name, const Value& value) {
    return setsockopt(fd, level, name, &value, sizeof value) == 0;
}

/// What is not possible is done without: larger buffers, FD frames of an old kernel.
void setOptions(int fd) {
    const int on = 1;
    const can_err_mask_t allErrors = CAN_ERR_MASK;
    setOption(fd, SOL_CAN_RAW, CAN_RAW_FD_FRAMES, on);
    setOption(fd, SOL_CAN_RAW, CAN_RAW_ERR_FILTER, allErrors);
    setOption(fd, SOL_SOCKET, SO_TIMESTAMP, on);
    setOption(fd, SOL_SOCKET, SO_RXQ_OVFL, on);
    if (!setOption(fd, SOL_SOCKET, SO_RCVBUFFORCE, kReceiveBuffer)) {
        setOption(fd, SOL_SOCKET, SO_RCVBUF, kReceiveBuffer);
    }
}

bool setFilters(int fd, const std::optional<std::vector<std::uint32_t>>& ids) {
    std::vector<can_filter> filters;
    if (!ids || ids->size() > kMostFilters) {
        filters.push_back({0, 0});
    } else {
        for (const std::uint32_t id : *ids) {
            const bool isExtended = (id & CAN_EFF_FLAG) != 0;
            filters.push_back({id, CAN_EFF_FLAG | (isExtended ? CAN_EFF_MASK : CAN_SFF_MASK)});
        }
    }
    return setsockopt(fd, SOL_CAN_RAW, CAN_RAW_FILTER, filters.data(),
                      static_cast<socklen_t>(filters.size() * sizeof(can_filter))) == 0;
}

/// Null when it is open; otherwise why it is not.
const char* openInterface(const std::string& name, base::FileDescriptor& opened) {
    const unsigned int index = if_nametoindex(name.c_str());
    if (index == 0) {
        return "is not there";
    }
    base::FileDescriptor fd = openRaw();
    if (fd.get() < 0) {
        return "cannot be opened";
    }
    setOptions(fd.get());
    sockaddr_can address{};
    address.can_family = AF_CAN;
    address.can_ifindex = static_cast<int>(index);
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return "cannot be bound to";
    }
    opened = std::move(fd);
    return nullptr;
}

Frame frameOf(const canfd_frame& received, bool isFd) {
    Frame frame;
    frame.isFd = isFd;
    frame.isExtended = (received.can_id & CAN_EFF_FLAG) != 0;
    frame.id = received.can_id & (frame.isExtended ? CAN_EFF_MASK : CAN_SFF_MASK);
    if ((received.can_id & CAN_ERR_FLAG) != 0) {
        frame.kind = Frame::Kind::Error;
        frame.id = received.can_id & CAN_ERR_MASK;
        frame.isExtended = false;
    } else if ((received.can_id & CAN_RTR_FLAG) != 0) {
        frame.kind = Frame::Kind::Remote;
    }
    frame.size = std::min<std::uint8_t>(received.len, isFd ? CANFD_MAX_DLEN : CAN_MAX_DLEN);
    frame.hasFastData = isFd && (received.flags & CANFD_BRS) != 0;
    frame.isErrorPassive = isFd && (received.flags & CANFD_ESI) != 0;
    std::copy_n(std::begin(received.data), frame.size, frame.data.begin());
    return frame;
}

void readControl(msghdr& message, Frame& frame, std::uint32_t& lost) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET) {
            continue;
        }
        if (part->cmsg_type == SO_TIMESTAMP) {
            timeval time{};
            std::memcpy(&time, CMSG_DATA(part), sizeof time);
            frame.time = static_cast<std::uint64_t>(time.tv_sec) * 1'000'000U +
                         static_cast<std::uint64_t>(time.tv_usec);
        } else if (part->cmsg_type == SO_RXQ_OVFL) {
            std::memcpy(&lost, CMSG_DATA(part), sizeof lost);
        }
    }
}

}  // namespace

std::optional<std::string> whyNoSockets() {
    if (openRaw().get() >= 0) {
        return std::nullopt;
    }
    return std::string("this kernel has no SocketCAN (") + std::strerror(errno) +
           "); pipe frames into --source can:- or play a file with --source can:FILE";
}

std::optional<Frame> receiveFrame(int fd, std::uint32_t& lost) {
    canfd_frame received{};
    std::array<char, 256> control{};
    iovec part{&received, sizeof received};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t size = recvmsg(fd, &message, 0);
    if (size != static_cast<ssize_t>(CAN_MTU) && size != static_cast<ssize_t>(CANFD_MTU)) {
        if (size >= 0) {
            errno = EBADMSG;
        }
        return std::nullopt;
    }
    Frame frame = frameOf(received, size == static_cast<ssize_t>(CANFD_MTU));
    readControl(message, frame, lost);
    if (frame.time == 0) {
        frame.time = getTimeOfDay();
    }
    return frame;
}

SocketInput::SocketInput(std::vector<std::string> interfaces) : FrameInput(interfaces) {
    if (const auto why = whyNoSockets()) {
        throw std::invalid_argument(*why);
    }
    for (std::string& name : interfaces) {
        sockets_.push_back(std::make_unique<Socket>());
        sockets_.back()->name = std::move(name);
    }
}

SocketInput::~SocketInput() {
    isStopping_ = true;
    event_.raise();
    queue_.close();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void SocketInput::start() {
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
}

void SocketInput::want(const std::optional<std::vector<std::uint32_t>>& ids) {
    const std::lock_guard lock(mutex_);
    wanted_ = ids;
    wantedHasChanged_ = true;
    event_.raise();
}

bool SocketInput::isUp(std::size_t interface) const {
    return interface < sockets_.size() && sockets_[interface]->isUp;
}

void SocketInput::run() {
    while (!isStopping_) {
        openMissing();
        if (wantedHasChanged_.exchange(false)) {
            event_.lower();
            applyWanted();
        }
        std::vector<pollfd> waiting{{event_.descriptor(), POLLIN, 0}};
        for (const auto& socket : sockets_) {
            waiting.push_back({socket->fd.get(), POLLIN, 0});
        }
        poll(waiting.data(), static_cast<nfds_t>(waiting.size()), kLookAgainMilliseconds);
        for (std::size_t i = 0; i < sockets_.size(); ++i) {
            if (waiting[i + 1].revents != 0) {
                readFrom(static_cast<std::uint8_t>(i));
            }
        }
    }
}

void SocketInput::openMissing() {
    for (const auto& socket : sockets_) {
        if (socket->fd.get() >= 0) {
            continue;
        }
        const char* const why = openInterface(socket->name, socket->fd);
        if (why == nullptr) {
            LogUtil::log(LogLevel::Info, "openMissing", socket->name + " is open");
            socket->hasComplained = false;
            socket->isUp = true;
            socket->lost = 0;
            wantedHasChanged_ = true;
        } else if (!std::exchange(socket->hasComplained, true)) {
            LogUtil::log(LogLevel::Warning, "openMissing",
                         socket->name + " " + why + "; waiting for it");
        }
    }
}

void SocketInput::applyWanted() {
    const std::lock_guard lock(mutex_);
    for (const auto& socket : sockets_) {
        if (socket->fd.get() >= 0 && !setFilters(socket->fd.get(), wanted_)) {
            setFilters(socket->fd.get(), std::nullopt);
        }
    }
}

void SocketInput::readFrom(std::uint8_t place) {
    Socket& socket = *sockets_[place];
    for (int i = 0; i < kMessagesAtOnce; ++i) {
        const std::uint32_t lostBefore = socket.lost;
        auto frame = receiveFrame(socket.fd.get(), socket.lost);
        if (!frame) {
            // A socket stays bound over an interface's going down and up; one that was taken away
            // has to be opened anew when it is back.
            if (errno == ENETDOWN) {
                socket.isUp = false;
                LogUtil::log(LogLevel::Warning, "readFrom", socket.name + " is down");
            } else if (errno != EAGAIN && errno != EINTR && errno != EBADMSG) {
                socket.isUp = false;
                socket.fd = base::FileDescriptor();
            }
            return;
        }
        socket.isUp = true;
        counters_.lost += socket.lost - lostBefore;
        frame->interface = place;
        ++counters_.frames;
        counters_.errorFrames += frame->kind == Frame::Kind::Error ? 1U : 0U;
        counters_.lost += queue_.offer(*frame) ? 0U : 1U;
    }
}

}  // namespace desk::can
