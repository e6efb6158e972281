// Writes what the corpora begin with that no text editor writes: a message of every type, plain and
// as events of a session.
//
//   fuzz_seeds <directory of the corpora>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "krpbus/messages/byte_writer.h"
#include "tests/krpbus/messages/message_samples.h"

namespace {

void write(const std::filesystem::path& file, const std::string& content) {
    std::string name = file.filename();
    std::replace(name.begin(), name.end(), ' ', '_');
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file.parent_path() / name, std::ios::binary) << content;
}

/// An event of handle_session.
std::string event(char kind, const std::string& bytes) {
    return std::string{kind, static_cast<char>(bytes.size() / 256),
                       static_cast<char>(bytes.size() % 256)} +
           bytes;
}

std::string command(const std::string& members) {
    return event(0, "{\"command\":" + members + "}");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const std::filesystem::path corpora = argv[1];
    // What makes each module wait for an answer, or takes live data.
    const std::string asking =
        command(R"("get_signal_names")") + command(R"("get_bus_names")") +
        command(R"("busload_start")") + command(R"("get_trigger")") +
        command(R"("get_audio_list")") + command(R"("get_rcmonitor_names")") +
        command(R"("start_monitor")") +
        command(R"("generic_start_sig","signal_key":["Speed","02:00:00:00:00:01"])");
    for (const MessageSample& sample : messageSamples()) {
        ByteWriter writer;
        sample.message->encode(writer);
        const std::string bytes(reinterpret_cast<const char*>(writer.bytes().data()),
                                writer.bytes().size());
        write(corpora / "decode_message" / sample.name, bytes);
        write(corpora / "handle_session" / sample.name, asking + event(4, bytes) + event(4, bytes));
    }
    write(corpora / "handle_session" / "upload",
          command(R"("upload_audio_file","name":"n","file_extension":"wav","marker_id":"m",)"
                  R"("start_time":1,"end_time":2)") +
              event(2, "RIFF") + command(R"("cancel_data_upload")"));
    write(corpora / "handle_session" / "reconnect", asking + event(3, "abc") + asking);
    return 0;
}
