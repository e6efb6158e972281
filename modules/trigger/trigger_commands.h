// Setting a trigger, and asking for events.
#pragma once

#include <string>

#include "json/document.h"

/// Sets a trigger with the request's "marker_id": an event for this logger, a key press for all of
/// them. The browser is answered when the event service tells of the event. Connection thread.
void setTrigger(const Document& doc);

/// Asks this logger's event service for the current index. Connection thread.
void getTriggerCount();

/// Asks all loggers for their events unless that is under way, then waits up to waitCount * 100 ms
/// for all answers, and tells the browser when that was in vain. Either thread; the bus thread must
/// not wait (0).
void getTrigger(int waitCount);

/// Asks one logger again. Does not wait. Any thread.
void getTrigger(const std::string& sourceMac);
