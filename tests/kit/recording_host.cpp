#include "tests/kit/recording_host.h"

#include <apr_general.h>
#include <apr_pools.h>
#include <httpd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

void initializeApr() {
    static const apr_status_t status = apr_initialize();
    if (status != APR_SUCCESS) {
        throw std::runtime_error("cannot initialise the portable runtime");
    }
}

}  // namespace

RecordingHost::RecordingHost(Options options) : options_(std::move(options)) {
    initializeApr();
    if (apr_pool_create_ex(&pool_, nullptr, nullptr, nullptr) != APR_SUCCESS) {
        throw std::runtime_error("cannot create a pool");
    }
    if (options_.withRequest) {
        makeRequest();
    }
    fillServer();
}

RecordingHost::~RecordingHost() {
    apr_pool_destroy(pool_);
}

void RecordingHost::makeRequest() {
    auto* connection = static_cast<conn_rec*>(apr_pcalloc(pool_, sizeof(conn_rec)));
    connection->id = options_.connectionId;
    connection->pool = pool_;
    connection->client_ip = const_cast<char*>(options_.clientIp);
    connection->remote_host = const_cast<char*>(options_.hostName);
    request_ = static_cast<request_rec*>(apr_pcalloc(pool_, sizeof(request_rec)));
    request_->pool = pool_;
    request_->connection = connection;
}

RecordingHost& RecordingHost::of(const WebSocketServer* server) {
    return *static_cast<RecordingHost*>(server->state);
}

void RecordingHost::fillServer() {
    server_.size = sizeof server_;
    server_.version = options_.version;
    server_.state = this;
    server_.request = [](const WebSocketServer* server) { return of(server).request_; };
    server_.header_get = [](const WebSocketServer*, const char*) -> const char* { return nullptr; };
    server_.header_set = [](const WebSocketServer*, const char*, const char*) {};
    server_.protocol_count = [](const WebSocketServer* server) {
        return of(server).options_.protocols.size();
    };
    server_.protocol_index = [](const WebSocketServer* server, size_t index) -> const char* {
        const auto& protocols = of(server).options_.protocols;
        return index < protocols.size() ? protocols[index].c_str() : nullptr;
    };
    server_.protocol_set = [](const WebSocketServer* server, const char* protocol) {
        RecordingHost& host = of(server);
        const std::lock_guard lock(host.mutex_);
        host.chosenProtocols_.emplace_back(protocol);
    };
    server_.send = [](const WebSocketServer* server, int type, const unsigned char* buffer,
                      size_t size) { return of(server).send(type, buffer, size); };
    server_.close = [](const WebSocketServer* server) {
        RecordingHost& host = of(server);
        const std::lock_guard lock(host.mutex_);
        ++host.closeCalls_;
    };
}

std::size_t RecordingHost::send(int type, const unsigned char* buffer, std::size_t size) {
    SentFrame frame{type, std::string(reinterpret_cast<const char*>(buffer), size)};
    const std::lock_guard lock(mutex_);
    frames_.push_back(std::move(frame));
    changed_.notify_all();
    return size;
}

std::vector<SentFrame> RecordingHost::frames() const {
    const std::lock_guard lock(mutex_);
    return frames_;
}

std::vector<std::string> RecordingHost::texts() const {
    std::vector<std::string> texts;
    for (const SentFrame& frame : frames()) {
        if (frame.type == WEBSOCKET_MESSAGE_TEXT) {
            texts.push_back(frame.payload);
        }
    }
    return texts;
}

Document RecordingHost::json(std::size_t index) const {
    Document document;
    const std::vector<std::string> all = texts();
    if (index < all.size()) {
        document.Parse(all[index].data(), all[index].size());
    }
    return document;
}

void RecordingHost::clearFrames() {
    const std::lock_guard lock(mutex_);
    frames_.clear();
}

bool RecordingHost::waitForFrames(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return frames_.size() >= count; });
}

bool RecordingHost::waitForFrame(const std::function<bool(const SentFrame&)>& matches,
                                 std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout,
                             [&] { return std::any_of(frames_.begin(), frames_.end(), matches); });
}

bool RecordingHost::waitForText(const std::string& part, std::chrono::milliseconds timeout) const {
    return waitForFrame(
        [&](const SentFrame& frame) {
            return frame.type == WEBSOCKET_MESSAGE_TEXT &&
                   frame.payload.find(part) != std::string::npos;
        },
        timeout);
}

std::vector<std::string> RecordingHost::chosenProtocols() const {
    const std::lock_guard lock(mutex_);
    return chosenProtocols_;
}

std::size_t RecordingHost::closeCalls() const {
    const std::lock_guard lock(mutex_);
    return closeCalls_;
}
