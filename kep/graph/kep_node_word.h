#pragma once

#include <cstdint>

/// The identity of a node in a finished graph, one word that names where it stands in the model: the place of
/// the inner occurrence and the rank, plus one, of its key among the keys that are nodes at some occurrence
/// of that module. A key is an inst port's number and a bit for the hipi twin. Boundary nodes stand above the
/// tops, where keys are made of port numbers. No node has the word 0. Order of words: boundary nodes, then by
/// place, a twin behind its plain node.
namespace KEP_NODE_WORD {

/// The place of the boundary nodes.
constexpr std::uint32_t BOUNDARY = 0;

constexpr std::uint64_t make(std::uint32_t place, std::uint32_t rank) {
  return static_cast<std::uint64_t>(place) << 32 | (rank + 1);
}
constexpr std::uint32_t place(std::uint64_t word) {
  return static_cast<std::uint32_t>(word >> 32);
}
constexpr std::uint32_t rank(std::uint64_t word) {
  return static_cast<std::uint32_t>(word) - 1;
}
constexpr bool is_boundary(std::uint64_t word) {
  return place(word) == BOUNDARY;
}

constexpr std::uint32_t make_key(std::uint32_t inst_port, bool is_hipi) {
  return inst_port << 1 | (is_hipi ? 1U : 0U);
}
constexpr std::uint32_t inst_port(std::uint32_t key) {
  return key >> 1;
}
constexpr bool is_hipi(std::uint32_t key) {
  return (key & 1) != 0;
}

} // namespace KEP_NODE_WORD
