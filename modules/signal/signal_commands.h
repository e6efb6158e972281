// The browser's signal commands, and what they ask of the loggers. Connection thread, except where
// it says otherwise.
#pragma once

#include <string>

#include "json/document.h"

#include "modules/signal/signal_data.h"

/// Asks every logger for its signals, unless that is under way. Waits up to `waitCount` * 100 ms
/// for the neighbour list, but not for the signals.
void getSignalNames(int waitCount);
/// Asks one logger for its signals, changes no state and does not wait. Any thread of the session.
void getSignalNames(const std::string& logger);

/// Whether the catalogue has the signal; answers `cmd` with an error when it has not.
bool checkSignal(const std::string& cmd, const SignalKey& key);

/// Each switches the forwarding of values at all loggers and answers the browser; stopping empties
/// the catalogue, too.
void signal_forwarding_start();
void signal_forwarding_stop();

/// Each changes what the browser receives and answers it. `interval` changes nothing: the loggers'
/// own rate applies.
void start_signal(const SignalKey& key, int interval);
void stop_signal(const SignalKey& key);

/// Runs a command that begins with "generic_", which has a "signal_key": 1, or 2 when it ended with
/// an error.
int runGenericCommand(const std::string& cmd, const Document& doc);
