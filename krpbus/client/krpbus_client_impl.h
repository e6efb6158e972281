// The inside of a bus client: what it listens to, what it sends, what has come in.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/mutex.h"
#include "krpbus/client/bus_connection.h"
#include "krpbus/client/inbox.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/byte_writer.h"

/// A logger's name as subjects carry it. What is no hardware address stays as it is, and names no
/// logger.
std::string upperCaseMac(const std::string& text);

/// Puts subjects and addresses around a connection and an inbox. Thread rules as for KRPBusClient.
class KRPBusClient::Impl final : public krpbus::BusListener {
  public:
    Impl(const std::string& name, const std::string& url, const KRPBusOptions& options);
    ~Impl() override;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool connect();
    bool isConnected() const { return connection_->isConnected() && inbox_.isConnected(); }
    int fd() const { return connection_->consumerFd(); }
    void beginWait();
    void endWait();
    bool read();
    krpbus::Inbox& inbox() { return inbox_; }
    const krpbus::Inbox& inbox() const { return inbox_; }
    const std::string& name() const { return name_; }
    const std::string& mac() const { return mac_; }

    /// Receives what is published to a subject, as messages for `destination`.
    void listen(const std::string& subject, const std::string& destination);
    void endListening(const std::string& subject);

    /// Sends to a participant of the own logger.
    void sendHere(const std::string& source, const std::string& participant,
                  const MessageBase& message);
    /// Sends to a subject of the bus; `whom` is for the log.
    void send(const std::string& source, const std::string& subject, const MessageBase& message,
              const std::string& whom);
    /// Sends to all who listen to live data, in as few publications as it takes.
    void sendLive(const std::string& source, krpbus::LiveData data,
                  const std::vector<std::string>& loggers,
                  const std::vector<std::unique_ptr<MessageBase>>& messages);
    void listenToLive(krpbus::LiveData data);
    void endListeningToLive(krpbus::LiveData data);
    bool listensToLive(krpbus::LiveData data) const;
    /// Between the two messages are written where there is enough for a write, and at the end.
    void beginBurst();
    void endBurst();
    /// Asks whether anybody listens to the participant; `address` is what takeVanished() then
    /// tells.
    void probe(const std::string& mac, const std::string& participant, const std::string& address);

    /// The message of a payload, with its sender and destination; null when the payload is none.
    std::unique_ptr<MessageBase> unpack(const krpbus::Received& received);
    /// Destroys a payload, together with others: each destruction wakes a thread of the library.
    void discard(krpbus::Received&& received);

    void onReceived(std::vector<krpbus::Received>& received, Reader reader) override;
    void onConnected() override { inbox_.connected(); }
    void onDisconnected() override { inbox_.disconnected(); }

  private:
    bool takeProbe(const krpbus::Received& received);
    void splitBatches(std::vector<krpbus::Received>& received);
    std::unique_ptr<MessageBase> envelop(std::unique_ptr<MessageBase> message,
                                         const std::string& sender) const;
    void publish(const std::string& source, const std::string& subject, const MessageBase& message,
                 const std::string& whom) REQUIRES(sendMutex_);
    void publishWritten(const std::string& source, const std::string& subject,
                        krpbus::Sending sending, const std::string& whom) REQUIRES(sendMutex_);
    std::size_t batchLimit() const;
    void stopListening(krpbus::LiveData data) REQUIRES(entrancesMutex_);
    void logNotSent(krpbus::SendResult result, const std::string& whom) const REQUIRES(sendMutex_);
    const std::string& senderOf(std::string_view reply);

    /// Room that the encoder keeps between messages.
    static constexpr std::size_t kKeptBuffer = std::size_t{1024} * 1024;

    const std::string name_;
    const std::string mac_;
    const std::string ownSubject_;
    krpbus::Inbox inbox_;

    Mutex sendMutex_;
    ByteWriter writer_ GUARDED_BY(sendMutex_);
    ByteWriter part_ GUARDED_BY(sendMutex_);  // one message of several in writer_
    int bursts_ GUARDED_BY(sendMutex_) = 0;   // that are under way
    std::string lastParticipant_ GUARDED_BY(sendMutex_);
    std::string lastSubject_ GUARDED_BY(sendMutex_);

    mutable Mutex entrancesMutex_;
    /// What messages that come in by a subject are for.
    std::map<std::string, std::unique_ptr<const std::string>> entrances_
        GUARDED_BY(entrancesMutex_);
    /// Ended ones: messages that came in through them may still wait, or be on their way.
    std::vector<std::unique_ptr<const std::string>> closed_ GUARDED_BY(entrancesMutex_);

    std::set<krpbus::LiveData> listening_ GUARDED_BY(entrancesMutex_);

    /// Of who reads, between two reads empty: what has come, with its batches split.
    std::vector<krpbus::Received> split_;

    /// Of the consumer thread.
    std::string lastReply_;
    std::string lastSender_;
    bool lastIsElsewhere_ = false;  // on another logger
    std::vector<krpbus::Received> spent_;
    std::size_t spentBytes_ = 0;

    /// Goes first, since it calls the others.
    std::unique_ptr<krpbus::BusConnection> connection_;
};
