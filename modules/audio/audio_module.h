// Audio files that belong to trigger markers: upload, list and selection.
#pragma once

#include <string>

#include "json/document.h"

class KRPMessageResponse;

/// Connection thread; both return 0.
int audio_module_setup();
int audio_module_destroy();

/// Runs the command when it is one of this module's; 1 when it was, 0 otherwise. Connection thread.
int wa_handle_message_audio(const std::string& cmd, const Document& doc);

/// Takes a bus answer when it is one of this module's; 1 when it was, 0 otherwise. Bus thread.
int handleAudioMessages(const KRPMessageResponse* response);
