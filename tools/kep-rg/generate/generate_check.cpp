#include "tools/kep-rg/generate/generate_check.h"

#include "tools/kep-rg/generate/generate_switch.h"

#include <fmt/format.h>

#include <algorithm>
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
  check_range("--nodes", options.nodes, 0, LIMITS::MAX_NODES);
  check_range("--levels", options.levels, 1, LIMITS::MAX_LEVELS);
  check_levels("--columns", options.columns, options.levels);
  check_levels("--rows", options.rows, options.levels);
  check_range("--width", options.width, LIMITS::MIN_WIDTH, LIMITS::MAX_WIDTH);
  check_list("--lengths", options.lengths, LIMITS::MAX_LENGTH);
  check_range("--switch-inputs", options.switch_inputs, LIMITS::MIN_SWITCH_INPUTS, LIMITS::MAX_INPUTS);
  check_range("--connect-inputs", options.connect_inputs, 1, LIMITS::MAX_INPUTS);
  check_range("--luts", options.luts, 1, LIMITS::MAX_LUTS);
  check_range("--redundant", options.redundant, 0, LIMITS::MAX_REDUNDANT);
  check_range("--hipi", options.hipi, 0, 100);
  check_range("--skip", options.skip, 0, 100);
  check_range("--tunnels", options.tunnels, 0, LIMITS::MAX_TUNNELS);
  check_range("--spare-rows", options.spare_rows, 0, LIMITS::MAX_SPARE_ROWS);
}

/// A mux never takes a source twice, and what a tile drives must be taken by some mux.
void check_sources(const GENERATE_OPTIONS& options) {
  const std::uint32_t num_local = GENERATE_SWITCH::get_num_local_inputs(options);
  const std::uint32_t num_sources = GENERATE_SWITCH::get_num_local_sources(options);
  const std::uint32_t num_tracks = options.switch_inputs - num_local;
  if (num_tracks > 2 * options.width)
    throw std::runtime_error(
        fmt::format("generate: --switch-inputs {} needs {} tracks, but --width {} gives {}",
                    options.switch_inputs, num_tracks, options.width, 2 * options.width));
  if (num_local > num_sources)
    throw std::runtime_error(fmt::format(
        "generate: --switch-inputs {} needs {} outputs of the logic block, but --luts {} gives {}",
        options.switch_inputs, num_local, options.luts, num_sources));
  if (4 * options.width * num_local < num_sources)
    throw std::runtime_error(
        fmt::format("generate: the {} switch muxes of --width {} can't take the {} outputs of --luts {} and "
                    "--tunnels {}",
                    4 * options.width, options.width, num_sources, options.luts, options.tunnels));
  if (options.connect_inputs > options.width)
    throw std::runtime_error(fmt::format("generate: --connect-inputs {} is more than --width {} gives",
                                         options.connect_inputs, options.width));
}

} // namespace

void check_generate_options(const GENERATE_OPTIONS& options) {
  check_ranges(options);
  check_sources(options);
}
