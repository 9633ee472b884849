#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <optional>

namespace test_model {

/// The seeds of a random test, `number` of them from `first` on:
///
///   for (const std::uint64_t seed : SEEDS(1, 1500)) {
///     FABRIC_CASE c(seed);
///     ...
///     if (HasFailure()) FAIL() << c.text();
///   }
///
/// Each failure tells the seed that it came with. Behind a seed that failed comes no further one.
class SEEDS {
public:
  SEEDS(std::uint64_t first, std::uint64_t number, const char* file = __builtin_FILE(),
        int line = __builtin_LINE())
      : m_first(first), m_end(first + number), m_file(file), m_line(line) {}

  class ITERATOR {
  public:
    explicit ITERATOR(const SEEDS& seeds) : m_seeds(seeds), m_seed(seeds.m_first) { trace(); }
    ITERATOR(const ITERATOR&) = delete;
    ITERATOR& operator=(const ITERATOR&) = delete;
    ~ITERATOR() {
      if (std::uncaught_exceptions() != m_num_exceptions) ADD_FAILURE() << "The test ends by an exception.";
    }

    std::uint64_t operator*() const { return m_seed; }
    ITERATOR& operator++() {
      ++m_seed;
      trace();
      return *this;
    }
    bool operator==(std::default_sentinel_t /*end*/) const {
      return m_seed == m_seeds.m_end || testing::Test::HasFailure();
    }

  private:
    void trace() {
      m_trace.reset(); // a trace ends before the next one begins
      m_trace.emplace(m_seeds.m_file, m_seeds.m_line, testing::Message() << "seed " << m_seed);
    }

    const SEEDS& m_seeds;
    std::uint64_t m_seed;
    int m_num_exceptions = std::uncaught_exceptions();
    std::optional<testing::ScopedTrace> m_trace;
  };

  ITERATOR begin() const { return ITERATOR(*this); }
  static std::default_sentinel_t end() { return {}; }

private:
  std::uint64_t m_first, m_end;
  const char* m_file; ///< where the loop stands
  int m_line;
};

/// How many inputs a test takes: what the environment says, else `usual`.
inline std::uint64_t number_from_environment(const char* variable, std::uint64_t usual) {
  const char* const wanted = std::getenv(variable);
  if (!wanted) return usual;
  const std::uint64_t number = std::strtoull(wanted, nullptr, 10);
  EXPECT_NE(number, 0U) << variable << " is " << wanted << ", no number of inputs";
  return number;
}

} // namespace test_model
