// Storing the data of an announced audio upload.
#pragma once

class UploadInfoAudio;

/// Stores the frame as the announced file under the upload directory, "/tmp/", and tells the
/// service that is to own it. What goes wrong is answered to the browser, and the upload stays
/// pending; success is answered when the service has answered. `info` may be null. Connection
/// thread.
void save_audio(const unsigned char* data, unsigned int size, const UploadInfoAudio* info);
