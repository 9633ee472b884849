#pragma once

#include "tools/kep-rg/import_icebox/import_icebox_fold.h"

#include <ostream>

/// Writes a folded chip as a device model and the routing statements that go with it.
///
/// | Module | Name | Inside |
/// |---|---|---|
/// | mux of n inputs | `mux.<n>` | ports `i0` .. and `o`, nothing else |
/// | cell of a tile | `bel.<family>.<k>` | one port for each pin, nothing else |
/// | tile | `<kind>.<k>` | a net for each local wire, mux and cell instances |
/// | top | `top` | an instance `X_Y` for each tile, nets `net.<N>` |
///
/// The family of a cell is its name without a number at the end. `k` counts the distinct modules of a family
/// or kind in the order of the file.
void write_icebox(const ICEBOX_CHIP& chip, const ICEBOX_FOLDED& folded, std::ostream& model,
                  std::ostream& routing);
