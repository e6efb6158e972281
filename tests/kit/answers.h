// The texts that answers are held against: whole, in one line each, with the order of the members.
#pragma once

#include <string>

/// The JSON text without what stands between its parts; "no JSON: " and the text where it is none.
std::string compact(const std::string& json);

/// An error's answer. Without a message there is no "error_msg".
std::string errorAnswer(const std::string& response, const std::string& code,
                        const std::string& message = "");

/// The answer to a request that cannot be used: the reason, and the request as the parser quotes
/// it.
std::string refusal(const std::string& response, const std::string& reason,
                    const std::string& request);
