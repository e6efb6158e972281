// The commands about audio files. All requests go to the local logger only. Connection thread, but
// for getAudioList; without a bus nothing is sent.
#pragma once

#include "json/document.h"

/// Announces a file whose content comes with the next binary frame. One announcement may be
/// pending; a second one is refused and the first stays.
void uploadAudioFile(const Document& doc);
/// Drops a pending announcement.
void cancelDataUpload();
/// Asks for the audio list. Also called on the bus thread.
void getAudioList();
/// Gives a file that the service holds a time span and a marker.
void setAudioFile(const Document& doc);
