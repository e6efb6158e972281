// Feeds the reader of the logger network's configuration with anything.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/memory_file.h"
#include "krpbus/address/ksl_config_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    const KSLConfigFile config(file.with(data, size));
    if (!config.isReadable() &&
        (config.isEnabled() || config.isActive() || !config.getNetworkName().empty())) {
        std::abort();
    }
    return 0;
}
