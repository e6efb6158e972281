// Feeds the websocket framing with bytes that come in pieces of different sizes. What it takes for
// a message must keep the rules: text is UTF-8, control frames are short, nothing is larger than
// allowed.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/utf8.h"
#include "host/protocol/frame_reader.h"

namespace {

constexpr std::uint64_t kMostBytes = 4096;
constexpr std::uint64_t kMostText = 1024;

/// The bytes in pieces, whose sizes come from the first of them.
class Pieces final : public websocket::ByteSource {
  public:
    Pieces(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    Status read(std::uint8_t* buffer, std::size_t size, std::size_t& got) override {
        if (size_ == 0) {
            return Status::Ended;
        }
        if (++reads_ % 5 == 0) {
            return Status::Nothing;
        }
        got = std::min({size, size_, std::size_t{1} + data_[0] % 64U});
        std::memcpy(buffer, data_, got);
        data_ += got;
        size_ -= got;
        return Status::Data;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    unsigned reads_ = 0;
};

void check(const websocket::FrameReader::Event& event) {
    const bool control = (event.opcode & 8U) != 0;
    if (event.size > (control                            ? 125
                      : event.opcode == WSLAY_TEXT_FRAME ? kMostText
                                                         : kMostBytes) ||
        event.payload[event.size] != 0) {
        std::abort();
    }
    if (event.opcode == WSLAY_TEXT_FRAME) {
        base::Utf8Validator validator;
        if (!validator.feed(event.payload, event.size) || !validator.complete()) {
            std::abort();
        }
    }
    std::memset(event.payload, 'x', event.size);  // may be changed
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Pieces pieces(data, size);
    websocket::FrameReader reader(pieces, kMostBytes, kMostText);
    websocket::FrameReader::Event event;
    for (;;) {
        std::size_t budget = 1 + size % 300;
        switch (reader.next(event, budget)) {
            case websocket::FrameReader::Result::Frame:
                check(event);
                break;
            case websocket::FrameReader::Result::Nothing:
                break;
            case websocket::FrameReader::Result::Ended:
                return 0;
            case websocket::FrameReader::Result::Failed:
                if (reader.failure() == websocket::kCloseNone) {
                    std::abort();
                }
                return 0;
        }
    }
}
