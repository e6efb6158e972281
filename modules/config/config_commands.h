// The commands that save, list, load and delete web-application configurations. All of them answer
// the browser themselves. Connection thread.
#pragma once

#include "json/document.h"

/// "save_config": keeps the text "config" under "name", in place of an earlier one.
void save_configuration(const Document& doc);
/// "get_configs": answers with the names of all that is stored.
void get_configurations();
/// "load_config": answers with the text that is kept under "name".
void load_configuration(const Document& doc);
/// "delete_config": removes what is kept under "name".
void delete_configuration(const Document& doc);
