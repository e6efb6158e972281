#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "base/wake_event.h"
#include "host/apache/apache_transport.h"
#include "host/apache/directives.h"
#include "host/apache/handshake.h"
#include "host/apache/server_record.h"
#include "host/apache/termination_signals.h"
#include "host/protocol/close_code.h"
#include "host/protocol/frame_reader.h"
#include "host/protocol/frame_sender.h"

namespace websocket {

/// One websocket: from the accepted handshake to its end. Runs on the connection's thread; what is
/// marked so may be called from any thread while `run` runs.
class Connection : public PluginServices {
  public:
    Connection(request_rec* request, const Directives& directives, Handshake handshake,
               TerminationSignals& signals);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Asks the plug-in, answers the handshake and serves the connection until it has ended.
    /// Answers OK, or the HTTP status with which the handshake is to be refused.
    int run();

    request_rec* request() const override { return request_; }
    const std::vector<std::string>& protocols() const override { return handshake_.protocols; }
    void setHeader(const std::string& name, const std::string& value) override;
    void chooseProtocol(const std::string& protocol) override;
    std::size_t send(int type, const unsigned char* data, std::size_t size) override;
    void close() override;
    void hold(bool on) override { on ? sender_.hold() : sender_.release(); }

  private:
    using Clock = std::chrono::steady_clock;

    enum class Phase {
        Open,     ///< messages go to and fro
        Closing,  ///< this side has sent its close frame and waits for the peer's
        Done,     ///< no more to be read; what is queued may still go out
    };

    void answerHandshake();
    void serve();
    bool readMessage();
    void handleFrame(const FrameReader::Event& event);
    void handleClose(const FrameReader::Event& event);
    void tellPlugin(int type, const FrameReader::Event& event);
    void beginClose(CloseCode code, std::chrono::milliseconds patience);
    void noticeOwnClose();
    void waitForEvents(bool moreToRead);
    int pollTimeout(Clock::time_point now) const;
    void checkTermination();
    void checkDeadlines();
    void checkPing(Clock::time_point now);
    std::uint64_t arrived() const;
    bool heardSincePing() const;
    void flush();
    void finish();

    request_rec* request_;
    const Directives& directives_;
    Handshake handshake_;
    TerminationSignals& signals_;
    WebSocketServer server_;
    void* session_ = nullptr;
    std::string protocol_;
    const std::thread::id thread_;
    bool answered_ = false;  // looked at on the connection's own thread only

    ApacheTransport transport_;
    FrameSender sender_;
    FrameReader reader_;
    base::WakeEvent attention_;  // raised when another thread has closed

    Phase phase_ = Phase::Open;
    bool terminating_ = false;
    Clock::time_point closeDeadline_{};
    Clock::time_point goneDeadline_ = Clock::time_point::max();  // set once the peer has gone

    const std::chrono::seconds pingInterval_;
    Clock::time_point nextPing_{};
    bool pingUnanswered_ = false;
    std::uint64_t arrivedAtPing_ = 0;
};

}  // namespace websocket
