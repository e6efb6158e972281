#include "packaging/probe/websocket_client.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

constexpr std::size_t kReadBytes = std::size_t{64} * 1024;

std::chrono::milliseconds leftUntil(WebSocketClient::Clock::time_point deadline) {
    return std::chrono::ceil<std::chrono::milliseconds>(deadline - WebSocketClient::Clock::now());
}

}  // namespace

WebSocketClient::WebSocketClient(std::uint16_t port, const std::string& path,
                                 const std::string& protocol, Clock::time_point deadline,
                                 const WebSocketAccess& access)
    : deadline_(deadline),
      stream_(port, path, protocol, kReadBytes,
              std::max(std::chrono::ceil<std::chrono::seconds>(leftUntil(deadline)),
                       std::chrono::seconds(1)),
              access) {}

WebSocketClient::~WebSocketClient() {
    // A polite end lets the server's side finish at once; nobody waits for its answer.
    try {
        stream_.sendFrame(WebSocketStream::makeFrame(WebSocketStream::kClose, "\x03\xE8"));
    } catch (const std::runtime_error&) {
        return;  // it has gone already
    }
}

std::string WebSocketClient::receive() {
    while (messages_.empty()) {
        const auto left = leftUntil(deadline_).count();
        if (left <= 0 || !stream_.hasAnswer(static_cast<int>(left))) {
            throw std::runtime_error("no answer in time");
        }
        const bool stands = stream_.read(
            0, [this](unsigned int type, std::string_view payload) { take(type, payload); });
        if (messages_.empty() && (!stands || closed_)) {
            throw std::runtime_error("the server closed the connection");
        }
    }
    std::string first = std::move(messages_.front());
    messages_.pop_front();
    return first;
}

void WebSocketClient::take(unsigned int type, std::string_view payload) {
    if (type == WebSocketStream::kText) {
        messages_.emplace_back(payload);
    } else if (type == WebSocketStream::kPing) {
        stream_.sendFrame(WebSocketStream::makeFrame(WebSocketStream::kPong, payload));
    } else if (type == WebSocketStream::kClose) {
        closed_ = true;
    }
}
