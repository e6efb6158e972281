#include "host/apache/confinement.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <system_error>

#include "host/apache/landlock.h"
#include "host/apache/system_calls.h"
#include "host/apache/termination_signals.h"

namespace websocket {

namespace {

// A sanitizer takes memory by the terabyte and keeps books in files of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr int kVersionWithPorts = 4;

void limitMemory(apr_int64_t bytes) {
    if (bytes <= 0 || kSanitized) {
        return;
    }
    rlimit limit{};
    if (getrlimit(RLIMIT_DATA, &limit) != 0) {
        throw std::system_error(errno, std::generic_category(), "RLIMIT_DATA");
    }
    const auto wanted = static_cast<rlim_t>(bytes);
    limit.rlim_max = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(limit.rlim_max, wanted);
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_DATA, &limit) != 0) {
        throw std::system_error(errno, std::generic_category(), "RLIMIT_DATA");
    }
}

bool isConfinedByPaths(const Directives& directives) {
    return directives.readPaths != nullptr || directives.makePaths != nullptr ||
           directives.writePaths != nullptr || directives.connectPorts != nullptr;
}

void allowAll(Landlock& landlock, const apr_array_header_t* paths, Landlock::Access access) {
    for (int i = 0; paths != nullptr && i < paths->nelts; ++i) {
        landlock.allow(APR_ARRAY_IDX(paths, i, const char*), access);
    }
}

void restrictFiles(const Directives& directives) {
    if (!isConfinedByPaths(directives) || Landlock::version() == 0 || kSanitized) {
        return;
    }
    const apr_array_header_t* ports = directives.connectPorts;
    Landlock landlock(ports != nullptr);
    allowAll(landlock, directives.readPaths, Landlock::Access::Read);
    allowAll(landlock, directives.makePaths, Landlock::Access::Make);
    allowAll(landlock, directives.writePaths, Landlock::Access::Write);
    for (int i = 0; ports != nullptr && i < ports->nelts; ++i) {
        landlock.allowConnect(APR_ARRAY_IDX(ports, i, std::uint16_t));
    }
    landlock.enforce();
}

}  // namespace

bool confineProcess(const request_rec* request, const Directives& directives) {
    if (!TerminationSignals::processEndsAfterwards()) {
        return true;
    }
    try {
        limitMemory(directives.memoryLimit);
        restrictFiles(directives);
        if (directives.systemCalls == SystemCalls::Restricted && !kSanitized) {
            restrictSystemCalls();
        }
        return true;
    } catch (const std::exception& e) {
        ap_log_rerror(APLOG_MARK, APLOG_ERR, 0, request,
                      "WS401: the process could not be confined, the websocket is refused: %s",
                      e.what());
        return false;
    }
}

void tellWhatKernelLacks(const server_rec* server) {
    if (!confinementIsConfigured() || kSanitized) {
        return;
    }
    const int version = Landlock::version();
    if (version == 0) {
        ap_log_error(APLOG_MARK, APLOG_WARNING, 0, server,
                     "WS402: this kernel has no Landlock: files are not confined to "
                     "WebSocketReadPath, WebSocketMakePath and WebSocketWritePath, nor ports to "
                     "WebSocketConnectPort");
    } else if (version < kVersionWithPorts) {
        ap_log_error(APLOG_MARK, APLOG_WARNING, 0, server,
                     "WS402: this kernel has Landlock in version %d: ports are not confined to "
                     "WebSocketConnectPort",
                     version);
    }
}

}  // namespace websocket
