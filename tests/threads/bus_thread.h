// A bus thread on a real bus server, which keeps what it is given.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "krpbus/messages/system_message.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/worker_session.h"
#include "threads/thread_krpbus_data.h"

inline const std::string kLocal = "02:00:00:00:00:0A";

class RecordingThread : public ThreadKrpbusData {
  public:
    explicit RecordingThread(LvSetup* setup, apr_thread_start_t function = krpbus_run)
        : ThreadKrpbusData(setup, 0, "krpbus", function) {}

    void handleMessages(const MessageBase* message) override {
        const auto* system = dynamic_cast<const SystemMessage*>(message);
        const std::string text = system != nullptr ? system->getText() : message->toString();
        {
            const std::lock_guard lock(mutex_);
            texts_.push_back(text);
            changed_.notify_all();
        }
        if (text == "throw") {
            throw std::runtime_error("cannot handle it");
        }
    }
    void handleReconnect() override { ++reconnects; }

    std::vector<std::string> texts() const {
        const std::lock_guard lock(mutex_);
        return texts_;
    }
    bool waitForTexts(std::size_t count) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20),
                                 [&] { return texts_.size() >= count; });
    }

    std::atomic<int> reconnects{0};

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> texts_;
};

inline std::unique_ptr<MessageBase> notice(const std::string& text) {
    return std::make_unique<SystemMessage>(SystemMessage::SM_STATE, text);
}

inline void useServer(const NatsServer& server) {
    setenv("KRPBUS_SERVER", server.address().c_str(), 1);
    setenv("KRPBUS_MAC", kLocal.c_str(), 1);
}

class BusThread : public testing::Test {
  protected:
    BusThread() { useServer(nats_); }

    RecordingThread& make(apr_thread_start_t function = krpbus_run) {
        thread_ = std::make_unique<RecordingThread>(&session_.setup, function);
        return *thread_;
    }

    void pass(std::chrono::milliseconds timeout) {
        timespec wait{static_cast<time_t>(timeout.count() / 1000),
                      static_cast<long>(timeout.count() % 1000 * 1000000)};
        thread_->handleKRPBusServer(&wait);
    }

    NatsServer nats_;
    WorkerSession session_;
    LogCapture log_;
    std::unique_ptr<RecordingThread> thread_;
};
