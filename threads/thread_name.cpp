#include "threads/thread_name.h"

#include <sys/prctl.h>

#include <array>
#include <cstdio>

#include "threads/connection_id.h"

void setThreadName(const std::string& name, const _WebSocketServer* server) {
    std::array<char, 64> full{};  // the kernel keeps less
    std::snprintf(full.data(), full.size(), "%s_%ld", name.c_str(), klv::connectionId(server));
    prctl(PR_SET_NAME, full.data(), 0, 0, 0);
}

std::string getThreadName() {
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data(), 0, 0, 0);
    return name.data();
}
