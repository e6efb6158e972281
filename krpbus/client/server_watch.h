// Whether the bus server still answers.
#pragma once

#include <chrono>

namespace krpbus {

/// Says when to probe a server that has been silent, and when to give it up. Has no thread and
/// reads no clock; for one thread.
///
/// What counts is probes without an answer, not the time alone: a process that was stopped for a
/// while has not listened meanwhile, and asks before it judges.
class ServerWatch {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Action { Wait, Probe, GiveUp };

    /// A server is given up when `probesAllowed` probes, one every `interval`, have brought
    /// nothing for one more interval.
    ServerWatch(std::chrono::milliseconds interval, int probesAllowed)
        : interval_(interval), probesAllowed_(probesAllowed) {}

    /// Something has come from the server, or the connection is new.
    void heard(Clock::time_point now) {
        unanswered_ = 0;
        due_ = now + interval_;
    }
    /// When to ask next what to do.
    Clock::time_point due() const { return due_; }
    /// What is to be done now; a probe counts as sent.
    Action act(Clock::time_point now) {
        if (now < due_) {
            return Action::Wait;
        }
        due_ = now + interval_;
        return ++unanswered_ > probesAllowed_ ? Action::GiveUp : Action::Probe;
    }

  private:
    const std::chrono::milliseconds interval_;
    const int probesAllowed_;
    int unanswered_ = 0;
    Clock::time_point due_{};
};

}  // namespace krpbus
