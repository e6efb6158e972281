// How names become subjects of the bus server, and back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "krpbus/client/live_data.h"

namespace krpbus {

/// A participant as a subject names it.
struct SubjectAddress {
    std::string mac;
    std::string participant;
};

/// Appends a name as one token of a subject: every byte that a token may not hold is written as "%"
/// and two upper-case hexadecimal digits, and an empty name as "%" alone.
void appendToken(std::string& subject, std::string_view name);

/// The name that a token stands for; nothing when it was not made by appendToken().
std::optional<std::string> decodeToken(std::string_view token);

/// "krp.<mac>.to.<participant>"
std::string participantSubject(std::string_view mac, std::string_view participant);
/// "krp.<mac>.bus.<bus>"; with an empty `mac` the wildcard for all loggers, for subscriptions only.
std::string busSubject(std::string_view mac, std::string_view bus);
/// "krp.<mac>.bus.live.signals.own" and so on: where a logger sends live data once for all; with an
/// empty `mac` the wildcard for all loggers, for subscriptions only. Like what goes to a bus of the
/// logger in that who may hear its buses may hear it.
std::string liveSubject(std::string_view mac, LiveData data, LiveReach reach);
/// Whether a subject is one of these.
bool isLiveSubject(std::string_view subject);
/// "krp.<mac>.all"
std::string everybodySubject(std::string_view mac);
/// The subject that the bus server answers a probe of `address` on, and, without an address, the
/// wildcard for all of them.
std::string probeSubject(std::string_view mac, std::string_view participant,
                         std::string_view address);
std::string probeWildcard(std::string_view mac, std::string_view participant);

/// The participant that a subject of the form participantSubject() belongs to; nothing for any
/// other subject.
std::optional<SubjectAddress> parseParticipantSubject(std::string_view subject);
/// The address probed that a subject of the form probeSubject() belongs to.
std::optional<std::string> parseProbeSubject(std::string_view subject);

}  // namespace krpbus
