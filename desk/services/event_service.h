// The event service of a logger: what makes an event, who is told, and what is answered.
#pragma once

#include <memory>
#include <string>

#include "desk/services/event_store.h"
#include "desk/services/service.h"
#include "desk/sources/logger_identity.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/system_ng_event_message.h"

namespace desk {

/// Makes events and tells the logger's bus "Trigger" of them.
///
/// A trigger reaches the logger on which it was set as an event, and every logger of the network as
/// a press of the trigger key at the time of that event. So a key press whose time is that of a
/// known event makes none. A trigger without a marker gets one from its time, on every logger the
/// same.
class EventRecorder {
  public:
    /// All must outlive this object.
    EventRecorder(KRPBusClient& bus, EventStore& store, const LoggerIdentity& identity)
        : bus_(bus), store_(store), identity_(identity) {}

    /// An event of this logger; other kinds than a trigger or a reset of the counter do nothing.
    void report(const SystemNgEventMessage& event);
    /// A key was pressed or released, here or on another logger.
    void press(const KeyboardMessage& key);

  private:
    void addTrigger(std::uint64_t timestamp, const std::string& timeZone,
                    const std::string& markerId);
    void tell(eventid_t what, const EventStore::Event& event);

    KRPBusClient& bus_;
    EventStore& store_;
    const LoggerIdentity& identity_;
};

/// Answers requests 50 (the events) and 96 (the index of the newest), and takes events.
class EventService : public Service {
  public:
    EventService(EventRecorder& recorder, const EventStore& store)
        : recorder_(recorder), store_(store) {}

    std::string_view participant() const override { return kEventHandler; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;
    bool takeNotice(const SystemMessage& notice) override;

  private:
    EventRecorder& recorder_;
    const EventStore& store_;
};

/// Answers request 50 at the general service, where clients repeat it.
class RepeatedEventRequests : public Service {
  public:
    explicit RepeatedEventRequests(const EventStore& store) : store_(store) {}

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;

  private:
    const EventStore& store_;
};

/// Takes the keys of the logger.
class KeyService : public Service {
  public:
    explicit KeyService(EventRecorder& recorder) : recorder_(recorder) {}

    std::string_view participant() const override { return kOnlineProcessor; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest&) override {
        return nullptr;
    }
    bool takeKey(const KeyboardMessage& key) override;

  private:
    EventRecorder& recorder_;
};

}  // namespace desk
