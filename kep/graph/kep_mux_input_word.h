#pragma once

#include <cstdint>

/// Where the mux input of an edge stands, in one word. Nearly all stand at the occurrence of the edge's
/// target, as inputs of the mux whose output the target is: those are told by the number of their inst port
/// less that of the target's, of which a device has a handful. Any other is told by its occurrence and the
/// number itself.
namespace KEP_MUX_INPUT_WORD {

/// Of an edge without a mux input. No module has so many inst ports that it could be a difference.
constexpr std::uint64_t NONE = std::uint64_t{1} << 31;

constexpr std::uint64_t make_near(std::uint32_t difference) {
  return difference;
}
constexpr std::uint64_t make_far(std::uint32_t occurrence, std::uint32_t inst_port) {
  return std::uint64_t{occurrence} << 32 | inst_port;
}
/// The occurrence, or 0 for that of the target: no inst port stands above the tops.
constexpr std::uint32_t far_occurrence(std::uint64_t word) {
  return static_cast<std::uint32_t>(word >> 32);
}
/// The number, or the difference modulo 2^32.
constexpr std::uint32_t inst_port(std::uint64_t word) {
  return static_cast<std::uint32_t>(word);
}

} // namespace KEP_MUX_INPUT_WORD
