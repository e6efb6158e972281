#include "host/apache/plugin_loader.h"

#include <cstddef>

#include "host/apache/plugin_calls.h"

extern "C" {
#include <apr_dso.h>
#include <apr_hash.h>
}

namespace websocket {

namespace {

constexpr char kLoadedKey[] = "mod_websocket-plugins";
/// A plug-in may know fewer members than this host: on_disconnect is the last that version 0 has.
constexpr unsigned kRecordSize = sizeof(WebSocketPlugin);

apr_hash_t* loadedPlugins(apr_pool_t* pool) {
    void* loaded = nullptr;
    apr_pool_userdata_get(&loaded, kLoadedKey, pool);
    if (loaded == nullptr) {
        loaded = apr_hash_make(pool);
        apr_pool_userdata_setn(loaded, kLoadedKey, nullptr, pool);
    }
    return static_cast<apr_hash_t*>(loaded);
}

apr_status_t destroyPlugin(void* plugin) {
    callDestroy(static_cast<WebSocketPlugin*>(plugin));
    return APR_SUCCESS;
}

const char* recordProblem(apr_pool_t* pool, const WebSocketPlugin* plugin) {
    if (plugin == nullptr) {
        return "it gave no plug-in record";
    }
    if (plugin->version != WEBSOCKET_PLUGIN_VERSION) {
        return apr_psprintf(pool, "its plug-in record has version %u, not %d", plugin->version,
                            WEBSOCKET_PLUGIN_VERSION);
    }
    if (plugin->size < kRecordSize) {
        return apr_psprintf(pool, "its plug-in record has %u bytes, not %u", plugin->size,
                            kRecordSize);
    }
    if (plugin->on_connect == nullptr || plugin->on_message == nullptr) {
        return "its plug-in record lacks on_connect or on_message";
    }
    return nullptr;
}

}  // namespace

const char* loadPlugin(cmd_parms* command, const char* library, const char* init,
                       WebSocketPlugin*& plugin) {
    apr_pool_t* pool = command->pool;
    const char* path = ap_server_root_relative(pool, library);
    if (path == nullptr) {
        return apr_psprintf(pool, "invalid path of a websocket plug-in: %s", library);
    }
    apr_hash_t* loaded = loadedPlugins(pool);
    const char* key = apr_pstrcat(pool, path, "\n", init, nullptr);
    plugin = static_cast<WebSocketPlugin*>(apr_hash_get(loaded, key, APR_HASH_KEY_STRING));
    if (plugin != nullptr) {
        return nullptr;
    }
    apr_dso_handle_t* handle = nullptr;
    char reason[256];
    if (apr_dso_load(&handle, path, pool) != APR_SUCCESS) {
        return apr_psprintf(pool, "cannot load the websocket plug-in %s: %s", path,
                            apr_dso_error(handle, reason, sizeof reason));
    }
    apr_dso_handle_sym_t symbol = nullptr;
    if (apr_dso_sym(&symbol, handle, init) != APR_SUCCESS) {
        return apr_psprintf(pool, "the websocket plug-in %s has no function %s", path, init);
    }
    const char* thrown = nullptr;
    WebSocketPlugin* record = callInit(reinterpret_cast<WebSocketPluginInit>(symbol), pool, thrown);
    if (thrown != nullptr) {
        return apr_psprintf(pool, "%s of the websocket plug-in %s failed: %s", init, path, thrown);
    }
    if (const char* problem = recordProblem(pool, record)) {
        return apr_psprintf(pool, "%s of the websocket plug-in %s: %s", init, path, problem);
    }
    // Registered after the library was, therefore run before it is unloaded.
    apr_pool_cleanup_register(pool, record, destroyPlugin, apr_pool_cleanup_null);
    apr_hash_set(loaded, key, APR_HASH_KEY_STRING, record);
    plugin = record;
    return nullptr;
}

}  // namespace websocket
