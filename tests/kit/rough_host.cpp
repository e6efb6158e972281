#include "tests/kit/rough_host.h"

#include <algorithm>
#include <memory>
#include <utility>

RoughHost::RoughHost(WebSocketPlugin* plugin, Options options)
    : RecordingHost(std::move(options)), plugin_(plugin) {}

RoughHost::~RoughHost() {
    releaseSenders();
}

void* RoughHost::connect() {
    const std::lock_guard lock(connectMutex_);
    private_ = plugin_->on_connect(server());
    return private_;
}

void RoughHost::deliver(int type, std::string_view payload) {
    // An allocation of its own, so that a sanitizer sees every byte that is read past the end.
    const auto buffer = std::make_unique<unsigned char[]>(payload.size());
    std::copy(payload.begin(), payload.end(), buffer.get());
    plugin_->on_message(private_, server(), type, buffer.get(), payload.size());
}

void RoughHost::disconnect() {
    plugin_->on_disconnect(private_, server());
}

void RoughHost::blockSenders() {
    const std::lock_guard lock(gateMutex_);
    blocked_ = true;
}

void RoughHost::releaseSenders() {
    const std::lock_guard lock(gateMutex_);
    blocked_ = false;
    gateChanged_.notify_all();
}

bool RoughHost::waitForBlockedSender(std::chrono::milliseconds timeout) const {
    std::unique_lock lock(gateMutex_);
    return gateChanged_.wait_for(lock, timeout, [&] { return waiting_ > 0; });
}

std::size_t RoughHost::send(int type, const unsigned char* buffer, std::size_t size) {
    {
        std::unique_lock lock(gateMutex_);
        ++waiting_;
        gateChanged_.notify_all();
        gateChanged_.wait(lock, [&] { return !blocked_; });
        --waiting_;
    }
    const std::lock_guard lock(connectMutex_);
    return RecordingHost::send(type, buffer, size);
}
