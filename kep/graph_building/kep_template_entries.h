#pragma once

#include "kep/detail/kep_edge_tables.h"
#include "kep/graph/kep_mux_input_word.h"

#include <tbb/spin_mutex.h>

#include <array>
#include <bit>
#include <cstdint>
#include <unordered_map>
#include <vector>

/// The lists of edges of a graph that is being made, before its words are folded.

namespace KEP_TEMPLATE_HASH {

constexpr std::uint64_t SEED = 0x9e3779b97f4a7c15U;

/// Both halves of a product tell all bits of both words.
inline std::uint64_t mix(std::uint64_t left, std::uint64_t right) {
  __extension__ using PRODUCT = unsigned __int128;
  const PRODUCT product = PRODUCT{left ^ SEED} * (right ^ 0xbf58476d1ce4e5b9U);
  return static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
}

} // namespace KEP_TEMPLATE_HASH

struct KEP_FANIN_ENTRY {
  KEP_SEEN_WORD m_node;

  std::uint64_t hash(std::uint64_t seed) const { return KEP_TEMPLATE_HASH::mix(m_node.m_bits, seed); }
};

/// Twelve bytes: there is one for each edge where nothing is alike.
class KEP_FANOUT_ENTRY {
public:
  KEP_FANOUT_ENTRY() = default;
  KEP_FANOUT_ENTRY(KEP_SEEN_WORD node, std::uint32_t mux_input)
      : m_node(std::bit_cast<HALVES>(node)), m_mux_input(mux_input) {}

  KEP_SEEN_WORD get_node() const { return std::bit_cast<KEP_SEEN_WORD>(m_node); }
  /// A number of KEP_MUX_INPUT_NUMBERS.
  std::uint32_t get_mux_input() const { return m_mux_input; }
  std::uint64_t hash(std::uint64_t seed) const {
    return KEP_TEMPLATE_HASH::mix(get_node().m_bits, m_mux_input ^ seed);
  }

private:
  using HALVES = std::array<std::uint32_t, 2>;
  HALVES m_node;
  std::uint32_t m_mux_input;
};
static_assert(sizeof(KEP_FANOUT_ENTRY) == 12);

/// Words of mux inputs in 32 bits: a difference is its own number, and for what is no difference of less than
/// 2^30 there is a list. Any number of threads may ask at a time; numbers from the list then depend on who
/// came first.
class KEP_MUX_INPUT_NUMBERS {
public:
  static constexpr std::uint32_t NONE = std::uint32_t{2} << 30;

  static bool has_own_number(std::int64_t difference) {
    constexpr std::int64_t END = std::int64_t{1} << 30;
    return difference >= -END && difference < END;
  }
  std::uint32_t number_far(std::uint64_t word) {
    const tbb::spin_mutex::scoped_lock lock(m_mutex);
    const auto [known, is_new] =
        m_numbers.try_emplace(word, NONE + static_cast<std::uint32_t>(m_words.size()));
    if (is_new) m_words.push_back(word);
    return known->second;
  }
  // Not while words are numbered.
  std::uint64_t get_word(std::uint32_t number) const {
    return number >> 30 == NONE >> 30 ? m_words[number - NONE] : KEP_MUX_INPUT_WORD::make_near(number);
  }

private:
  tbb::spin_mutex m_mutex;
  std::unordered_map<std::uint64_t, std::uint32_t> m_numbers;
  std::vector<std::uint64_t> m_words{KEP_MUX_INPUT_WORD::NONE};
};

/// A list: real edges first.
struct KEP_EDGE_TEMPLATE {
  std::uint32_t m_first_entry;
  std::uint16_t m_num_real;
  std::uint16_t m_num_edges;
};
