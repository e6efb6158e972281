#include "host/protocol/token_list.h"

#include <algorithm>

namespace websocket {

namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isTokenCharacter(char c) {
    return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

std::string_view trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::vector<std::string_view> splitList(std::string_view list) {
    std::vector<std::string_view> elements;
    while (!list.empty()) {
        const auto comma = list.find(',');
        const std::string_view element = trim(list.substr(0, comma));
        if (!element.empty()) {
            elements.push_back(element);
        }
        list = comma == std::string_view::npos ? std::string_view{} : list.substr(comma + 1);
    }
    return elements;
}

bool listHas(std::string_view list, std::string_view element) {
    const auto elements = splitList(list);
    return std::any_of(elements.begin(), elements.end(),
                       [&](std::string_view e) { return equalIgnoringCase(e, element); });
}

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace websocket
