// One logger of a network that lives on a desk.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "desk/command_input.h"
#include "desk/loop/agenda.h"
#include "desk/loop/posix_signals.h"
#include "desk/network/forwarder.h"
#include "desk/network/membership.h"
#include "desk/network/request_answering.h"
#include "desk/options.h"
#include "desk/services/audio_service.h"
#include "desk/services/audio_store.h"
#include "desk/services/busload_service.h"
#include "desk/services/event_service.h"
#include "desk/services/event_store.h"
#include "desk/services/logger_info_service.h"
#include "desk/services/monitor_service.h"
#include "desk/services/outbox.h"
#include "desk/services/signal_service.h"
#include "desk/services/vehicle_triggers.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Puts the services together and runs them on one thread.
class DeskLogger {
  public:
    /// A connected client. All three must outlive the logger.
    DeskLogger(const Options& options, KRPBusClient& bus, PosixSignals& signals);

    /// Joins the network, answers until it is asked to end, and leaves. Returns the exit code.
    int run();

  private:
    /// Waits until something has happened or the next action is due.
    void wait();
    void takePosixSignals();
    void readCommands();
    void readBus();
    void readMissing();
    void watchConnection();
    void handle(const MessageBase& message);
    void dispatch(const MessageBase& message);
    bool takenByService(const MessageBase& message);
    void handleAnnouncement(const MessageBase& message);
    void runCommand(const std::string& command);

    void openParticipants();
    void startSources();
    void pollFrames();
    void joined();
    void end(int exitCode);

    const Options& options_;
    KRPBusClient& bus_;
    PosixSignals& signals_;
    CommandInput commands_;
    Agenda agenda_;
    Membership membership_;
    Forwarder forwarder_;
    LoggerInfoService loggerInfo_;
    Outbox outbox_;
    SignalService signalService_;
    BusloadService busloadService_;
    EventStore eventStore_;
    EventRecorder eventRecorder_;
    EventService eventService_;
    RepeatedEventRequests repeatedEventRequests_;
    KeyService keyService_;
    AudioStore audioStore_;
    AudioService audioService_;
    MonitorService monitorService_;
    VehicleTriggers vehicleTriggers_;
    std::vector<Service*> services_;
    RequestAnswering requests_;
    std::uint32_t connection_ = 0;  // the bus client's connection count, as last seen
    bool busIsGone_ = false;
    bool commandsWait_ = false;
    bool ended_ = false;
    int exitCode_ = kExitOk;
};

}  // namespace desk
