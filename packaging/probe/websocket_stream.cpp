#include "packaging/probe/websocket_stream.h"

#include <openssl/evp.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace {

std::uint64_t bigEndian(const char* bytes, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

void append(std::string& out, std::uint64_t value, int count) {
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
        out += static_cast<char>(value >> shift & 0xFF);
    }
}

std::string base64(std::string_view text) {
    std::vector<unsigned char> out(4 * ((text.size() + 2) / 3) + 1);
    EVP_EncodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<int>(text.size()));
    return reinterpret_cast<const char*>(out.data());
}

}  // namespace

WebSocketStream::WebSocketStream(std::uint16_t port, const std::string& path,
                                 const std::string& protocol, std::size_t readSize,
                                 std::chrono::seconds patience, const WebSocketAccess& access)
    : channel_(openChannel(port, patience, access.certificate)), buffer_(readSize) {
    shakeHands(port, path, protocol, access.login);
}

void WebSocketStream::shakeHands(std::uint16_t port, const std::string& path,
                                 const std::string& protocol, const std::string& login) {
    // The key only has to be well-formed: whether a cache stands in between is no question on
    // loopback.
    channel_->send("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                   "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: "
                   "13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n" +
                   (protocol.empty() ? "" : "Sec-WebSocket-Protocol: " + protocol + "\r\n") +
                   (login.empty() ? "" : "Authorization: Basic " + base64(login) + "\r\n") +
                   "\r\n");
    const std::string head = readAnswer();
    if (!head.starts_with("HTTP/1.1 101 ")) {
        throw std::runtime_error("the web server answered the handshake with \"" +
                                 head.substr(0, head.find('\r')) + "\"");
    }
    if (!protocol.empty() &&
        strcasestr(head.c_str(), ("\r\nsec-websocket-protocol: " + protocol + "\r\n").c_str()) ==
            nullptr) {
        throw std::runtime_error("the server does not speak " + protocol);
    }
}

/// The server's answer to the handshake, without anything behind it.
std::string WebSocketStream::readAnswer() const {
    std::string head;
    while (!head.ends_with("\r\n\r\n")) {
        char c = 0;
        const ssize_t got = channel_->receive(&c, 1);
        if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            throw std::runtime_error("no answer in time");
        }
        if (got != 1) {
            throw std::runtime_error("the web server closed the connection during the handshake");
        }
        head += c;
    }
    return head;
}

std::string WebSocketStream::makeFrame(unsigned int type, std::string_view payload) {
    std::string frame(1, static_cast<char>(0x80 | type));
    if (payload.size() < 126) {
        frame += static_cast<char>(0x80 | payload.size());
    } else if (payload.size() < 65536) {
        frame += static_cast<char>(0x80 | 126);
        append(frame, payload.size(), 2);
    } else {
        frame += static_cast<char>(0x80 | 127);
        append(frame, payload.size(), 8);
    }
    frame.append(4, '\0');  // a mask that changes nothing
    frame += payload;
    return frame;
}

void WebSocketStream::sendFrame(std::string_view frame) {
    channel_->send(frame);
}

bool WebSocketStream::hasAnswer(int milliseconds) const {
    pollfd waiting{channel_->descriptor(), POLLIN, 0};
    return channel_->hasBuffered() || poll(&waiting, 1, milliseconds) > 0;
}

bool WebSocketStream::read(int milliseconds, const OnFrame& onFrame) {
    if (!hasAnswer(milliseconds)) {
        return true;
    }
    if (filled_ == buffer_.size()) {
        buffer_.resize(2 * buffer_.size());
    }
    const ssize_t got = channel_->receive(buffer_.data() + filled_, buffer_.size() - filled_);
    if (got <= 0) {
        return false;
    }
    filled_ += static_cast<std::size_t>(got);
    const std::size_t used = handOn(onFrame);
    std::copy(buffer_.begin() + static_cast<std::ptrdiff_t>(used),
              buffer_.begin() + static_cast<std::ptrdiff_t>(filled_), buffer_.begin());
    filled_ -= used;
    return true;
}

/// The number of bytes that were frames.
std::size_t WebSocketStream::handOn(const OnFrame& onFrame) const {
    std::size_t at = 0;
    while (filled_ - at >= 2) {
        const char* frame = buffer_.data() + at;
        std::size_t head = 2;
        std::uint64_t length = static_cast<unsigned char>(frame[1]) & 0x7FU;
        if (length >= 126) {
            const std::size_t bytes = length == 126 ? 2 : 8;
            head += bytes;
            if (filled_ - at < head) {
                break;
            }
            length = bigEndian(frame + 2, bytes);
        }
        if (filled_ - at - head < length) {
            break;
        }
        onFrame(static_cast<unsigned char>(frame[0]) & 0x0FU,
                {frame + head, static_cast<std::size_t>(length)});
        at += head + static_cast<std::size_t>(length);
    }
    return at;
}
