#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate_description.h"

#include <cstdint>
#include <vector>

/// The logic block: a plain shell and, beside it, the view in which it is walked. There every slice holds a
/// look-up table, whose last input is chosen by a local mux, a flip-flop and a link of the carry chain that
/// runs from "cin" to "cout" through all slices.
///
/// Ports: "i" takes 4 bits a slice, "o" gives 2, "cin" and "cout" are one bit.
struct GENERATE_BLOCK {
  static constexpr const char* KEY = "logic_block";

  std::uint32_t get_num_inputs() const { return 4 * m_luts; }
  std::uint32_t get_num_outputs() const { return 2 * m_luts; }

  /// Its routing nodes: its ports and every port inside.
  std::uint64_t get_num_nodes() const;

  void add_modules(std::vector<KEP_MODEL_MODULE>& modules, GENERATE_DESCRIPTION& description) const;

  std::uint32_t m_luts; ///< as many slices
};
