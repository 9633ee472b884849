#pragma once

#include "kep_report/kep_report_assert.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

/// Walks the tokens of redundancy data: runs of characters without blanks, tabs, newlines and double quotes.
/// Stands on the first token once made. Asserts that there is a token where one is asked for.
class KEP_RG_REDUNDANCY_TOKENS {
public:
  explicit KEP_RG_REDUNDANCY_TOKENS(std::string_view text) : m_text(text) { next(); }
  /// Stands on the first token that begins at that offset or behind it.
  KEP_RG_REDUNDANCY_TOKENS(std::string_view text, std::size_t from)
      : m_text(text), m_at(begins_inside(text, from) ? skip<false>(from) : from) {
    next();
  }

  bool at_end() const { return !valid_; }
  std::string_view get() const {
    KEP_ASSERT(valid_);
    return m_token;
  }
  /// The offset behind the token; where there is none, the end of the text.
  std::size_t get_end() const { return m_at; }
  void next() {
    prefetch(m_text, m_at);
    const std::size_t begin = skip<true>(m_at);
    const std::size_t end = skip<false>(begin);
    m_token = m_text.substr(begin, end - begin);
    m_at = end;
    valid_ = begin != end;
  }

  /// The number of tokens that begin in a stretch of the text; several times faster than to walk them.
  static std::size_t count(std::string_view text, std::size_t begin, std::size_t end) {
    constexpr std::size_t BLOCK = 64; // of a fixed size and without a jump, so that it becomes vector code
    std::size_t count = 0;
    if (begin == 0 && end != 0) count += !is_delimiter(text[begin++]);
    for (; end - begin >= BLOCK; begin += BLOCK) {
      prefetch(text, begin);
      const char* const before = text.data() + begin - 1;
      unsigned char in_block = 0;
      for (std::size_t i = 0; i != BLOCK; ++i)
        in_block = static_cast<unsigned char>(in_block + (static_cast<int>(is_delimiter(before[i])) &
                                                          static_cast<int>(!is_delimiter(before[i + 1]))));
      count += in_block;
    }
    for (; begin != end; ++begin)
      count += is_delimiter(text[begin - 1]) && !is_delimiter(text[begin]);
    return count;
  }

private:
  /// Asks for what will be read soon: a walk this fast waits for memory else.
  static void prefetch(std::string_view text, std::size_t at) {
    constexpr std::size_t AHEAD = 2048;
    __builtin_prefetch(text.data() + std::min(at + AHEAD, text.size()));
  }
  static bool is_delimiter(char c) {
    return static_cast<bool>((c == ' ') | (c == '\t') | (c == '\n') | (c == '"'));
  }
  static bool begins_inside(std::string_view text, std::size_t from) {
    return from != 0 && !is_delimiter(text[from - 1]);
  }
  template <bool DELIMITERS>
  std::size_t skip(std::size_t at) const {
    // All delimiters are small, and most characters are not.
    const auto is = [](char c) { return static_cast<unsigned char>(c) <= '"' && is_delimiter(c); };
    while (at != m_text.size() && is(m_text[at]) == DELIMITERS)
      ++at;
    return at;
  }

  std::string_view m_text;
  std::string_view m_token;
  std::size_t m_at = 0;
  bool valid_ = false; // spelled as the assertion tells it
};
