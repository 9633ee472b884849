#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_result.h"

/// Copies of one tile, level by level.
///
/// The options must have passed check_generate_options().
GENERATE_RESULT make_generate_tiles(const GENERATE_OPTIONS& options);
