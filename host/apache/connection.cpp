#include "host/apache/connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <exception>

#include "host/apache/plugin_calls.h"

extern "C" {
#include <ap_mpm.h>
}

namespace websocket {

namespace {

/// The bound of what is queued for a peer.
constexpr std::size_t kQueueCapacity = 1024 * 1024;
/// What is read of one message at a stretch before the connection looks up for signals and
/// deadlines.
constexpr std::size_t kReadBudget = 512 * 1024;
/// How long what a peer had sent before it went is still handled: long enough for its last words,
/// which may be something to keep, and not for a long line of commands that nobody waits for.
constexpr std::chrono::milliseconds kGonePatience{1000};
/// With this much unread, the system may be holding back what else the peer has to say.
constexpr std::size_t kMayHoldBack = 32 * 1024;
/// How long the peer may take for his close frame. Apache ends its children the hard way a few
/// seconds after it asked them to go, so a closing server has less patience.
constexpr std::chrono::milliseconds kClosePatience{5000};
constexpr std::chrono::milliseconds kTerminationPatience{1000};
constexpr std::chrono::milliseconds kFlushSlice{50};
constexpr std::chrono::milliseconds kShortestTimeout{1000};
/// Where signals are not ours, the state of the server is looked at this often.
constexpr int kStateCheckMs = 1000;

std::chrono::milliseconds timeoutOf(const request_rec* request) {
    return std::max(std::chrono::milliseconds(apr_time_as_msec(request->server->timeout)),
                    kShortestTimeout);
}

bool serverIsStopping() {
    int state = AP_MPMQ_RUNNING;
    return ap_mpm_query(AP_MPMQ_MPM_STATE, &state) == APR_SUCCESS && state == AP_MPMQ_STOPPING;
}

}  // namespace

Connection::Connection(request_rec* request, const Directives& directives, Handshake handshake,
                       TerminationSignals& signals)
    : request_(request),
      directives_(directives),
      handshake_(std::move(handshake)),
      signals_(signals),
      server_(makeServerRecord(*this)),
      thread_(std::this_thread::get_id()),
      transport_(request),
      sender_(transport_, kQueueCapacity, timeoutOf(request)),
      reader_(transport_, directives.effectiveMaxMessageSize(), directives.effectiveMaxTextSize()),
      pingInterval_(std::max<apr_int64_t>(directives.pingInterval, 0)) {}

Connection::~Connection() = default;

int Connection::run() {
    sender_.start();
    session_ = callConnect(*directives_.plugin, server_, request_);
    if (session_ == nullptr) {
        sender_.stop();
        transport_.release();
        return HTTP_INTERNAL_SERVER_ERROR;
    }
    nextPing_ = Clock::now() + pingInterval_;
    try {
        answerHandshake();
        serve();
    } catch (const std::exception& e) {
        // The plug-in has to hear of the end in any case: its threads use this connection.
        ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request_, "WS306: websocket ended: %s", e.what());
        sender_.kill(FrameSender::End::Broken);
    }
    finish();
    return OK;
}

/// Sends the answer that accepts the handshake, and with it lets out what was sent before.
void Connection::answerHandshake() {
    if (answered_) {
        return;
    }
    answered_ = true;
    request_->status = HTTP_SWITCHING_PROTOCOLS;
    request_->status_line = "101 Switching Protocols";
    sender_.open(handshakeAnswer(request_, handshake_, protocol_));
}

void Connection::serve() {
    while (phase_ != Phase::Done) {
        const bool moreToRead = readMessage();
        noticeOwnClose();
        if (phase_ == Phase::Done) {
            break;
        }
        waitForEvents(moreToRead);
        checkTermination();
        noticeOwnClose();
        checkDeadlines();
        if (sender_.ended() != FrameSender::End::None) {
            phase_ = Phase::Done;
        }
    }
    flush();
}

