#pragma once

#include "kep/kep_unfolding.h"

#include <cstdint>

/// The identity of a node in a finished graph, one word that names its place in the model: the inner
/// occurrence, the inst port's number in that module, and a bit for the hipi twin. A boundary node stands
/// above the tops, with its port's number plus one. No node has the word 0. Order of words: boundary nodes,
/// then by place, a twin behind its plain node.
namespace KEP_NODE_WORD {

constexpr std::uint64_t make(std::uint32_t occurrence, std::uint32_t inst_port, bool is_hipi) {
  return static_cast<std::uint64_t>(occurrence) << 32 | static_cast<std::uint64_t>(inst_port) << 1 |
         (is_hipi ? 1U : 0U);
}
constexpr std::uint64_t make_boundary(std::uint32_t port_number) {
  return static_cast<std::uint64_t>(port_number + 1) << 1;
}
constexpr std::uint32_t occurrence(std::uint64_t word) {
  return static_cast<std::uint32_t>(word >> 32);
}
constexpr std::uint32_t inst_port(std::uint64_t word) {
  return static_cast<std::uint32_t>(word) >> 1;
}
constexpr std::uint32_t port_number(std::uint64_t word) {
  return inst_port(word) - 1;
}
constexpr bool is_hipi(std::uint64_t word) {
  return (word & 1) != 0;
}
constexpr bool is_boundary(std::uint64_t word) {
  return occurrence(word) == KEP_UNFOLDING::ABOVE_TOP;
}

} // namespace KEP_NODE_WORD
