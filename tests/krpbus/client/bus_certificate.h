// What a bus server with TLS needs.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

// A certificate of its own for 127.0.0.1, and its key, for as long as the test runs.
class Certificate {
  public:
    Certificate() {
        std::string name = "/tmp/bus-certificate-XXXXXX";
        directory_ = mkdtemp(name.data());
        const std::string command =
            "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost -addext "
            "subjectAltName=IP:127.0.0.1 -keyout " +
            key() + " -out " + certificate() + " 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
    ~Certificate() { std::filesystem::remove_all(directory_); }
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;

    // What a NatsServer's configuration says of it.
    std::string configuration() const {
        return "tls { cert_file: \"" + certificate() + "\", key_file: \"" + key() + "\" }\n";
    }
    std::string certificate() const { return directory_ + "/certificate.pem"; }
    std::string key() const { return directory_ + "/key.pem"; }

  private:
    std::string directory_;
};
