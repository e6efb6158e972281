// Feeds the reader of recordings with anything. What it takes must fit together.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "desk/sources/recording.h"
#include "fuzz/memory_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    try {
        const desk::Recording recording = desk::readRecording(file.with(data, size));
        for (std::size_t i = 0; i < recording.rows.size(); ++i) {
            if (recording.rows[i].values.size() != recording.signals.size() ||
                recording.rows[i].loads.size() != recording.buses.size() ||
                desk::untilRowAfter(recording, i).count() < 0) {
                std::abort();
            }
        }
    } catch (const std::invalid_argument&) {
        return 0;  // says what is wrong
    }
    return 0;
}
