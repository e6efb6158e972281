#include "plugin/diagnostics.h"

#include <cstdio>
#include <string>

#include "threads/connection_id.h"

void print_buffer(const unsigned char* buffer, int size) {
    std::string text;
    if (buffer != nullptr && size > 0) {
        text.reserve(static_cast<std::size_t>(size) + 1);
        text.assign(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(size));
    }
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void print_connection_info(const _WebSocketServer* server) {
    std::fprintf(stderr, "connection id: %llu\n",
                 static_cast<unsigned long long>(klv::connectionId(server)));
    std::fflush(stderr);
}
