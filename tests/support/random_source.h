#pragma once

#include <cstdint>
#include <vector>

namespace test_model {

/// A stream of random numbers that is the same on every machine.
class RANDOM_SOURCE {
public:
  explicit RANDOM_SOURCE(std::uint64_t seed) : m_state(seed * 0x9e3779b97f4a7c15U + 1) {}

  std::uint64_t next() {
    std::uint64_t z = m_state += 0x9e3779b97f4a7c15U;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
  }
  /// A number from 0 to `end` - 1; `end` must not be 0.
  unsigned below(std::size_t end) { return static_cast<unsigned>(next() % end); }
  bool percent(unsigned chance) { return below(100) < chance; }

  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }
  template <class T>
  void shuffle(std::vector<T>& values) {
    for (std::size_t i = values.size(); i > 1; --i)
      std::swap(values[i - 1], values[below(i)]);
  }

private:
  std::uint64_t m_state;
};

} // namespace test_model
