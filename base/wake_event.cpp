#include "base/wake_event.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace websocket {

WakeEvent::WakeEvent() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

WakeEvent::~WakeEvent() {
    close(descriptor_);
}

void WakeEvent::raise() {
    eventfd_write(descriptor_, 1);
}

void WakeEvent::lower() {
    eventfd_t count;
    eventfd_read(descriptor_, &count);
}

}  // namespace websocket
