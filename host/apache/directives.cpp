#include "host/apache/directives.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "host/apache/plugin_loader.h"
#include "host/apache/termination_signals.h"
#include "host/protocol/origin.h"
#include "host/protocol/token_list.h"

namespace websocket {

namespace {

constexpr apr_int64_t kDefaultMaxMessageSize = 32 * 1024 * 1024;
/// Half of what the machine can address: sizes are added to, and 32-bit machines count too.
constexpr apr_int64_t kLargestMaxMessageSize =
    sizeof(std::size_t) > 4
        ? std::numeric_limits<apr_int64_t>::max() / 2
        : static_cast<apr_int64_t>(std::numeric_limits<std::int32_t>::max() / 2);
constexpr apr_int64_t kDefaultMaxTextSize = 4 * 1024 * 1024;
/// Less, and no session would begin.
constexpr apr_int64_t kSmallestMemoryLimit = 64 * 1024 * 1024;
constexpr apr_int64_t kLargestMemoryLimit =
    sizeof(std::size_t) > 4 ? std::numeric_limits<apr_int64_t>::max() / 2
                            : static_cast<apr_int64_t>(std::numeric_limits<std::int32_t>::max());
constexpr apr_int64_t kLargestPingInterval = 24 * 60 * 60;
constexpr apr_int64_t kMostConnections = 8192;

/// Set while the configuration is read; the server unloads modules before it reads it again.
bool confinementWasAskedFor = false;

const char* parseNumber(const char* text, apr_int64_t lowest, apr_int64_t highest,
                        apr_int64_t& value) {
    char* end = nullptr;
    errno = 0;
    value = apr_strtoi64(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && value >= lowest && value <= highest
               ? nullptr
               : "not a number in range";
}

const char* setHandler(cmd_parms* command, void* record, const char* library, const char* init) {
    return loadPlugin(command, library, init, static_cast<Directives*>(record)->plugin);
}

const char* setSize(const cmd_parms* command, const char* text, apr_int64_t& size) {
    if (parseNumber(text, 1, kLargestMaxMessageSize, size) != nullptr) {
        return apr_psprintf(command->pool,
                            "%s takes a size in bytes from 1 to %" APR_INT64_T_FMT ", not \"%s\"",
                            command->cmd->name, kLargestMaxMessageSize, text);
    }
    return nullptr;
}

const char* setMaxMessageSize(cmd_parms* command, void* record, const char* text) {
    return setSize(command, text, static_cast<Directives*>(record)->maxMessageSize);
}

const char* setMaxTextSize(cmd_parms* command, void* record, const char* text) {
    return setSize(command, text, static_cast<Directives*>(record)->maxTextSize);
}

const char* setMemoryLimit(cmd_parms* command, void* record, const char* text) {
    auto& limit = static_cast<Directives*>(record)->memoryLimit;
    if (parseNumber(text, 0, kLargestMemoryLimit, limit) != nullptr ||
        (limit > 0 && limit < kSmallestMemoryLimit)) {
        return apr_psprintf(command->pool,
                            "%s takes bytes from %" APR_INT64_T_FMT " to %" APR_INT64_T_FMT
                            ", or 0 for no limit, not \"%s\"",
                            command->cmd->name, kSmallestMemoryLimit, kLargestMemoryLimit, text);
    }
    return nullptr;
}

const char* setPingInterval(cmd_parms* command, void* record, const char* text) {
    auto& directives = *static_cast<Directives*>(record);
    if (parseNumber(text, 0, kLargestPingInterval, directives.pingInterval) != nullptr) {
        return apr_psprintf(command->pool,
                            "%s takes seconds from 0 (none) to %" APR_INT64_T_FMT ", not \"%s\"",
                            command->cmd->name, kLargestPingInterval, text);
    }
    return nullptr;
}

const char* setOriginCheck(cmd_parms* command, void* record, const char* text) {
    auto& check = static_cast<Directives*>(record)->originCheck;
    if (equalIgnoringCase(text, "Same")) {
        check = OriginCheck::Same;
    } else if (equalIgnoringCase(text, "Trusted")) {
        check = OriginCheck::Trusted;
    } else if (equalIgnoringCase(text, "Off")) {
        check = OriginCheck::Off;
    } else {
        return apr_psprintf(command->pool, "%s takes Same, Trusted or Off, not \"%s\"",
                            command->cmd->name, text);
    }
    return nullptr;
}

/// All modules are loaded before a directive's function is called, wherever their lines stand.
const char* needProcessPerConnection(cmd_parms* command, void*, int on) {
    if (on == 0 || TerminationSignals::processIsOurs()) {
        return nullptr;
    }
    return apr_psprintf(
        command->pool,
        "%s is on here, since the plug-in can have one session in each process: it "
        "needs mpm_prefork, not mpm_%s, which serves many connections in one process "
        "(Debian: a2dismod mpm_event; a2enmod mpm_prefork)",
        command->cmd->name, ap_show_mpm());
}

const char* addTrustedOrigin(cmd_parms* command, void* record, const char* text) {
    auto& directives = *static_cast<Directives*>(record);
    if (!parseOrigin(text)) {
        return apr_psprintf(command->pool,
                            "%s takes origins like https://example.org:8443, not \"%s\"",
                            command->cmd->name, text);
    }
    if (directives.trustedOrigins == nullptr) {
        directives.trustedOrigins = apr_array_make(command->pool, 4, sizeof(const char*));
    }
    APR_ARRAY_PUSH(directives.trustedOrigins, const char*) = text;
    return nullptr;
}

const char* setMaxConnections(cmd_parms* command, void* record, const char* inAll,
                              const char* perAddress) {
    auto& limits = static_cast<Directives*>(record)->connections;
    limits.perAddress = 0;
    for (const auto& [text, value] :
         {std::pair{inAll, &limits.inAll}, {perAddress, &limits.perAddress}}) {
        if (text != nullptr && parseNumber(text, 0, kMostConnections, *value) != nullptr) {
            return apr_psprintf(command->pool,
                                "%s takes numbers from 0 (any) to %" APR_INT64_T_FMT
                                ", in all and from one address, not \"%s\"",
                                command->cmd->name, kMostConnections, text);
        }
    }
    return nullptr;
}

const char* setSystemCalls(cmd_parms* command, void* record, const char* text) {
    auto& calls = static_cast<Directives*>(record)->systemCalls;
    if (equalIgnoringCase(text, "All")) {
        calls = SystemCalls::All;
    } else if (equalIgnoringCase(text, "Restricted")) {
        calls = SystemCalls::Restricted;
    } else {
        return apr_psprintf(command->pool, "%s takes All or Restricted, not \"%s\"",
                            command->cmd->name, text);
    }
    return nullptr;
}

const char* addPath(const cmd_parms* command, const char* text, apr_array_header_t*& paths) {
    const char* path = ap_server_root_relative(command->pool, text);
    if (path == nullptr) {
        return apr_psprintf(command->pool, "%s: invalid path \"%s\"", command->cmd->name, text);
    }
    if (paths == nullptr) {
        paths = apr_array_make(command->pool, 16, sizeof(const char*));
    }
    APR_ARRAY_PUSH(paths, const char*) = path;
    confinementWasAskedFor = true;
    return nullptr;
}

const char* addReadPath(cmd_parms* command, void* record, const char* text) {
    return addPath(command, text, static_cast<Directives*>(record)->readPaths);
}

const char* addMakePath(cmd_parms* command, void* record, const char* text) {
    return addPath(command, text, static_cast<Directives*>(record)->makePaths);
}

const char* addWritePath(cmd_parms* command, void* record, const char* text) {
    return addPath(command, text, static_cast<Directives*>(record)->writePaths);
}

const char* addConnectPort(cmd_parms* command, void* record, const char* text) {
    auto*& ports = static_cast<Directives*>(record)->connectPorts;
    apr_int64_t port = 0;
    if (parseNumber(text, 1, std::numeric_limits<std::uint16_t>::max(), port) != nullptr) {
        return apr_psprintf(command->pool, "%s takes TCP ports from 1 to 65535, not \"%s\"",
                            command->cmd->name, text);
    }
    if (ports == nullptr) {
        ports = apr_array_make(command->pool, 4, sizeof(std::uint16_t));
    }
    APR_ARRAY_PUSH(ports, std::uint16_t) = static_cast<std::uint16_t>(port);
    confinementWasAskedFor = true;
    return nullptr;
}

/// What stands further inside, where anything does.
template <typename Given>
Given* inside(Given* inner, Given* outer) {
    return inner != nullptr ? inner : outer;
}

apr_int64_t inside(apr_int64_t inner, apr_int64_t outer) {
    return inner >= 0 ? inner : outer;
}

constexpr int kWhere = RSRC_CONF | ACCESS_CONF;

/// Apache keeps all its directives' functions as one type and calls them by their number of
/// arguments.
template <typename Function>
cmd_func asCommand(Function* function) {
    return reinterpret_cast<cmd_func>(reinterpret_cast<void (*)()>(function));
}

}  // namespace

const command_rec kDirectives[] = {
    AP_INIT_TAKE2("WebSocketHandler", asCommand(setHandler), nullptr, kWhere,
                  "the plug-in's shared library and the name of its init function"),
    AP_INIT_TAKE1("WebSocketMaxMessageSize", asCommand(setMaxMessageSize), nullptr, kWhere,
                  "the largest message that is taken, in bytes (default 33554432)"),
    AP_INIT_TAKE1("MaxMessageSize", asCommand(setMaxMessageSize), nullptr, kWhere,
                  "the same as WebSocketMaxMessageSize, for older configurations"),
    AP_INIT_TAKE1("WebSocketMaxTextSize", asCommand(setMaxTextSize), nullptr, kWhere,
                  "the largest text message that is taken, in bytes (default 4194304)"),
    AP_INIT_TAKE1(
        "WebSocketMemoryLimit", asCommand(setMemoryLimit), nullptr, kWhere,
        "how much memory a process may use from its first websocket on, in bytes (default "
        "0, no limit)"),
    AP_INIT_TAKE1(
        "WebSocketOriginCheck", asCommand(setOriginCheck), nullptr, kWhere,
        "which pages may connect: Same (those of this server, the default), Trusted (those of "
        "WebSocketTrustedOrigin), Off (all)"),
    AP_INIT_ITERATE("WebSocketTrustedOrigin", asCommand(addTrustedOrigin), nullptr, kWhere,
                    "origins whose pages may connect with WebSocketOriginCheck Trusted"),
    AP_INIT_TAKE1("WebSocketPingInterval", asCommand(setPingInterval), nullptr, kWhere,
                  "seconds between pings; who does not answer one within the next interval is "
                  "disconnected (default 0, none)"),
    AP_INIT_TAKE12("WebSocketMaxConnections", asCommand(setMaxConnections), nullptr, kWhere,
                   "how many websockets there may be, in all and from one address; the next one is "
                   "answered with 503 (default 0, any number)"),
    AP_INIT_ITERATE("WebSocketReadPath", asCommand(addReadPath), nullptr, kWhere,
                    "files and directories that a process may read from its first websocket on"),
    AP_INIT_ITERATE("WebSocketMakePath", asCommand(addMakePath), nullptr, kWhere,
                    "directories in which it may make and write files, but not read or list them"),
    AP_INIT_ITERATE("WebSocketWritePath", asCommand(addWritePath), nullptr, kWhere,
                    "directories in which it may read, write, make and remove"),
    AP_INIT_ITERATE("WebSocketConnectPort", asCommand(addConnectPort), nullptr, kWhere,
                    "TCP ports that it may connect to"),
    AP_INIT_TAKE1("WebSocketSystemCalls", asCommand(setSystemCalls), nullptr, kWhere,
                  "All, or Restricted to what a plug-in may have a use for (default All)"),
    AP_INIT_FLAG("WebSocketProcessPerConnection", asCommand(needProcessPerConnection), nullptr,
                 kWhere,
                 "On: the plug-in needs a process for each connection, so a threaded processing "
                 "module is an error of the configuration (default Off)"),
    command_rec{},
};

extern "C" {

void* websocketCreateDirectives(apr_pool_t* pool, char*) {
    auto* directives = static_cast<Directives*>(apr_pcalloc(pool, sizeof(Directives)));
    directives->maxMessageSize = -1;
    directives->maxTextSize = -1;
    directives->memoryLimit = -1;
    directives->pingInterval = -1;
    directives->originCheck = OriginCheck::Unset;
    directives->connections.inAll = -1;
    directives->systemCalls = SystemCalls::Unset;
    return directives;
}

void* websocketMergeDirectives(apr_pool_t* pool, void* base, void* added) {
    const auto& outer = *static_cast<const Directives*>(base);
    const auto& inner = *static_cast<const Directives*>(added);
    auto* merged = static_cast<Directives*>(apr_pcalloc(pool, sizeof(Directives)));
    merged->plugin = inside(inner.plugin, outer.plugin);
    merged->maxMessageSize = inside(inner.maxMessageSize, outer.maxMessageSize);
    merged->maxTextSize = inside(inner.maxTextSize, outer.maxTextSize);
    merged->memoryLimit = inside(inner.memoryLimit, outer.memoryLimit);
    merged->pingInterval = inside(inner.pingInterval, outer.pingInterval);
    merged->originCheck =
        inner.originCheck != OriginCheck::Unset ? inner.originCheck : outer.originCheck;
    merged->trustedOrigins = inside(inner.trustedOrigins, outer.trustedOrigins);
    merged->connections = inner.connections.inAll >= 0 ? inner.connections : outer.connections;
    merged->systemCalls =
        inner.systemCalls != SystemCalls::Unset ? inner.systemCalls : outer.systemCalls;
    merged->readPaths = inside(inner.readPaths, outer.readPaths);
    merged->makePaths = inside(inner.makePaths, outer.makePaths);
    merged->writePaths = inside(inner.writePaths, outer.writePaths);
    merged->connectPorts = inside(inner.connectPorts, outer.connectPorts);
    return merged;
}
}

apr_uint64_t Directives::effectiveMaxMessageSize() const {
    return static_cast<apr_uint64_t>(maxMessageSize >= 0 ? maxMessageSize : kDefaultMaxMessageSize);
}

apr_uint64_t Directives::effectiveMaxTextSize() const {
    return static_cast<apr_uint64_t>(maxTextSize >= 0 ? maxTextSize : kDefaultMaxTextSize);
}

bool confinementIsConfigured() {
    return confinementWasAskedFor;
}

const Directives& directivesOf(const request_rec* request) {
    return *static_cast<const Directives*>(
        ap_get_module_config(request->per_dir_config, &websocket_module));
}

}  // namespace websocket
