#pragma once

#include "kep_report/kep_report_assert.h"

#include <string_view>

/// Walks the tokens of redundancy data: runs of characters without blanks, tabs, newlines and double quotes.
/// Stands on the first token once made. Asserts that there is a token where one is asked for.
class KEP_RG_REDUNDANCY_TOKENS {
public:
  explicit KEP_RG_REDUNDANCY_TOKENS(std::string_view text) : m_text(text) { next(); }

  bool at_end() const { return !valid_; }
  std::string_view get() const {
    KEP_ASSERT(valid_);
    return m_token;
  }
  void next() {
    const std::size_t begin = skip<true>(m_at);
    const std::size_t end = skip<false>(begin);
    m_token = m_text.substr(begin, end - begin);
    m_at = end;
    valid_ = begin != end;
  }

private:
  static bool is_delimiter(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '"'; }
  template <bool DELIMITERS>
  std::size_t skip(std::size_t at) const {
    while (at != m_text.size() && is_delimiter(m_text[at]) == DELIMITERS)
      ++at;
    return at;
  }

  std::string_view m_text;
  std::string_view m_token;
  std::size_t m_at = 0;
  bool valid_ = false; // spelled as the assertion tells it
};
