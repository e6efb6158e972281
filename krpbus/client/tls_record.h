// What can be seen of a TLS connection from outside: where its records begin and end.
#pragma once

namespace krpbus {

/// Whether the first bytes that wait in the socket are the head of a TLS record.
bool startsTlsRecord(int socket);

/// Whether a whole record, or something else than a record, waits in a socket whose next byte
/// begins a record. If not, the socket shows as readable only when more has come, or when there is
/// no room for more: `awaited` is how many bytes it waits for, 1 at first, kept by the caller from
/// call to call. To be called when the socket shows as readable.
bool awaitTlsRecord(int socket, int& awaited);

}  // namespace krpbus
