#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_result.h"

/// A fabric as generators write it: in the top, side by side, a grid of logic blocks, one of switch blocks at
/// their corners, grids of connection blocks between these, and what joins logic blocks directly. Cells are
/// named by kind and place, "switch_3__12_". Blocks at the border are modules of their own. Everything holds
/// what it is made of down to gates and stored bits, and the bits hang on one chain through all blocks.
///
/// The options must have passed check_generate_options().
GENERATE_RESULT make_generate_grids(const GENERATE_OPTIONS& options);
