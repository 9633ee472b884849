#pragma once

#include <string>
#include <string_view>

/// Appends a text as a JSON string, in quotes.
void kep_append_json_text(std::string& out, std::string_view text);
/// The text as a JSON string, in quotes.
std::string kep_get_json_text(std::string_view text);
