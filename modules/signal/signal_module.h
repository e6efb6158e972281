// Signals and their live values: what the rest of the plug-in uses of them.
#pragma once

#include "modules/signal/signal_catalogue.h"  // IWYU pragma: export
#include "modules/signal/signal_commands.h"   // IWYU pragma: export
#include "modules/signal/signal_responses.h"  // IWYU pragma: export
