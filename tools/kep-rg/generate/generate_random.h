#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// A stream of numbers that depends on its key alone: SplitMix64, so the same on every machine. Each choice
/// of a fabric has a stream with a key of its own, so that an option changes nothing but what it is about.
class GENERATE_RANDOM {
public:
  GENERATE_RANDOM(std::uint64_t seed, std::uint64_t topic, std::uint64_t index = 0) : m_state(seed) {
    m_state = next() ^ topic;
    m_state = next() ^ index;
  }

  /// A number from 0 to `bound` - 1.
  std::uint32_t below(std::uint32_t bound) {
    return static_cast<std::uint32_t>(((next() >> 32) * bound) >> 32);
  }

  /// Moves `count` elements of `pool`, drawn at random, to its front.
  template <class T>
  void draw(std::vector<T>& pool, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      std::swap(pool[i], pool[i + below(static_cast<std::uint32_t>(pool.size() - i))]);
  }

private:
  std::uint64_t next() {
    m_state += 0x9e3779b97f4a7c15U;
    std::uint64_t z = m_state;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
  }

  std::uint64_t m_state;
};
