// Frames from this machine's own CAN interfaces.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "base/wake_event.h"
#include "desk/can/frame_input.h"

namespace desk::can {

/// Whether the kernel knows CAN; otherwise why not, for people.
std::optional<std::string> whyNoSockets();

/// Takes one message off a CAN socket. Nothing when none waits, or when it is no frame. `lost` is
/// set to what the socket has dropped so far, where it says so.
std::optional<Frame> receiveFrame(int fd, std::uint32_t& lost);

/// Opens every interface, waits for those that are not there or down, and opens again what has
/// gone. CAN FD and error frames included.
class SocketInput : public FrameInput {
  public:
    /// Throws std::invalid_argument where the kernel has no CAN.
    explicit SocketInput(std::vector<std::string> interfaces);
    ~SocketInput() override;

    void start() override;
    void want(const std::optional<std::vector<std::uint32_t>>& ids) override;
    bool isUp(std::size_t interface) const override;

  private:
    struct Socket {
        std::string name;
        base::FileDescriptor fd;
        std::uint32_t lost = 0;
        bool hasComplained = false;
        std::atomic<bool> isUp{false};
    };
    void run();
    void openMissing();
    void readFrom(std::uint8_t place);
    void applyWanted();

    std::vector<std::unique_ptr<Socket>> sockets_;
    std::mutex mutex_;
    std::optional<std::vector<std::uint32_t>> wanted_;
    std::atomic<bool> wantedHasChanged_{false};
    std::atomic<bool> isStopping_{false};
    base::WakeEvent event_;
    std::thread thread_;
};

}  // namespace desk::can
