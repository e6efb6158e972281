#include "host/apache/directives.h"

#include <cstdint>
#include <limits>

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
constexpr apr_int64_t kLargestPingInterval = 24 * 60 * 60;

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

const char* setMaxMessageSize(cmd_parms* command, void* record, const char* text) {
    auto& directives = *static_cast<Directives*>(record);
    if (parseNumber(text, 1, kLargestMaxMessageSize, directives.maxMessageSize) != nullptr) {
        return apr_psprintf(command->pool,
                            "%s takes a size in bytes from 1 to %" APR_INT64_T_FMT ", not \"%s\"",
                            command->cmd->name, kLargestMaxMessageSize, text);
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
    AP_INIT_TAKE1(
        "WebSocketOriginCheck", asCommand(setOriginCheck), nullptr, kWhere,
        "which pages may connect: Same (those of this server, the default), Trusted (those of "
        "WebSocketTrustedOrigin), Off (all)"),
    AP_INIT_ITERATE("WebSocketTrustedOrigin", asCommand(addTrustedOrigin), nullptr, kWhere,
                    "origins whose pages may connect with WebSocketOriginCheck Trusted"),
    AP_INIT_TAKE1("WebSocketPingInterval", asCommand(setPingInterval), nullptr, kWhere,
                  "seconds between pings; who does not answer one within the next interval is "
                  "disconnected (default 0, none)"),
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
    directives->pingInterval = -1;
    directives->originCheck = OriginCheck::Unset;
    return directives;
}

void* websocketMergeDirectives(apr_pool_t* pool, void* base, void* added) {
    const auto& outer = *static_cast<const Directives*>(base);
    const auto& inner = *static_cast<const Directives*>(added);
    auto* merged = static_cast<Directives*>(apr_pcalloc(pool, sizeof(Directives)));
    merged->plugin = inner.plugin != nullptr ? inner.plugin : outer.plugin;
    merged->maxMessageSize =
        inner.maxMessageSize >= 0 ? inner.maxMessageSize : outer.maxMessageSize;
    merged->pingInterval = inner.pingInterval >= 0 ? inner.pingInterval : outer.pingInterval;
    merged->originCheck =
        inner.originCheck != OriginCheck::Unset ? inner.originCheck : outer.originCheck;
    merged->trustedOrigins =
        inner.trustedOrigins != nullptr ? inner.trustedOrigins : outer.trustedOrigins;
    return merged;
}
}

apr_uint64_t Directives::effectiveMaxMessageSize() const {
    return static_cast<apr_uint64_t>(maxMessageSize >= 0 ? maxMessageSize : kDefaultMaxMessageSize);
}

const Directives& directivesOf(const request_rec* request) {
    return *static_cast<const Directives*>(
        ap_get_module_config(request->per_dir_config, &websocket_module));
}

}  // namespace websocket
