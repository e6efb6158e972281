#include "modules/config/config_module.h"

#include "modules/config/config_commands.h"

int wa_handle_message_config(const std::string& cmd, const Document& doc) {
    if (cmd == "save_config") {
        save_configuration(doc);
    } else if (cmd == "get_configs") {
        get_configurations();
    } else if (cmd == "load_config") {
        load_configuration(doc);
    } else if (cmd == "delete_config") {
        delete_configuration(doc);
    } else {
        return 0;
    }
    return 1;
}
