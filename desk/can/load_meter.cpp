#include "desk/can/load_meter.h"

#include <algorithm>
#include <numeric>

#include "desk/can/frame_bits.h"

namespace desk::can {

void LoadMeter::advance(std::uint64_t slot) {
    if (slot >= newest_ + taken_.size() || slot + taken_.size() < newest_) {
        taken_.fill(0.0);  // nothing for so long, or another time altogether
        newest_ = slot;
    }
    while (newest_ < slot) {
        taken_[place(++newest_)] = 0.0;
    }
}

void LoadMeter::add(const Frame& frame) {
    FrameBits bits{};
    if (frame.isFd && !frame.isFastDataKnown) {
        // A data bit rate is only given for a bus that uses it.
        Frame guessed = frame;
        guessed.hasFastData = rate_.isDataGiven;
        bits = bitsOf(guessed);
    } else {
        bits = bitsOf(frame);
    }
    const std::uint64_t slot = frame.time / kSlot;
    advance(slot);
    if (slot + kSlots >= newest_) {
        taken_[place(slot)] += bits.nominal / rate_.nominal + bits.fast / rate_.data;
    }
}

double LoadMeter::percent(std::uint64_t now) {
    const std::uint64_t slot = now / kSlot;
    if (slot > newest_) {
        advance(slot);
    }
    // Without the slot that still goes on.
    const double sum = std::accumulate(taken_.begin(), taken_.end(), 0.0) - taken_[place(newest_)];
    return std::clamp(sum / speed_ * 100.0, 0.0, 100.0);
}

}  // namespace desk::can
