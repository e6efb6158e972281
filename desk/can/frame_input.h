// Where frames come from.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desk/can/frame_queue.h"

namespace desk::can {

/// The interfaces of an input by their places. Any thread.
class InterfaceNames {
  public:
    static constexpr std::size_t kMost = 32;

    explicit InterfaceNames(std::vector<std::string> names) : names_(std::move(names)) {}

    /// The place of that interface, which is added where it is new; nothing when there are too
    /// many.
    std::optional<std::uint8_t> placeOf(std::string_view name);
    std::vector<std::string> list() const;

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> names_;
};

/// What an input has to say for itself.
struct InputCounters {
    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::uint64_t> lost{0};        ///< frames that nobody took in time
    std::atomic<std::uint64_t> errorFrames{0};
    std::atomic<std::uint64_t> longFrames{0};  ///< CAN XL, which is not read
    std::atomic<std::uint64_t> wrongLines{0};
    std::atomic<bool> hasEnded{false};         ///< no more frames will come
};

/// Delivers frames into its queue from a thread of its own, between start() and its end. Their
/// times are this machine's, in microseconds since 1970.
class FrameInput {
  public:
    /// Interfaces that are known already get the first places.
    explicit FrameInput(std::vector<std::string> interfaces) : interfaces_(std::move(interfaces)) {}
    virtual ~FrameInput() = default;
    FrameInput(const FrameInput&) = delete;
    FrameInput& operator=(const FrameInput&) = delete;

    /// Once; what was started before is no concern of a second call.
    virtual void start() = 0;
    /// Which frames are wanted, where they can be told apart early: by standard and extended id
    /// (with bit 31). Nothing: all of them.
    virtual void want(const std::optional<std::vector<std::uint32_t>>&) {}
    /// Whether the interface at that place is up.
    virtual bool isUp(std::size_t) const { return !counters_.hasEnded; }

    FrameQueue& queue() { return queue_; }
    const InterfaceNames& interfaces() const { return interfaces_; }
    const InputCounters& counters() const { return counters_; }

  protected:
    FrameQueue queue_;
    InterfaceNames interfaces_;
    InputCounters counters_;
};

}  // namespace desk::can
