#include "host/protocol/frame_reader.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace websocket {

namespace {

bool isControl(std::uint8_t opcode) {
    return wslay_is_ctrl_frame(opcode);
}

std::uint64_t headerSize(const wslay_frame_iocb& frame) {
    const unsigned length = frame.payload_length > 65535 ? 8 : frame.payload_length > 125 ? 2 : 0;
    return 2U + length + (frame.mask ? 4U : 0U);
}

}  // namespace

FrameReader::FrameReader(ByteSource& source, std::uint64_t maxMessageSize,
                         std::uint64_t maxTextSize)
    : source_(source),
      maxMessageSize_(maxMessageSize),
      maxTextSize_(std::min(maxTextSize, maxMessageSize)) {
    wslay_frame_callbacks callbacks{};
    callbacks.recv_callback = &FrameReader::receive;
    if (wslay_frame_context_init(&context_, &callbacks, this) != 0) {
        throw std::bad_alloc();
    }
}

FrameReader::~FrameReader() {
    wslay_frame_context_free(context_);
}

ssize_t FrameReader::receive(std::uint8_t* buffer, std::size_t size, int, void* self) {
    auto& reader = *static_cast<FrameReader*>(self);
    reader.dry_ = true;
    if (*reader.budget_ == 0 || reader.ended_) {
        return -1;
    }
    std::size_t got = 0;
    switch (reader.source_.read(buffer, size, got)) {
        case ByteSource::Status::Data:
            break;
        case ByteSource::Status::Ended:
            reader.ended_ = true;
            return -1;
        case ByteSource::Status::Nothing:
            return -1;
    }
    reader.dry_ = false;
    *reader.budget_ -= std::min(got, *reader.budget_);
    reader.remember(buffer, got);
    return static_cast<ssize_t>(got);
}

void FrameReader::remember(const std::uint8_t* bytes, std::size_t size) {
    received_ += size;
    if (size >= kHeaderMax) {
        std::memcpy(tail_.data(), bytes + size - kHeaderMax, kHeaderMax);
    } else {
        std::memmove(tail_.data(), tail_.data() + size, kHeaderMax - size);
        std::memcpy(tail_.data() + kHeaderMax - size, bytes, size);
    }
}

FrameReader::Result FrameReader::fail(CloseCode code) {
    failure_ = code;
    message_.clear();
    return Result::Failed;
}

FrameReader::Result FrameReader::next(Event& event, std::size_t& budget) {
    if (failure_ != kCloseNone) {
        return Result::Failed;
    }
    if (messageDelivered_) {
        message_.clear();
        messageDelivered_ = false;
    }
    budget_ = &budget;
    for (;;) {
        wslay_frame_iocb frame{};
        const ssize_t status = wslay_frame_recv(context_, &frame);
        if (status == WSLAY_ERR_WANT_READ) {
            // The library gives up after one read that was too short for what it needs next. What
            // is left in the source may be inside a TLS layer, where no poll would show it.
            if (!dry_) {
                continue;
            }
            return afterStall();
        }
        if (status < 0) {
            return fail(kCloseProtocolError);
        }
        CloseCode problem = inFrame_ ? kCloseNone : startFrame(frame);
        if (problem == kCloseNone) {
            problem = takePayload(frame);
        }
        if (problem != kCloseNone) {
            return fail(problem);
        }
        if (frameLeft_ == 0) {
            const bool whole = finishFrame(frame, event);
            if (failure_ != kCloseNone) {
                return fail(failure_);
            }
            if (whole) {
                return Result::Frame;
            }
        }
    }
}

FrameReader::Result FrameReader::afterStall() {
    if (!inFrame_) {
        const CloseCode problem = checkStalledHeader();
        if (problem != kCloseNone) {
            return fail(problem);
        }
    }
    return ended_ ? Result::Ended : Result::Nothing;
}

