#include "desk/network/membership.h"

#include <memory>
#include <utility>

#include "base/log.h"
#include "desk/network/notices.h"
#include "krpbus/address/ksl_util.h"
#include "krpbus/messages/message_ids.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"

namespace desk {

namespace {

/// How long the members may take to show themselves to a newcomer.
constexpr Milliseconds kWelcome{300};
/// Several newcomers within this time get one answer, each of which goes to everybody: with many
/// loggers that start together it would otherwise be as many as there are loggers, cubed. A third
/// of the time that a newcomer waits.
constexpr Milliseconds kGather{100};
/// Several changes within this time are told as one: a browser starts anew for each.
constexpr Milliseconds kSettle{50};

std::string joinTexts(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : ", ") + text;
    }
    return result.empty() ? "none" : result;
}

}  // namespace

Membership::Membership(KRPBusClient& bus, Agenda& agenda, const Times& times, Events events)
    : bus_(bus),
      agenda_(agenda),
      times_(times),
      events_(std::move(events)),
      neighbours_(times.heartbeat, times.timeout) {}

void Membership::join() {
    bus_.registerNetworkBus(std::string(kHeartbeatBus));
    state_ = State::Asking;
    beat();
}

void Membership::leave() {
    if (state_ == State::Member || state_ == State::Opening) {
        send(Heartbeat::Kind::Leave);
    }
    state_ = State::Gone;
}

void Membership::beat() {
    if (state_ == State::Gone) {
        return;
    }
    if (neighbours_.expire(Clock::now())) {
        neighboursChanged();
    }
    send(state_ == State::Asking ? Heartbeat::Kind::Join : Heartbeat::Kind::Alive);
    agenda_.after(times_.heartbeat, [this] { beat(); });
}

void Membership::send(Heartbeat::Kind kind) {
    if (bus_.isConnected()) {
        bus_.sendToBus(bus_.getName(), std::string(kHeartbeatBus),
                       std::make_unique<SystemMessage>(SystemMessage::SM_KSL_HEARTBEAT,
                                                       Heartbeat{kind, instance_}.toText()));
    }
}

void Membership::take(const MessageBase& message) {
    if (state_ == State::Outside || state_ == State::Gone) {
        return;
    }
    const auto heartbeat =
        Heartbeat::fromText(dynamic_cast<const SystemMessage&>(message).getText());
    unsigned char link = 0;
    std::string mac;
    if (!KSLUtil::parseForwardMsgAddr(message.getSource(), link, mac)) {
        mac = bus_.getMac();
    }
    if (mac != bus_.getMac()) {
        takeOfOther(mac, heartbeat);
    } else if (heartbeat.instance == instance_) {
        takeOwn(heartbeat);
    } else {
        takeOfSameMac(heartbeat);
    }
}

void Membership::takeOwn(const Heartbeat& heartbeat) {
    neighbours_.ownHeartbeatCameBack(Clock::now());
    if (state_ == State::Asking && !waitsForMembers_) {
        waitForMembers();
    } else if (state_ == State::Opening && heartbeat.kind == Heartbeat::Kind::Alive) {
        state_ = State::Member;
        if (!neighbours_.macs().empty()) {
            announceNeighbours();
        }
        events_.joined();
    }
}

void Membership::waitForMembers() {
    waitsForMembers_ = true;
    agenda_.after(kWelcome, [this] {
        if (state_ == State::Asking) {
            open();
        }
    });
}

void Membership::open() {
    state_ = State::Opening;
    events_.open();
    send(Heartbeat::Kind::Alive);
}

/// A member stays when another one comes. Of two that join at the same time the one that was
/// started first stays.
void Membership::takeOfSameMac(const Heartbeat& heartbeat) {
    const bool isMember = heartbeat.kind == Heartbeat::Kind::Alive;
    if (heartbeat.kind == Heartbeat::Kind::Leave) {
        return;
    }
    if (state_ == State::Asking) {
        if (isMember || heartbeat.instance < instance_) {
            refuse();
        } else {
            send(Heartbeat::Kind::Join);
        }
    } else if (!isMember) {
        send(Heartbeat::Kind::Alive);
    } else if (sameMac_.insert(heartbeat.instance).second) {
        LogUtil::log(LogLevel::Error, "takeHeartbeat",
                     "two loggers have the MAC address " + bus_.getMac() +
                         ": every request is answered twice; end one of them");
    }
}

void Membership::refuse() {
    state_ = State::Gone;
    LogUtil::log(LogLevel::Error, "joinNetwork",
                 "another logger has the MAC address " + bus_.getMac() +
                     " already; give this one another with --mac");
    events_.macTaken();
}

void Membership::takeOfOther(const std::string& mac, const Heartbeat& heartbeat) {
    if (!macaddr_t::parse(mac)) {
        return;
    }
    switch (heartbeat.kind) {
        case Heartbeat::Kind::Join:
            answerNewcomers();
            break;
        case Heartbeat::Kind::Alive:
            if (neighbours_.heard(mac, heartbeat.instance, Clock::now())) {
                neighboursChanged();
            }
            break;
        case Heartbeat::Kind::Leave:
            if (neighbours_.left(mac, heartbeat.instance)) {
                neighboursChanged();
            }
            break;
    }
}

void Membership::answerNewcomers() {
    if (!answerDue_ && state_ == State::Member) {
        answerDue_ = true;
        agenda_.after(kGather, [this] {
            answerDue_ = false;
            if (state_ == State::Member) {
                send(Heartbeat::Kind::Alive);
            }
        });
    }
}

void Membership::busCameBack() {
    neighbours_.busCameBack(Clock::now());
    if (state_ == State::Member) {
        send(Heartbeat::Kind::Alive);
    }
}

/// Even when the set is soon what it was before: somebody may have asked in between.
void Membership::neighboursChanged() {
    if (!announcementDue_ && state_ == State::Member) {
        announcementDue_ = true;
        agenda_.after(kSettle, [this] { announceNeighbours(); });
    }
}

void Membership::announceNeighbours() {
    announcementDue_ = false;
    if (state_ == State::Member) {
        sendNetworkNotice(bus_, "neighbours: " + joinTexts(neighbours_.macs()));
    }
}

std::unique_ptr<KRPMessageResponse> Membership::answer(const KRPMessageRequest& request) {
    if (request.getKrpMsgID() != 88) {
        return nullptr;
    }
    return std::make_unique<StringVectorMessageResponse<KRP_GET_KSL_NEIGHBOURS>>(
        neighbours_.macs());
}

}  // namespace desk