/// Handles what has arrived, up to one data message: the plug-in may have taken its time over it.
/// True when there may be more that was left for the next time.
bool Connection::readMessage() {
    std::size_t budget = kReadBudget;
    while (phase_ != Phase::Done && sender_.ended() == FrameSender::End::None) {
        FrameReader::Event event;
        switch (reader_.next(event, budget)) {
            case FrameReader::Result::Frame:
                handleFrame(event);
                noticeOwnClose();
                if (!wslay_is_ctrl_frame(event.opcode)) {
                    return true;
                }
                break;
            case FrameReader::Result::Nothing:
                // Reading can make TLS answer.
                sender_.pushPort();
                return budget == 0;
            case FrameReader::Result::Ended:
                sender_.kill(FrameSender::End::Broken);
                phase_ = Phase::Done;
                break;
            case FrameReader::Result::Failed:
                ap_log_rerror(APLOG_MARK, APLOG_INFO, 0, request_,
                              "WS303: the websocket client broke the protocol, closed with %d",
                              static_cast<int>(reader_.failure()));
                beginClose(reader_.failure(), kClosePatience);
                phase_ = Phase::Done;
                break;
        }
    }
    return false;
}

void Connection::handleFrame(const FrameReader::Event& event) {
    switch (event.opcode) {
        case WSLAY_TEXT_FRAME:
            tellPlugin(WEBSOCKET_MESSAGE_TEXT, event);
            break;
        case WSLAY_BINARY_FRAME:
            tellPlugin(WEBSOCKET_MESSAGE_BINARY, event);
            break;
        case WSLAY_PING:
            sender_.sendPong(event.payload, event.size);
            tellPlugin(WEBSOCKET_MESSAGE_PING, event);
            break;
        case WSLAY_PONG:
            tellPlugin(WEBSOCKET_MESSAGE_PONG, event);
            break;
        default:
            handleClose(event);
            break;
    }
}

void Connection::handleClose(const FrameReader::Event& event) {
    const CloseCode problem = checkClosePayload(event.payload, event.size);
    if (problem != kCloseNone) {
        beginClose(problem, kClosePatience);
    } else {
        // The answer repeats the code; the reason was the peer's own.
        sender_.sendClose(event.payload, std::min<std::size_t>(event.size, 2));
        tellPlugin(WEBSOCKET_MESSAGE_CLOSE, event);
    }
    phase_ = Phase::Done;
}

/// Once this side has said that it closes, nothing is handed over any more but the peer's answer.
void Connection::tellPlugin(int type, const FrameReader::Event& event) {
    if (phase_ == Phase::Open || type == WEBSOCKET_MESSAGE_CLOSE) {
        callMessage(*directives_.plugin, session_, server_, type, event.payload, event.size,
                    request_);
    }
}

void Connection::beginClose(CloseCode code, std::chrono::milliseconds patience) {
    const std::array<std::uint8_t, 2> payload{static_cast<std::uint8_t>(code >> 8),
                                              static_cast<std::uint8_t>(code & 0xFF)};
    sender_.sendClose(payload.data(), payload.size());
    if (phase_ == Phase::Open) {
        phase_ = Phase::Closing;
        closeDeadline_ = Clock::now() + patience;
    }
    closeDeadline_ = std::min(closeDeadline_, Clock::now() + patience);
}

/// A close frame that the plug-in sent, from whichever thread, begins the closing handshake.
void Connection::noticeOwnClose() {
    if (phase_ == Phase::Open && sender_.closing()) {
        phase_ = Phase::Closing;
        closeDeadline_ = Clock::now() + kClosePatience;
    }
}

