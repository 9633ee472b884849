#pragma once

#include <string>

/// Which modules are muxes, and which of their ports: "GLOB:IN>OUT". In GLOB "*" stands for any text, "?" for
/// any character, "[...]" for one of those characters; all else stands for itself.
struct MUX_PATTERN {
  std::string m_text;
  std::string m_glob;
  std::string m_in;
  std::string m_out;

  bool fits(const std::string& module_name) const;
};

/// std::runtime_error with one line when the text is no pattern.
MUX_PATTERN read_mux_pattern(const std::string& text);
