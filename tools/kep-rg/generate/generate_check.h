#pragma once

#include "tools/kep-rg/generate/generate.h"

/// The ranges of the options, for the command line and for the check.
struct GENERATE_LIMITS {
  static constexpr std::uint64_t MAX_NODES = 10'000'000'000;
  static constexpr std::uint32_t MAX_LEVELS = 16;
  static constexpr std::uint32_t MAX_CELLS = 1024; ///< columns, or rows, of a level
  static constexpr std::uint32_t MIN_WIDTH = 2;
  static constexpr std::uint32_t MAX_WIDTH = 512;
  static constexpr std::uint32_t MAX_LENGTH = 16;
  static constexpr std::uint32_t MIN_SWITCH_INPUTS = 4;
  static constexpr std::uint32_t MAX_INPUTS = 256;
  static constexpr std::uint32_t MAX_LUTS = 64;
  static constexpr std::uint32_t MAX_REDUNDANT = 33; ///< percent: a half of the inputs stands twice
  static constexpr std::uint32_t MAX_TUNNELS = 64;
  static constexpr std::uint32_t MAX_SPARE_ROWS = 10'000;
  static constexpr std::uint64_t MIN_FLAT_NODES = 1'000; ///< of the forms RANDOM and NEAR
  static constexpr std::uint64_t MAX_BITS = 1U << 27U;   ///< of one module: some gigabytes of text
};

/// Throws std::runtime_error with one line if the options are out of range or can't be met together.
void check_generate_options(const GENERATE_OPTIONS& options);

/// Throws likewise if a module of so many bits, each counted where it stands, would be too large to be read.
void check_generate_bits(const std::string& module, std::uint64_t bits);
