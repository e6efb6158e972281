// Asking for bus names, and switching bus load on and off.
#pragma once

#include <string>

#include "json/document.h"

/// Asks all loggers for their bus names (request 81) unless that was done before. While the answers
/// are outstanding, waits up to waitCount * 100 ms for them. The browser is answered as they
/// arrive. Connection thread.
void getBusNames(unsigned char activeOnly, int waitCount);

/// The same with the request's optional "active".
void getBusNames(const Document& doc, int waitCount);

/// Asks one logger again, as the browser has asked last. Does not wait. Any thread.
void getBusNames(const std::string& logger);

/// Tells all loggers to report, and shows the browser what there is. Connection thread.
void busload_start();

/// Tells all loggers to stop reporting, and shows every bus as unknown. Connection thread.
void busload_stop();
