#pragma once

#include "kep/kep_types.h"

#include <optional>
#include <string_view>

/// The views of modules by the names that files have for them, which are those of KEP_VIEW_TYPE.

/// The view must be one that a module can have.
const char* kep_get_view_name(KEP_VIEW_TYPE view);
/// None for any other name.
std::optional<KEP_VIEW_TYPE> kep_find_view(std::string_view name);
