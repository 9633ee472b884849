#pragma once

#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/generate/generate_body.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// The logic block of a fabric of grids. Every slice of it holds a look-up table, a cell that stores a bit, a
/// link of the carry chain, and muxes that choose among them.
///
/// Ports: the inputs "n" and "e" on two sides, and "cin"; "o" and "cout".
struct GENERATE_GRID_LOGIC {
  static constexpr const char* KEY = "logic";

  static std::size_t get_num_side_inputs(const GENERATE_OPTIONS& options);
  static std::size_t get_num_outputs(const GENERATE_OPTIONS& options);

  /// Adds its modules and gives its routing nodes.
  static std::uint64_t add_modules(const GENERATE_OPTIONS& options, GENERATE_PARTS& parts,
                                   std::vector<KEP_MODEL_MODULE>& modules);
};
