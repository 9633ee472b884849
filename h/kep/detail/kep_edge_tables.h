#pragma once

#include "kep/detail/kep_numbered_places.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// How a finished graph keeps its edges (docs/glossary.md: seen word, shape, page). Each end of an edge is a
/// word, seen from the place of the node at the other end; nodes at like places see the same words. A *shape*
/// is what a node has: a list of fanouts and one of fanins. Lists of equal words are kept once, and so are
/// shapes of equal lists. Fanouts, which are read most, are kept as they are; for fanins and mux inputs each
/// word is kept once, and a list holds numbers of words, of as few bytes as will do.
///
/// A graph lends these tables to its nodes, edges and iterators; nothing else needs them.

/// A word as it is seen from a place: its own place as the difference from that one, modulo 2^32; or itself,
/// where ABSOLUTE is set: for the few that are seen from everywhere.
struct KEP_SEEN_WORD {
  static constexpr std::uint64_t ABSOLUTE = std::uint64_t{1} << 31; // no word has this bit

  std::uint64_t m_bits = ABSOLUTE; ///< the word 0

  static KEP_SEEN_WORD see(std::uint64_t word, std::uint32_t own_place) {
    return {word - (std::uint64_t{own_place} << 32)};
  }
  bool is_absolute() const { return (m_bits & ABSOLUTE) != 0; }
  std::uint64_t get_word(std::uint32_t own_place) const {
    // Foretold for certain, it stays a branch, which costs less than to choose between both words.
    if (__builtin_expect_with_probability(!is_absolute(), true, 1.0)) return get_relative_word(own_place);
    return m_bits ^ ABSOLUTE; // a difference would join both words again
  }
  /// For one that is not absolute.
  std::uint64_t get_relative_word(std::uint32_t own_place) const {
    return m_bits + (std::uint64_t{own_place} << 32);
  }
};

/// Numbers of one to four bytes each, lent. One more than there are can be read.
struct KEP_PACKED_NUMBERS {
  const unsigned char* m_bytes;
  std::uint32_t m_width;
  std::uint32_t m_mask;

  std::uint32_t get(std::size_t index) const {
    std::uint32_t number;
    std::memcpy(&number, m_bytes + index * m_width, sizeof(number));
    return number & m_mask;
  }
};

/// A list of which each distinct word is kept once, lent; or one without numbers of words as they are.
struct KEP_FOLDED_WORDS {
  KEP_PACKED_NUMBERS m_numbers;
  const KEP_SEEN_WORD* m_words;

  const KEP_SEEN_WORD& operator[](std::uint32_t position) const {
    return m_words[m_numbers.m_bytes ? m_numbers.get(position) : position];
  }
};

/// The edges of a node: real fanouts first.
struct KEP_NODE_SHAPE {
  std::uint32_t m_first_fanout; ///< positions among the fanouts and mux inputs, and among the fanins
  std::uint32_t m_first_fanin;
  std::uint16_t m_num_real;
  std::uint16_t m_num_fanouts;
  std::uint16_t m_num_fanins;
  std::uint16_t m_has_absolute; ///< 0: all fanouts are told as differences
};

/// The tables of one graph, lent.
struct KEP_EDGE_TABLES {
  static constexpr std::uint32_t NO_NODE = 0; ///< the shape of a rank at which no node stands

  KEP_NUMBERED_PLACES m_places;
  const std::uint32_t* m_pages; ///< by place: where in the next one its ranks begin
  KEP_PACKED_NUMBERS m_shapes_of_nodes;
  const KEP_NODE_SHAPE* m_shapes;
  const KEP_SEEN_WORD* m_fanouts;
  KEP_FOLDED_WORDS m_mux_inputs; ///< of the fanouts; told by the target (KEP_MUX_INPUT_WORD)
  KEP_FOLDED_WORDS m_fanins;
  std::uint32_t m_num_nodes;

  std::uint32_t get_shape_number(std::uint64_t word) const {
    return m_shapes_of_nodes.get(m_pages[word >> 32] + static_cast<std::uint32_t>(word) - std::size_t{1});
  }
  const KEP_NODE_SHAPE& get_shape(std::uint64_t word) const { return m_shapes[get_shape_number(word)]; }

  /// The number of the node that is a word's, or KEP_NUMBERED_PLACES::NONE for the word 0; and back.
  std::uint32_t get_number(std::uint64_t word) const {
    return m_places.find_number(static_cast<std::uint32_t>(word >> 32), static_cast<std::uint32_t>(word) - 1);
  }
  std::uint64_t get_word(std::uint32_t number) const {
    const std::uint32_t place = m_places.find_place(number);
    return std::uint64_t{place} << 32 | (m_places.get_rank(place, number) + 1);
  }

  /// Where a node stands.
  struct STANDING {
    std::uint32_t m_number;
    std::uint32_t m_place;
    std::uint32_t m_rank;
  };
  /// Calls `visit(number, place, rank, shape)` for the nodes from that one on, up to the number `end`,
  /// without looking each up anew. There must be one.
  template <class VISIT>
  void visit_nodes(const STANDING& first, std::uint32_t end, const VISIT& visit) const {
    std::uint32_t number = first.m_number;
    std::uint32_t rank = first.m_rank;
    for (std::uint32_t place = first.m_place; number != end; ++place, rank = 0) {
      const std::uint32_t last = std::min(m_places.m_first_nodes[place + std::size_t{1}], end);
      KEP_PACKED_NUMBERS shapes = m_shapes_of_nodes;
      shapes.m_bytes += (m_pages[place] + std::size_t{rank}) * shapes.m_width;
      std::uint32_t next_shape_number = shapes.get(0);
      KEP_NODE_SHAPE next_shape = m_shapes[next_shape_number];
      for (; number != last; ++rank) {
        // Where a node's edges end is foreseen badly; the next shape is there by then.
        const std::uint32_t shape_number = next_shape_number;
        const KEP_NODE_SHAPE shape = next_shape;
        shapes.m_bytes += shapes.m_width;
        next_shape_number = shapes.get(0);
        next_shape = m_shapes[next_shape_number];
        if (shape_number == NO_NODE) continue;
        visit(number, place, rank, shape);
        ++number;
      }
    }
  }
};
