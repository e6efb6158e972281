#pragma once

#include "host/apache/directives.h"

namespace websocket {

/// Whether the page that this handshake comes from may connect. Browsers always name it; who does
/// not is no browser, and no page can lead him here against his user's will.
bool originAllowed(request_rec* request, const Directives& directives);

}  // namespace websocket
