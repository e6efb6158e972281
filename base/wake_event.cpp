#include "base/wake_event.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace base {

WakeEvent::WakeEvent() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_.get() < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

/// The descriptor never waits, so nothing interrupts these.
void WakeEvent::raise() {
    ::eventfd_write(event_.get(), 1);
}

void WakeEvent::lower() {
    eventfd_t count = 0;
    ::eventfd_read(event_.get(), &count);
}

}  // namespace base
