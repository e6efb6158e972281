// How an answer to the browser says how things went. The numbers are what callers pass on; a number
// without an enumerator is valid, too.
#pragma once

#include <cstdint>

#include "json/document.h"

/// The state of an answer: its "status".
enum kr_state : std::uint32_t {
    KR_STATE_OK = 0,
    KR_STATE_ERROR = 1,
    KR_STATE_FAILED = 2,  // a second error state; the browser is told "ERROR" as for the first
    KR_STATE_PROGRESS = 3,
    KR_STATE_WAITING_FOR_DATA = 4,
};

/// What went wrong: the "error_code" of an answer with "status" "ERROR".
enum kr_error_code : std::uint32_t {
    KR_ERROR_TODO = 0,
    KR_ERROR_UNSPECIFIED = 1,
    KR_ERROR_INTERNAL_ERROR = 2,
    KR_ERROR_INVALID_COMMAND = 3,
    KR_ERROR_ILLEGAL_CONFIG = 4,
    KR_ERROR_CANNOT_START = 5,
    KR_ERROR_CANNOT_STOP = 6,
    KR_ERROR_WAIT_FOR_LOGGER_INFO = 7,
    KR_ERROR_KRPBUS_ERROR = 8,
    KR_ERROR_RESERVED = 9,
    KR_ERROR_OTHER_DATA_UPLOAD = 10,
    KR_ERROR_NO_DATA_UPLOAD = 11,
    KR_ERROR_NOT_RUNNING = 12,
    KR_ERROR_RUNNING = 13,
    KR_ERROR_ILLEGAL_KEY = 14,
    KR_ERROR_ILLEGAL_INTERVAL = 15,
    KR_ERROR_NO_VALUE = 16,
};

/// Adds "status": "ERROR" and the text of the code as "error_code" to the object `doc`. A code
/// without a text of its own becomes "todo". Any thread.
void addErrorCodeToDom(Document* doc, kr_error_code code);
