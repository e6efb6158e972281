// The JSON types that the project uses: the library's DOM with its memory-pool allocator.
#pragma once

#include <rapidjson/document.h>

using Document = rapidjson::Document;
using Value = rapidjson::Value;
