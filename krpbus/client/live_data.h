// Live data that a logger sends once for all sessions of a logger network that want it.
#pragma once

namespace krpbus {

/// What it is about; a client takes the one without the other.
enum class LiveData {
    Signals,  // values of signals, from "77-LVStartSignals" on
    Loads,    // loads of buses and states of GPS receivers, from "75-LVStartBusload" on
};

/// Whose clients a publication is for: the sender's own logger calls itself the local one to them,
/// and has an offset for all others.
enum class LiveReach { OwnLogger, OtherLoggers };

}  // namespace krpbus
