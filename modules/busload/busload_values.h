// The last load figure of every bus and the GPS state of every logger.
//
// All of it is guarded by one module mutex, held for the whole of each operation here, the sending
// included: the browser gets the figures of a bus in the order in which they were stored. Whatever
// sends must therefore not be called with a lock that an answer's building takes (the network
// record's), and nothing here takes the catalogue's mutex while it holds its own.
#pragma once

#include <string>

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"

/// Stores a figure and shows it to the browser when the value is another one than before. Figures
/// of buses that no catalogue has listed are dropped; MOST figures are shown and not kept. Bus
/// thread.
void updateBusValue(const BusLoadExtMessage* message, const std::string& source);

/// The same for a logger's GPS state. Bus thread.
void updateBusValueGps(const GPSTraceMessage* message, const std::string& source);

/// Shows the current value of every bus. Any thread of the session.
void sendBusValues();

/// Takes the buses of the catalogue over that are not known yet, unknown at first, and shows
/// nothing: their figures count from now on. Any thread of the session.
void addCatalogueBuses();

/// The same, then shows every bus of the catalogue and every GPS state. Any thread of the session.
void sendInitialValues();

/// Makes every value unknown and shows the buses. Any thread of the session.
void busloadSetUnknown();
