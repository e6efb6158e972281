// The commands about the logger network as a whole.
#pragma once

#include <string>

#include "json/document.h"

/// Runs the command when it is one of this module's; 1 when it was, 0 otherwise. Connection thread.
int wa_handle_message_common(const std::string& cmd, const Document& doc);

/// Each asks every logger of the network, then waits up to waitCount * 100 ms for the answers.
void getLoggerInfo(int waitCount);
void getLoggerStatus(int waitCount);
void getKslTimeOffset(int waitCount);

/// Each sends the same request to one logger and does not wait.
void getLoggerStatus(const std::string& mac);
void getTimeZone(const std::string& mac);
void getDeviceComponents(const std::string& mac);
void getLoggerConfig(const std::string& mac);
void getKslTimeOffset(const std::string& mac);
