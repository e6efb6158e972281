// A logger network on the message bus: real participants whose answers a test decides on.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/krp_message.h"

/// How a logger treats one kind of request.
struct LoggerBehaviour {
    int answers = 1;                     // 0: silent
    std::chrono::milliseconds delay{0};  // before the first answer
    std::uint8_t status = KRPMessageResponse::KRPSTATUS_OK;
    errorCode_t error = errorCode_t::None;
    std::string description{};
};

/// What a logger says about itself.
struct LoggerFacts {
    unsigned char status = 0;
    std::string timeZone = "UTC";
    std::string configName{};
    std::string loggerName{};
    long long timeOffset = 0;
    unsigned char deviceClass = 1;
    unsigned char subType = 0;
    std::string softwareVersion{};
    std::vector<std::string> neighbours{};
};

/// One logger: the participants "HandheldServer", "KSLForwarder" and "KRPBusServer" of its own bus,
/// with a thread that serves them. Leaves the network with the object.
class BusLogger {
  public:
    BusLogger(const std::string& mac, LoggerFacts facts, unsigned short port);
    ~BusLogger();
    BusLogger(const BusLogger&) = delete;
    BusLogger& operator=(const BusLogger&) = delete;

    /// Waits until the bus server knows what this logger wants to receive, and the logger has
    /// answered what reached it before, but for what it answers late. The constructor does; a test
    /// does after the server was away.
    void settle();

    void setFacts(LoggerFacts facts);
    void behave(krpMsgID_t request, LoggerBehaviour behaviour);
    /// Gives the answer to a request that the facts have none for.
    void addAnswer(std::unique_ptr<KRPMessageResponse> answer);

    /// How often a request has come in.
    int requests(krpMsgID_t request) const;
    /// The ids of all requests, in their order.
    std::vector<krpMsgID_t> requestOrder() const;
    bool waitForRequests(krpMsgID_t request, int count) const;
    /// Everything that has come in, printed, behind "<participant> from <source>: "; " [shared]"
    /// stands behind what says that its sender listens where live data is sent once for all.
    std::vector<std::string> received() const;
    bool waitForReceived(const std::string& part) const;

    const std::string& mac() const { return mac_; }
    /// For sending what nobody asked for.
    KRPBusClient& client() { return client_; }

  private:
    struct Reply {
        std::chrono::steady_clock::time_point due;
        std::string participant;
        std::string destination;
        std::unique_ptr<MessageBase> answer;
    };

    void serve();
    static bool takesShared(const MessageBase& message);
    void take(MessageBase& message);
    void forward(const class RouterMessage& envelope, const std::string& source);
    void reply(const KRPMessageRequest& request);
    std::unique_ptr<KRPMessageResponse> answerTo(krpMsgID_t request) const;
    std::unique_ptr<KRPMessageResponse> addedAnswer(krpMsgID_t request) const;
    void sendDue();

    const std::string mac_;
    KRPBusClient client_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    LoggerFacts facts_;
    std::map<krpMsgID_t, LoggerBehaviour> behaviours_;
    std::map<krpMsgID_t, std::unique_ptr<KRPMessageResponse>> answers_;
    std::vector<krpMsgID_t> requests_;
    std::vector<std::string> received_;
    int settling_ = 0;  // the round of settle(), and the last one that came back
    int settled_ = 0;
    std::deque<Reply> replies_;  // the thread's own
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
