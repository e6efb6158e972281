// Frames from texts of candump: from a pipe, or from a file that is played.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "base/wake_event.h"
#include "desk/can/candump_line.h"
#include "desk/can/frame_clock.h"
#include "desk/can/frame_input.h"

namespace desk::can {

/// How a file is played.
struct Playback {
    double speed = 1.0;  ///< how many of its seconds pass in one
    bool once = false;   ///< instead of in a loop
};

/// Reads one text, or a file again and again. A file that cannot be read any more, or that has
/// no frames left, is looked at again every second.
class TextInput : public FrameInput {
  public:
    /// "-" is standard input. A file is looked through for its interfaces. Throws
    /// std::invalid_argument where it cannot be read or holds no frame.
    TextInput(std::string file, const Playback& playback, std::vector<std::string> interfaces);
    ~TextInput() override;

    void start() override;

  private:
    void run();
    bool open();
    /// Each is false when the thread has to end.
    bool readAll();
    bool takeText(std::string_view text);
    bool takeLine(std::string& line);
    bool deliver(const CandumpLine& line);
    bool waitUntil(std::uint64_t time);
    bool waitForText();
    void complain(const std::string& line);
    void scan();

    const std::string file_;
    const bool isFile_;  // and can be played again
    const bool once_;
    FrameClock clock_;
    base::FileDescriptor opened_;
    int fd_ = -1;
    std::string rest_;               // of a line that is not complete yet
    bool isOverlong_ = false;        // the rest of the line is passed over
    std::uint64_t roundFrames_ = 0;  // in this round
    bool hasWarnedOfInterfaces_ = false;

    std::mutex mutex_;
    std::condition_variable wake_;
    bool isStopping_ = false;
    base::WakeEvent stopEvent_;
    std::thread thread_;
};

}  // namespace desk::can
