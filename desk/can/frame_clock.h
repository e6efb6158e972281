// When the frames of an input were, on this machine's clock.
#pragma once

#include <cstdint>
#include <optional>

namespace desk::can {

/// Live input keeps the stamps that its frames have while they are close to the clock. Those of
/// others, and all of a file, are differences: the first frame is now, and so is the first one
/// after a step back. One thread. All times are in microseconds.
class FrameClock {
  public:
    enum class Input { File, Live };

    /// Stamps that are further away from the clock are another time's.
    static constexpr std::uint64_t kMostMicrosecondsOff = 60'000'000;
    /// Frames of several interfaces may come a little out of order.
    static constexpr std::uint64_t kDisorder = 100'000;

    struct Moment {
        std::uint64_t time = 0;  ///< since 1970 UTC
        bool isPaced = false;    ///< the frame is due then, and not before
    };

    /// `speed` is how many of its seconds pass in one.
    FrameClock(Input input, double speed) : input_(input), speed_(speed) {}

    /// When the next frame is, and was by its stamp; `now` is the current time.
    Moment next(std::optional<std::uint64_t> stamp, std::uint64_t now);
    /// The next frame is the first one of another round.
    void beginAnew() { anchor_.reset(); }

  private:
    /// A stamp and the time that it stands for.
    struct Anchor {
        std::uint64_t stamp;
        std::uint64_t time;
        bool isOwnTime;  // stamps are times already
    };
    std::uint64_t timeOf(std::uint64_t stamp) const;
    bool continues(std::uint64_t stamp, std::uint64_t now);
    void setAnchor(std::uint64_t stamp, std::uint64_t now);

    const Input input_;
    const double speed_;
    std::optional<Anchor> anchor_;
    bool hasStepped_ = false;      // the stamps have gone back: they are differences from then on
    std::uint64_t latest_ = 0;     // the highest stamp since the anchor
    unsigned int outOfOrder_ = 0;  // frames in a row that were behind it
    std::uint64_t unstamped_ = 0;  // the time of the last frame without a stamp
};

}  // namespace desk::can
