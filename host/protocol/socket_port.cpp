#include "host/protocol/socket_port.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>

namespace websocket {

OutputPort::Status SocketPort::write(const iovec* pieces, int count, std::size_t& taken) {
    taken = 0;
    std::size_t offered = 0;
    for (int i = 0; i < count; ++i) {
        offered += pieces[i].iov_len;
    }
    if (offered == 0) {
        return Status::Done;
    }
    msghdr message{};
    message.msg_iov = const_cast<iovec*>(pieces);
    message.msg_iovlen = static_cast<decltype(message.msg_iovlen)>(count);
    ssize_t sent = 0;
    do {
        sent = sendmsg(descriptor_, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    if (sent < 0) {
        return errno == EAGAIN || errno == EWOULDBLOCK ? Status::Blocked : Status::Failed;
    }
    taken = static_cast<std::size_t>(sent);
    written_ += taken;
    return taken == offered ? Status::Done : Status::Blocked;
}

std::uint64_t SocketPort::arrived() const {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(descriptor_, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 ||
        size < offsetof(tcp_info, tcpi_bytes_received) + sizeof info.tcpi_bytes_received) {
        return 0;
    }
    return info.tcpi_bytes_received;
}

std::size_t SocketPort::unread() const {
    int bytes = 0;
    return ioctl(descriptor_, FIONREAD, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes)
                                                                  : 0;
}

}  // namespace websocket
