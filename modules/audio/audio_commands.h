// The commands about audio files. All requests go to the local logger only. Connection thread, but
// for getAudioList; without a bus nothing is sent.
#pragma once

#include <atomic>

#include "json/document.h"

// Which command the next answer to bus request 87 belongs to: 0 "upload_audio_file", 1
// "set_audio_file". The last command that was sent decides, also one that was refused, intended.
// Written by the connection thread, read by the bus thread.
extern std::atomic<int> php_version;

// Announces a file whose content comes with the next binary frame. One announcement may be pending;
// a second one is refused and the first stays.
void uploadAudioFile(const Document& doc);
// Drops a pending announcement.
void cancelDataUpload();
// Asks for the audio list. Also called on the bus thread.
void getAudioList();
// Gives a file that the service holds a time span and a marker.
void setAudioFile(const Document& doc);
