// One message of every type, with every field set.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "krpbus/messages/message_base.h"

struct MessageSample {
    std::string name;  // as docs/bus.md calls it
    std::unique_ptr<MessageBase> message;
};

std::vector<MessageSample> messageSamples();