void Connection::waitForEvents(bool moreToRead) {
    std::array<pollfd, 4> fds{};
    fds[0] = {transport_.descriptor(), POLLIN | POLLRDHUP, 0};
    fds[1] = {sender_.deadEvent().descriptor(), POLLIN, 0};
    fds[2] = {attention_.descriptor(), POLLIN, 0};
    fds[3] = {signals_.descriptor(), POLLIN, 0};  // -1 is passed over
    if (::poll(fds.data(), fds.size(), moreToRead ? 0 : pollTimeout(Clock::now())) <= 0) {
        return;
    }
    if (fds[2].revents != 0) {
        attention_.lower();
    }
    if ((fds[0].revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0) {
        goneDeadline_ = std::min(goneDeadline_, Clock::now() + kGonePatience);
    }
}

/// Milliseconds until something has to be done without an event; -1 for none.
int Connection::pollTimeout(Clock::time_point now) const {
    auto until = Clock::time_point::max();
    if (phase_ == Phase::Closing) {
        until = closeDeadline_;
    } else if (pingInterval_.count() > 0) {
        until = nextPing_;
    }
    if (signals_.descriptor() < 0) {
        until = std::min(until, now + std::chrono::milliseconds(kStateCheckMs));
    }
    if (until == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 3600 * 1000));
}

/// The server wants this process to end: the session is ended in order first.
void Connection::checkTermination() {
    if (!terminating_ && (signals_.descriptor() >= 0 ? signals_.taken() : serverIsStopping())) {
        terminating_ = true;
        beginClose(kCloseGoingAway, kTerminationPatience);
    }
}

void Connection::checkDeadlines() {
    const auto now = Clock::now();
    if (now >= goneDeadline_) {
        sender_.kill(FrameSender::End::Broken);
    } else if (phase_ == Phase::Closing && now >= closeDeadline_) {
        phase_ = Phase::Done;
    } else if (phase_ == Phase::Open && pingInterval_.count() > 0 && now >= nextPing_) {
        checkPing(now);
    }
}

void Connection::checkPing(Clock::time_point now) {
    if (pingUnanswered_ && !heardSincePing()) {
        ap_log_rerror(APLOG_MARK, APLOG_INFO, 0, request_,
                      "WS304: the websocket client does not answer pings");
        sender_.kill(FrameSender::End::Broken);
        return;
    }
    // Looked up before the ping goes: a peer on this machine may answer it at once.
    arrivedAtPing_ = arrived();
    sender_.sendPing();
    pingUnanswered_ = true;
    nextPing_ = now + pingInterval_;
}

/// Grows with whatever comes from the peer, read or not: his answer to a ping may stand behind a
/// large message that is still on its way, or behind others that are being handled.
std::uint64_t Connection::arrived() const {
    return reader_.received() + transport_.arrived();
}

bool Connection::heardSincePing() const {
    return arrived() != arrivedAtPing_ || transport_.unread() >= kMayHoldBack;
}

/// Lets out what is queued, the close frame last, as long as the peer takes it and for no longer
/// than the time-out in all.
void Connection::flush() {
    const auto timeout = timeoutOf(request_);
    const auto deadline = Clock::now() + timeout;
    while (sender_.ended() == FrameSender::End::None && !sender_.waitUntilWritten(kFlushSlice)) {
        checkTermination();
        const auto now = Clock::now();
        if (terminating_ && now >= closeDeadline_) {
            break;
        }
        if (now >= deadline) {
            ap_log_rerror(APLOG_MARK, APLOG_INFO, 0, request_,
                          "WS307: the websocket client has not read the end of it within %d s",
                          static_cast<int>(timeout.count() / 1000));
            sender_.kill(FrameSender::End::Broken);
        }
    }
}

void Connection::finish() {
    const FrameSender::End end = sender_.ended();
    sender_.stop();
    if (end == FrameSender::End::None) {
        transport_.shutdownOutput();
    } else {
        if (end == FrameSender::End::TimedOut) {
            ap_log_rerror(APLOG_MARK, APLOG_INFO, 0, request_,
                          "WS305: the websocket client has read nothing for %d s, given up",
                          static_cast<int>(apr_time_sec(request_->server->timeout)));
        }
        // Nothing can be sent any more; the server need not try.
        request_->connection->aborted = 1;
    }
    callDisconnect(*directives_.plugin, session_, server_, request_);
    transport_.release();
}

}  // namespace websocket
