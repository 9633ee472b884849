#pragma once

#include "kep_io/kep_model_writer.h"
#include "tools/kep-rg/generate/generate_parts.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A module of a fabric of grids while it is made: with ports "clock" and "head", and at its end "tail". All
/// that stores bits in it hangs on one chain from "head" to "tail".
class GENERATE_BODY {
public:
  GENERATE_BODY(const std::string& key, GENERATE_PARTS& parts);

  std::int64_t take() { return m_next_bit++; }
  std::vector<std::int64_t> add_input(const std::string& name, std::size_t width);
  void add_output(const std::string& name, std::vector<std::int64_t> bits);

  void add_cell(const std::string& name, const std::string& master, GENERATE_CONNECTIONS connections);
  /// A cell that stores a bit.
  void add_store(const std::string& name, std::int64_t d, std::int64_t q);
  /// A cell whose master is made as a body, too.
  void add_link(const std::string& name, const std::string& master, GENERATE_CONNECTIONS connections);
  /// A mux and its memory beside it. Its output is a routing node.
  void add_mux(const std::string& name, const std::vector<std::int64_t>& sources, std::int64_t output);
  /// A memory whose bits gates select by `selects`.
  void add_table(const std::string& name, const std::vector<std::int64_t>& selects, std::int64_t output);

  std::uint64_t get_num_muxes() const { return m_num_muxes; }

  /// The module, its cells in the order of the alphabet.
  KEP_MODEL_MODULE finish();

private:
  std::vector<std::int64_t> add_memory(const std::string& name, std::size_t bits);

  GENERATE_PARTS& m_parts;
  KEP_MODEL_MODULE m_module;
  std::int64_t m_next_bit;
  std::int64_t m_clock = 0;
  std::int64_t m_chain = 0; ///< the last bit stored so far
  std::uint64_t m_num_muxes = 0;
};
