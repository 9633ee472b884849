#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_result.h"

/// One module of muxes, as the form says: where nothing repeats, or where one net or one walk is long.
///
/// The options must have passed check_generate_options().
GENERATE_RESULT make_generate_flat(const GENERATE_OPTIONS& options);
