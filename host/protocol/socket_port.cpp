#include "host/protocol/socket_port.h"

#include <sys/socket.h>

#include <cerrno>

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

}  // namespace websocket
