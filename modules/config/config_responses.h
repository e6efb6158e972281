// The answers about stored configurations. Each is built and sent by its constructor, on the
// connection thread.
#pragma once

#include <string>

#include "json/kr_state.h"
#include "json/wa_response_message.h"

class WaResponseSaveConfig : public WaResponseMessage {
  public:
    WaResponseSaveConfig(const std::string& name, kr_state state, kr_error_code code);
};

class WaResponseLoadConfig : public WaResponseMessage {
  public:
    /// `text` is zero-terminated; null (a file that could not be read) is answered as an empty
    /// text.
    WaResponseLoadConfig(const std::string& name, const char* text, kr_state state,
                         kr_error_code code);
};

class WaResponseDeleteConfig : public WaResponseMessage {
  public:
    WaResponseDeleteConfig(kr_state state, kr_error_code code);
};

/// Reads the directory and answers with the name of every entry.
class WaResponseGetConfigurations : public WaResponseMessage {
  public:
    WaResponseGetConfigurations();
};
