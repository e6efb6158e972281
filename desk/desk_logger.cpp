#include "desk/desk_logger.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <iostream>
#include <mutex>

#include "base/log.h"
#include "desk/gps/gpsd_client.h"
#include "desk/network/notices.h"
#include "desk/sources/can_feed.h"
#include "desk/sources/source_factory.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_set_state_message.h"

namespace desk {

namespace {

/// How often to look whether the bus server is back; its descriptor is readable all the while.
constexpr Milliseconds kLookForBus{100};

/// What is due is done after so many messages, however many more wait: a logger that is asked
/// without end must still show that it is there.
constexpr int kMessagesAtOnce = 256;

/// How often the frames of buses are looked at where nobody else asks for them.
constexpr Milliseconds kFramePeriod{20};

int pollTimeout(const Agenda& agenda, bool busIsGone) {
    Clock::duration longest = std::chrono::minutes(1);
    if (busIsGone) {
        longest = kLookForBus;
    }
    if (const auto next = agenda.next()) {
        longest = std::clamp<Clock::duration>(*next - Clock::now(), Clock::duration(0), longest);
    }
    // Rounded up: waking a moment early would mean waking twice.
    return static_cast<int>(std::chrono::ceil<Milliseconds>(longest).count());
}

}  // namespace

DeskLogger::DeskLogger(const Options& options, KRPBusClient& bus, PosixSignals& signals)
    : options_(options),
      bus_(bus),
      signals_(signals),
      commands_(options.readCommands ? STDIN_FILENO : -1),
      membership_(
          bus, agenda_, {options.heartbeat, options.neighboursTimeout},
          {[this] { openParticipants(); }, [this] { joined(); }, [this] { end(kExitMacTaken); }}),
      forwarder_(bus, membership_.neighbours()),
      loggerInfo_(options.identity),
      outbox_(bus, agenda_),
      signalService_(bus, agenda_, outbox_, makeSignalSource(options.source, options.rate),
                     readingRate(options.source, options.rate), options.identity.networkOffset,
                     Stagger(options.identity.mac)),
      busloadService_(bus, agenda_, outbox_, makeBusSource(options.source), options.rate,
                      options.identity.networkOffset, Stagger(options.identity.mac)),
      eventStore_(options.eventFile, options.eventCap),
      eventRecorder_(bus, eventStore_, options.identity),
      eventService_(eventRecorder_, eventStore_),
      repeatedEventRequests_(eventStore_),
      keyService_(eventRecorder_),
      audioStore_(options.audioDirectory, options.uploader),
      audioService_(audioStore_, options.uploadDirectory),
      monitorService_(bus, agenda_, makeSignalSource(options.source, options.rate),
                      readingRate(options.source, options.rate), Stagger(options.identity.mac)),
      vehicleTriggers_(options.triggers, options.source.can.get(), eventRecorder_),
      services_{&loggerInfo_,     &membership_,   &signalService_,
                &busloadService_, &eventService_, &repeatedEventRequests_,
                &keyService_,     &audioService_, &monitorService_},
      requests_(bus, agenda_, options.scenario, options.latency, services_,
                [this] { end(kExitOk); }),
      connection_(bus.getConnectionCount()) {}

int DeskLogger::run() {
    membership_.join();
    while (!ended_) {
        wait();
        takePosixSignals();
        readCommands();
        readBus();
        readMissing();
        watchConnection();
        if (!ended_) {
            agenda_.runDue(Clock::now());
        }
    }
    membership_.leave();
    return exitCode_;
}

void DeskLogger::wait() {
    std::array<pollfd, 3> waiting{{{signals_.fd(), POLLIN, 0},
                                   {commands_.fd(), POLLIN, 0},
                                   {busIsGone_ ? -1 : bus_.getFd(), POLLIN, 0}}};
    poll(waiting.data(), waiting.size(), pollTimeout(agenda_, busIsGone_));
    commandsWait_ = waiting[1].revents != 0;
}

void DeskLogger::takePosixSignals() {
    while (const auto number = signals_.next()) {
        if (*number == SIGUSR1) {
            sendStateNotice(bus_, "1-config");
        } else if (*number == SIGUSR2) {
            sendStateNotice(bus_, "8-loggerOff");
        } else if (*number == SIGRTMIN) {
            sendStateNotice(bus_, "3-stop");
        } else {
            end(kExitOk);
        }
    }
}

void DeskLogger::readCommands() {
    if (!commandsWait_) {
        return;
    }
    for (const std::string& command : commands_.readLines()) {
        runCommand(command);
    }
}

void DeskLogger::runCommand(const std::string& command) {
    static constexpr std::string_view kNotify = "notify ";
    if (command == "leave") {
        end(kExitOk);
    } else if (command.starts_with(kNotify) && isLoggerState(command.substr(kNotify.size()))) {
        sendStateNotice(bus_, command.substr(kNotify.size()));
    } else if (!command.empty()) {
        LogUtil::log(LogLevel::Error, "runCommand",
                     "\"" + command + "\" is not a command like: notify 1-config, or: leave");
    }
}

void DeskLogger::readBus() {
    const bool isGone = !bus_.read();
    if (isGone != busIsGone_) {
        busIsGone_ = isGone;
        LogUtil::log(isGone ? LogLevel::Error : LogLevel::Info, "readBus",
                     isGone ? "the bus server has gone; trying to reach it again"
                            : "the bus server is back");
    }
    for (int handled = 0; handled < kMessagesAtOnce && !ended_; ++handled) {
        const std::unique_ptr<MessageBase> message = bus_.getMessage();
        if (!message) {
            return;
        }
        handle(*message);
    }
}

void DeskLogger::readMissing() {
    for (const std::string& address : bus_.takeVanished()) {
        for (Service* service : services_) {
            service->clientMissing(address);
        }
    }
}

/// Also sees a connection that was lost and made again between two looks.
void DeskLogger::watchConnection() {
    const std::uint32_t connection = bus_.getConnectionCount();
    if (connection != connection_) {
        connection_ = connection;
        membership_.busCameBack();
    }
}

/// One message that nobody expected must not end the logger.
void DeskLogger::handle(const MessageBase& message) {
    try {
        dispatch(message);
    } catch (const std::exception& failure) {
        LogUtil::log(LogLevel::Error, "handle",
                     std::string(failure.what()) + " at " + message.toString());
    }
}

void DeskLogger::dispatch(const MessageBase& message) {
    if (isHeartbeat(message)) {
        membership_.take(message);
    } else if (const auto* request = dynamic_cast<const KRPMessageRequest*>(&message)) {
        requests_.handle(*request);
    } else if (const auto* router = dynamic_cast<const RouterMessage*>(&message);
               router != nullptr && message.getDestination() == kKslForwarder) {
        forwarder_.forward(*router);
    } else if (message.getDestination() == kKrpBusServer) {
        handleAnnouncement(message);
    } else if (takenByService(message)) {
        return;
    } else if (!message.getDestination().empty()) {
        LogUtil::log(LogLevel::Debug, "dispatch",
                     "nothing to do for " + message.getDestination() + ": " + message.toString());
    }
}

bool DeskLogger::takenByService(const MessageBase& message) {
    const auto* const notice = dynamic_cast<const SystemMessage*>(&message);
    const auto* const key = dynamic_cast<const KeyboardMessage*>(&message);
    return std::any_of(services_.begin(), services_.end(), [&](Service* service) {
        return service->participant() == message.getDestination() &&
               ((notice != nullptr && service->takeNotice(*notice)) ||
                (key != nullptr && service->takeKey(*key)));
    });
}

/// What is said to the bus server of this logger.
void DeskLogger::handleAnnouncement(const MessageBase& message) {
    const auto* const system = dynamic_cast<const SystemMessage*>(&message);
    if (system != nullptr && system->getType() == SystemMessage::SM_STATE &&
        isLoggerState(system->getText())) {
        sendStateNotice(bus_, system->getText());
        return;
    }
    LogUtil::log(LogLevel::Debug, "handleAnnouncement",
                 message.getSource() + " announces " + message.toString());
}

void DeskLogger::openParticipants() {
    for (const std::string_view name :
         {kHandheldServer, kEventHandler, kOnlineProcessor, kKslForwarder, kKrpBusServer}) {
        bus_.addParticipant(std::string(name));
    }
}

/// A file waits for the first one who looks, unless its values set markers; what comes from buses
/// comes when it does.
void DeskLogger::startSources() {
    const Source& source = options_.source;
    if (source.gps) {
        source.gps->start();
    }
    if (source.can) {
        const bool isFile = source.interfaces.empty() && source.file != "-";
        if (!isFile || !options_.triggers.empty()) {
            source.can->start();
        }
        pollFrames();
    }
}

void DeskLogger::pollFrames() {
    options_.source.can->poll();
    agenda_.after(kFramePeriod, [this] { pollFrames(); });
}

void DeskLogger::joined() {
    startSources();
    for (const TimedNotice& notice : options_.notices) {
        agenda_.after(notice.after, [this, &notice] { sendStateNotice(bus_, notice.state); });
    }
    if (options_.scenario.leaveAfter) {
        agenda_.after(*options_.scenario.leaveAfter, [this] { end(kExitOk); });
    }
    if (options_.scenario.dieAfter) {
        agenda_.after(*options_.scenario.dieAfter, [] { std::raise(SIGKILL); });
    }
    const MutexLocker lock(LogUtil::logMutex);
    std::cout << "desklogger " << bus_.getMac() << " ready" << std::endl;
}

void DeskLogger::end(int exitCode) {
    ended_ = true;
    exitCode_ = exitCode;
}

}  // namespace desk
