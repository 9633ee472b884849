#pragma once

#include <string_view>

/// How many characters have to be put in, left out or changed to make one text of the other; `limit` if it is
/// that many or more.
unsigned get_edit_distance(std::string_view left, std::string_view right, unsigned limit);
