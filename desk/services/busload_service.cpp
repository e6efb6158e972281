#include "desk/services/busload_service.h"

#include <utility>

#include "base/clock.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/krp_get_bus_names.h"

namespace desk {

namespace {

Clock::duration periodOf(double rate) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1.0 / rate));
}

/// The request's parameter: whether only the buses in use are wanted.
bool activeOnly(const KRPMessageRequest& request) {
    return !request.payload.empty() && request.payload.front() != 0;
}

}  // namespace

BusloadService::BusloadService(KRPBusClient& bus, Agenda& agenda, Outbox& outbox,
                               std::unique_ptr<BusSource> source, std::optional<double> rate,
                               std::uint8_t networkOffset, const Stagger& stagger)
    : bus_(bus),
      agenda_(agenda),
      outbox_(outbox),
      source_(std::move(source)),
      period_(periodOf(rate.value_or(kUsualRate))),
      networkOffset_(networkOffset),
      stagger_(stagger),
      audience_(bus, agenda) {}

/// To its own clients a logger is the local one; to those of other loggers it has its offset.
std::uint8_t BusloadService::offsetFor(const std::string& client) const {
    return KSLUtil::splitAddress(client) ? networkOffset_ : std::uint8_t{0};
}

std::unique_ptr<KRPMessageResponse> BusloadService::answer(const KRPMessageRequest& request) {
    if (request.getKrpMsgID() != KRPResponseGetBusNames::kId) {
        return nullptr;
    }
    auto answer = std::make_unique<KRPResponseGetBusNames>();
    source_->list();
    for (const Bus& bus : source_->buses()) {
        if (bus.inUse || !activeOnly(request)) {
            answer->busNames.push_back(bus.name);
            answer->busNames.back().kslOffset = offsetFor(request.getSource());
        }
    }
    return answer;
}

bool BusloadService::takeNotice(const SystemMessage& notice) {
    if (notice.getType() != SystemMessage::SM_STATE) {
        return false;
    }
    if (notice.getText() == "75-LVStartBusload") {
        start(notice.getSource(), notice.takesShared());
        return true;
    }
    if (notice.getText() == "76-LVStopBusload") {
        audience_.remove(notice.getSource());
        return true;
    }
    return false;
}

void BusloadService::start(const std::string& client, bool takesShared) {
    audience_.add(client, takesShared);
    if (runs_) {
        return;
    }
    runs_ = true;
    source_->begin();
    begin_ = Clock::now();
    due_ = stagger_.begin(begin_, period_);
    if (due_ == begin_) {
        due_ += period_;
    }
    agenda_.at(due_, [this] { sendDue(); });
}

/// A logger that has fallen behind leaves figures out: the newest ones are what counts.
void BusloadService::sendDue() {
    const auto now = Clock::now();
    const auto time = std::chrono::duration_cast<BusSource::Duration>(now - begin_);
    const std::uint64_t timestamp = getTimeOfDay();
    readings_.clear();
    source_->read(time, readings_);
    const auto gps = source_->readGps(time);
    if (bus_.isConnected()) {  // else each figure would be one more line in the log
        for (const BusReading& reading : readings_) {
            send(figureOf(reading, timestamp));
        }
        if (gps) {
            send(stateOf(*gps, timestamp));
        }
    }
    runs_ = !audience_.empty();
    if (runs_) {
        due_ += (now - due_) / period_ * period_ + period_;
        agenda_.at(due_, [this] { sendDue(); });
    }
}

BusLoadExtMessage BusloadService::figureOf(const BusReading& reading,
                                           std::uint64_t timestamp) const {
    const KRPResponseGetBusNames::busName_t& name = source_->buses()[reading.bus].name;
    BusLoadExtMessage message;
    message.busId = name.busId;
    message.channel = name.channel;
    message.value = reading.value;
    message.timestamp = timestamp;
    message.unit = reading.unit;
    message.most = reading.most;
    return message;
}

GPSTraceMessage BusloadService::stateOf(const GpsReading& reading, std::uint64_t timestamp) {
    GPSTraceMessage message;
    message.timestamp = timestamp;
    message.gprmcStatus.assign(1, reading.hasFix ? 'A' : 'V');
    message.latitude = reading.latitude;
    message.longitude = reading.longitude;
    return message;
}

void BusloadService::send(BusLoadExtMessage figure) {
    const Audience::Reach& reach = audience_.reach();
    const auto with = [&figure](std::uint8_t offset) {
        figure.kslOffset = offset;
        return figure.clone();
    };
    for (const std::string& client : reach.each) {
        outbox_.add(client, with(offsetFor(client)));
    }
    if (reach.ownLogger) {
        outbox_.addForMany(krpbus::LiveData::Loads, {}, with(0));
    }
    if (!reach.otherLoggers.empty()) {
        outbox_.addForMany(krpbus::LiveData::Loads, reach.otherLoggers, with(networkOffset_));
    }
}

void BusloadService::send(const GPSTraceMessage& state) {
    const Audience::Reach& reach = audience_.reach();
    for (const std::string& client : reach.each) {
        outbox_.add(client, state.clone());
    }
    if (reach.ownLogger) {
        outbox_.addForMany(krpbus::LiveData::Loads, {}, state.clone());
    }
    if (!reach.otherLoggers.empty()) {
        outbox_.addForMany(krpbus::LiveData::Loads, reach.otherLoggers, state.clone());
    }
}

}  // namespace desk
