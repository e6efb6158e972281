#include "threads/thread_name.h"

#include <sys/prctl.h>

#include <array>

#include "threads/connection_id.h"

void setThreadName(const std::string& name, const _WebSocketServer* server) {
    const std::string full = name + "_" + std::to_string(klv::connectionId(server));
    prctl(PR_SET_NAME, full.c_str(), 0, 0, 0);
}

std::string getThreadName() {
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data(), 0, 0, 0);
    return name.data();
}
