// Passes a fixed number of values from the bus's bytes to the browser's text, for a count of the
// instructions that this takes.
#include <cstdlib>

#include "bench/path/signal_value_path.h"

int main() {
    constexpr int kWarmUp = 2000;
    constexpr int kValues = 20000;  // the count is divided by this
    SignalValuePath path;
    for (int i = 0; i < kWarmUp + kValues; ++i) {
        if (i < kWarmUp) {
            path.warmUp();
        } else {
            path.pass();
        }
    }
    return path.bytesSent() > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
