// The commands of the remote-control monitor. Every request goes to the local logger only.
// Connection thread; without a bus nothing is sent.
#pragma once

#include "json/document.h"

class KRPBusClient;

/// Asks for the list of monitors; the answer comes through handleMonitorMessages. `client` may be
/// null.
void getRCMonitorNames(KRPBusClient* client);
void startMonitor();
void stopMonitor();
/// Selects the screen "index", a text of one digit. Anything else is answered as an error.
void requestScreen(const Document& doc);
