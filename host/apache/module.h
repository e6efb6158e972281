#pragma once

// What every file that talks to the web server needs: its headers, and this module's own record,
// which Apache finds by its name and by which it knows the module's log lines.

extern "C" {
#include <httpd.h>
// (httpd.h comes first)
#include <apr_strings.h>
#include <apr_tables.h>
#include <http_config.h>
#include <http_core.h>
#include <http_log.h>
#include <http_protocol.h>
#include <http_request.h>

extern __attribute__((visibility("default"))) module websocket_module;
}

APLOG_USE_MODULE(websocket);
