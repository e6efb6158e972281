// Feeds arbitrary text frames to a whole session.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "fuzz/session.h"
#include "modules/audio/upload_info.h"

/// The first byte chooses the session's state, the others are the frame.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto* const session = new FuzzSession;
    if (size == 0) {
        return 0;
    }
    session->begin((data[0] & 1U) != 0);
    if ((data[0] & 2U) != 0) {
        uploadfileInfo.announce(std::make_shared<UploadInfoAudio>("n", "wav", 1U, 2U, "m"));
    }
    session->text({reinterpret_cast<const char*>(data) + 1, size - 1});
    session->end();
    return 0;
}
