#pragma once

#include <wslay/wslay.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "base/utf8.h"
#include "host/protocol/byte_source.h"
#include "host/protocol/close_code.h"
#include "host/protocol/message_buffer.h"

namespace websocket {

/// Turns the bytes of a client into whole messages and control frames, and holds them against the
/// rules of RFC 6455: every violation is found at the first byte that shows it. One thread uses it.
class FrameReader {
  public:
    enum class Result {
        Frame,    ///< `event` holds a message or a control frame
        Nothing,  ///< nothing whole has arrived yet
        Ended,    ///< the peer has gone
        Failed,   ///< the peer broke a rule; `failure` names the close code
    };

    /// What has arrived. `opcode` is WSLAY_TEXT_FRAME, WSLAY_BINARY_FRAME, or a control opcode. The
    /// payload has a zero byte behind it, may be changed, and is valid until `next` is called
    /// again.
    struct Event {
        std::uint8_t opcode = 0;
        std::uint8_t* payload = nullptr;
        std::size_t size = 0;
    };

    /// Messages of more than `maxMessageSize` bytes, and those of text of more than `maxTextSize`,
    /// are refused, from the header that tells it.
    FrameReader(ByteSource& source, std::uint64_t maxMessageSize,
                std::uint64_t maxTextSize = std::numeric_limits<std::uint64_t>::max());
    ~FrameReader();
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    /// The next message or control frame. Reads from the source until there is one or nothing is
    /// left, but no more than about `budget` bytes; what it took is subtracted.
    Result next(Event& event, std::size_t& budget);

    CloseCode failure() const { return failure_; }

    /// Bytes received since the start, for seeing that the peer is alive.
    std::uint64_t received() const { return received_; }

  private:
    static ssize_t receive(std::uint8_t* buffer, std::size_t size, int flags, void* self);

    Result fail(CloseCode code);
    Result afterStall();
    CloseCode checkHeader(std::uint8_t opcode, bool fin, std::uint8_t rsv, bool masked,
                          std::uint64_t length) const;
    CloseCode checkStalledHeader() const;
    CloseCode startFrame(const wslay_frame_iocb& frame);
    CloseCode takePayload(const wslay_frame_iocb& frame);
    bool finishFrame(const wslay_frame_iocb& frame, Event& event);
    void remember(const std::uint8_t* bytes, std::size_t size);

    ByteSource& source_;
    const std::uint64_t maxMessageSize_;
    const std::uint64_t maxTextSize_;
    wslay_frame_context_ptr context_ = nullptr;
    std::size_t* budget_ = nullptr;
    bool ended_ = false;
    bool dry_ = false;  // the last read brought nothing
    CloseCode failure_ = kCloseNone;
    std::uint64_t received_ = 0;

    /// The frame that is being received.
    bool inFrame_ = false;
    std::uint64_t frameLeft_ = 0;

    /// The message that is being put together out of one or more frames.
    std::uint8_t messageOpcode_ = WSLAY_CONTINUATION_FRAME;
    MessageBuffer message_;
    bool messageDelivered_ = false;
    base::Utf8Validator utf8_;

    static constexpr std::size_t kControlMax = 125;
    std::array<std::uint8_t, kControlMax + 1> control_{};
    std::size_t controlSize_ = 0;

    /// The last bytes received, long enough for any header, and where in the stream the frame
    /// began.
    static constexpr std::size_t kHeaderMax = 14;
    std::array<std::uint8_t, kHeaderMax> tail_{};
    std::uint64_t frameStart_ = 0;
};

}  // namespace websocket
