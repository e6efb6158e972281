// A TLS library that does not notice the end of a connection.
#pragma once

// While one lives, what reads over TLS from a connection that its peer has ended is told to try
// again. For the whole process; one at a time.
class TlsReadFault {
  public:
    TlsReadFault();
    ~TlsReadFault();
    TlsReadFault(const TlsReadFault&) = delete;
    TlsReadFault& operator=(const TlsReadFault&) = delete;
};
