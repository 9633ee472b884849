#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate_description.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The muxes and memories that a fabric of grids needs. A mux holds a tree of gates, a memory the cells that
/// store its bits.
class GENERATE_PARTS {
public:
  /// The module of a mux: ports "i", "s", by which it selects, and "o".
  std::string use_mux(std::size_t inputs);

  /// The module of a memory: ports "clock", "head" and "q", whose last bit is the head of the next.
  std::string use_memory(std::size_t bits);

  /// Bits by which a mux selects.
  static std::size_t get_num_selects(std::size_t inputs);

  /// The modules that were asked for, and those in them.
  void add_modules(std::vector<KEP_MODEL_MODULE>& modules, GENERATE_DESCRIPTION& description) const;

private:
  std::set<std::size_t> m_muxes;
  std::set<std::size_t> m_memories;
};

using GENERATE_CONNECTIONS = std::vector<std::pair<std::string, std::vector<std::int64_t>>>;

KEP_MODEL_CELL generate_plain_cell(const std::string& name, const std::string& master,
                                   GENERATE_CONNECTIONS connections);

/// Gates and a buffer that put one of the inputs on `output`. Bits are taken from `next_bit` on.
void generate_gates(KEP_MODEL_MODULE& module, std::int64_t& next_bit, std::vector<std::int64_t> inputs,
                    const std::vector<std::int64_t>& selects, std::int64_t output);

/// As a file has them that lists everything by its name.
void generate_sort_cells(KEP_MODEL_MODULE& module);

/// A cell that stores one bit: ports "clock", "d" and "q".
inline constexpr const char* GENERATE_STORE = "store";