/// The framing library tells of a frame with the first byte of its payload. A peer that sends no
/// more than a bad header, or announces too much, is to hear of it all the same.
CloseCode FrameReader::checkStalledHeader() const {
    const std::uint64_t have = received_ - frameStart_;
    if (have < 2 || have > kHeaderMax) {
        return kCloseNone;
    }
    const std::uint8_t* header = tail_.data() + kHeaderMax - have;
    std::uint64_t length = header[1] & 0x7F;
    const unsigned lengthBytes = length == 127 ? 8 : length == 126 ? 2 : 0;
    if (lengthBytes > 0) {
        // Until the length has come the frame counts as empty; everything else can be seen already.
        length = 0;
        for (unsigned i = 0; have >= 2 + lengthBytes && i < lengthBytes; ++i) {
            length = length << 8 | header[2 + i];
        }
    }
    return checkHeader(header[0] & 0x0F, (header[0] & 0x80) != 0, header[0] >> 4 & 7,
                       (header[1] & 0x80) != 0, length);
}

CloseCode FrameReader::checkHeader(std::uint8_t opcode, bool fin, std::uint8_t rsv, bool masked,
                                   std::uint64_t length) const {
    if (rsv != 0 || !masked) {
        return kCloseProtocolError;
    }
    const bool inMessage = messageOpcode_ != WSLAY_CONTINUATION_FRAME;
    switch (opcode) {
        case WSLAY_CONTINUATION_FRAME:
            if (!inMessage) {
                return kCloseProtocolError;
            }
            break;
        case WSLAY_TEXT_FRAME:
        case WSLAY_BINARY_FRAME:
            if (inMessage) {
                return kCloseProtocolError;
            }
            break;
        case WSLAY_CONNECTION_CLOSE:
        case WSLAY_PING:
        case WSLAY_PONG:
            return fin && length <= kControlMax ? kCloseNone : kCloseProtocolError;
        default:
            return kCloseProtocolError;
    }
    const bool isText = (inMessage ? messageOpcode_ : opcode) == WSLAY_TEXT_FRAME;
    const std::uint64_t most = isText ? maxTextSize_ : maxMessageSize_;
    return length > most - message_.size() ? kCloseTooBig : kCloseNone;
}

CloseCode FrameReader::startFrame(const wslay_frame_iocb& frame) {
    inFrame_ = true;
    frameLeft_ = frame.payload_length;
    frameStart_ += headerSize(frame) + frame.payload_length;
    const CloseCode problem =
        checkHeader(frame.opcode, frame.fin != 0, frame.rsv, frame.mask != 0, frame.payload_length);
    if (problem != kCloseNone) {
        return problem;
    }
    if (isControl(frame.opcode)) {
        controlSize_ = 0;
        return kCloseNone;
    }
    if (frame.opcode != WSLAY_CONTINUATION_FRAME) {
        messageOpcode_ = frame.opcode;
        utf8_.reset();
    }
    // In range of size_t: the limit was checked, and the configuration keeps it below.
    const std::size_t total = message_.size() + static_cast<std::size_t>(frame.payload_length);
    const bool known = frame.fin != 0 && frame.opcode != WSLAY_CONTINUATION_FRAME;
    return (known ? message_.reserveExactly(total) : message_.reserveGrowing(total)) ? kCloseNone
                                                                                     : kCloseTooBig;
}

CloseCode FrameReader::takePayload(const wslay_frame_iocb& frame) {
    frameLeft_ -= frame.data_length;
    if (isControl(frame.opcode)) {
        if (frame.data_length > 0) {
            std::memcpy(control_.data() + controlSize_, frame.data, frame.data_length);
            controlSize_ += frame.data_length;
        }
        return kCloseNone;
    }
    if (messageOpcode_ == WSLAY_TEXT_FRAME && !utf8_.feed(frame.data, frame.data_length)) {
        return kCloseInvalidText;
    }
    message_.append(frame.data, frame.data_length);
    return kCloseNone;
}

/// The frame has come to its end. True when that gives something to hand over.
bool FrameReader::finishFrame(const wslay_frame_iocb& frame, Event& event) {
    inFrame_ = false;
    if (isControl(frame.opcode)) {
        control_[controlSize_] = 0;
        event = {frame.opcode, control_.data(), controlSize_};
        return true;
    }
    if (frame.fin == 0) {
        return false;
    }
    if (messageOpcode_ == WSLAY_TEXT_FRAME && !utf8_.complete()) {
        failure_ = kCloseInvalidText;
        return false;
    }
    event = {messageOpcode_, message_.finish(), message_.size()};
    messageOpcode_ = WSLAY_CONTINUATION_FRAME;
    messageDelivered_ = true;
    return true;
}

}  // namespace websocket
