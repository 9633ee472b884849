#include "tools/kep-rg/generate/generate_check.h"

#include "tools/kep-rg/generate/generate_switch.h"

#include <fmt/format.h>

#include <stdexcept>

namespace {

void check_range(const char* option, std::uint64_t value, std::uint64_t low, std::uint64_t high) {
  if (value < low || value > high)
    throw std::runtime_error(
        fmt::format("generate: {} is {}, but must be from {} to {}", option, value, low, high));
}

void check_list(const char* option, const std::vector<std::uint32_t>& values, std::uint32_t high) {
  if (values.empty()) throw std::runtime_error(fmt::format("generate: {} is empty", option));
  for (const std::uint32_t value : values)
    check_range(option, value, 1, high);
}

void check_levels(const char* option, const std::vector<std::uint32_t>& values, std::uint32_t levels) {
  check_list(option, values, GENERATE_LIMITS::MAX_CELLS);
  if (values.size() != 1 && values.size() != levels)
    throw std::runtime_error(
        fmt::format("generate: {} gives {} numbers for {} levels", option, values.size(), levels));
}

void check_ranges(const GENERATE_OPTIONS& options) {
  using LIMITS = GENERATE_LIMITS;
  check_range("--nodes", options.m_nodes, 0, LIMITS::MAX_NODES);
  check_range("--levels", options.m_levels, 1, LIMITS::MAX_LEVELS);
  check_levels("--columns", options.m_columns, options.m_levels);
  check_levels("--rows", options.m_rows, options.m_levels);
  check_range("--width", options.m_width, LIMITS::MIN_WIDTH, LIMITS::MAX_WIDTH);
  check_list("--lengths", options.m_lengths, LIMITS::MAX_LENGTH);
  check_range("--switch-inputs", options.m_switch_inputs, LIMITS::MIN_SWITCH_INPUTS, LIMITS::MAX_INPUTS);
  check_range("--connect-inputs", options.m_connect_inputs, 1, LIMITS::MAX_INPUTS);
  check_range("--luts", options.m_luts, 1, LIMITS::MAX_LUTS);
  check_range("--redundant", options.m_redundant, 0, LIMITS::MAX_REDUNDANT);
  check_range("--hipi", options.m_hipi, 0, 100);
  check_range("--skip", options.m_skip, 0, 100);
  check_range("--tunnels", options.m_tunnels, 0, LIMITS::MAX_TUNNELS);
  check_range("--spare-rows", options.m_spare_rows, 0, LIMITS::MAX_SPARE_ROWS);
}

/// A mux never takes a source twice, and what a tile drives must be taken by some mux.
void check_sources(const GENERATE_OPTIONS& options) {
  const std::uint32_t num_local = GENERATE_SWITCH::get_num_local_inputs(options);
  const std::uint32_t num_sources = GENERATE_SWITCH::get_num_local_sources(options);
  const std::uint32_t num_tracks = options.m_switch_inputs - num_local;
  if (num_tracks > 2 * options.m_width)
    throw std::runtime_error(
        fmt::format("generate: --switch-inputs {} needs {} tracks, but --width {} gives {}",
                    options.m_switch_inputs, num_tracks, options.m_width, 2 * options.m_width));
  if (num_local > num_sources)
    throw std::runtime_error(fmt::format(
        "generate: --switch-inputs {} needs {} outputs of the logic block, but --luts {} gives {}",
        options.m_switch_inputs, num_local, options.m_luts, num_sources));
  if (4 * options.m_width * num_local < num_sources)
    throw std::runtime_error(
        fmt::format("generate: the {} switch muxes of --width {} can't take the {} outputs of --luts {} and "
                    "--tunnels {}",
                    4 * options.m_width, options.m_width, num_sources, options.m_luts, options.m_tunnels));
  if (options.m_connect_inputs > options.m_width)
    throw std::runtime_error(fmt::format("generate: --connect-inputs {} is more than --width {} gives",
                                         options.m_connect_inputs, options.m_width));
}

void check_flat(const GENERATE_OPTIONS& options) {
  using LIMITS = GENERATE_LIMITS;
  const bool is_network = options.m_form == GENERATE_FORM::RANDOM || options.m_form == GENERATE_FORM::NEAR;
  check_range("--nodes", options.m_nodes, is_network ? LIMITS::MIN_FLAT_NODES : 2, LIMITS::MAX_NODES);
  check_range("--inputs", options.m_inputs, 1, LIMITS::MAX_INPUTS);
  check_generate_bits("the module", options.m_nodes * (is_network ? options.m_inputs + 1U : 2U));
}

} // namespace

void check_generate_options(const GENERATE_OPTIONS& options) {
  if (options.m_form != GENERATE_FORM::TILES && options.m_form != GENERATE_FORM::GRIDS)
    return check_flat(options);
  check_ranges(options);
  check_sources(options);
}

void check_generate_bits(const std::string& module, std::uint64_t bits) {
  if (bits > GENERATE_LIMITS::MAX_BITS)
    throw std::runtime_error(fmt::format("generate: {} would have {} bits, more than {}", module, bits,
                                         GENERATE_LIMITS::MAX_BITS));
}
