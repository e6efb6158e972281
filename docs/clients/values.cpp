// Prints five values of the first signal: example_values 8080
#include <rapidjson/document.h>
#include <iostream>

#include "packaging/probe/websocket_client.h"

int main(int, char** argv) {
    const auto deadline = WebSocketClient::Clock::now() + std::chrono::minutes(1);
    const auto port = static_cast<std::uint16_t>(std::stoi(argv[1]));
    WebSocketClient live(port, "/live", "kr-webapp-v1", deadline);
    live.send(R"({"command":"get_logger_info"})");
    for (int left = 5; left > 0;) {
        rapidjson::Document frame;
        frame.Parse(live.receive());
        const bool ok = frame.HasMember("status") && frame["status"] == "OK";
        if (frame["response"] == "get_logger_info") {
            live.send(ok ? R"({"command":"get_signal_names"})"
                         : R"({"command":"get_logger_info"})");
        } else if (frame["response"] == "get_signal_names" && ok) {
            const auto& key = frame["Streams"][0]["signal_key"];
            live.send(R"({"command":"generic_start_sig","interval":100,"signal_key":[")" +
                      std::string(key[0].GetString()) + R"(",")" + key[1].GetString() + R"("]})");
        } else if (frame["response"] == "generic_sig_value" && ok) {
            std::cout << frame["signal_key"][0].GetString() << " " << frame["value"].GetDouble()
                      << std::endl;
            --left;
        }
    }
}
