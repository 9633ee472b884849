#pragma once

#include <string>
#include <vector>

struct DESCRIBE_OPTIONS {
  std::string m_model;
  std::vector<std::string> m_muxes; ///< "GLOB:IN>OUT"
  std::string m_new_model;
  std::string m_routing;
};

/// Describes the modules that fit the patterns as muxes: writes their arcs, and the model anew in which their
/// cells have inst headers. Says what it found on standard output. Both files appear when they are complete.
/// std::runtime_error with one line when something can't be used.
void describe(const DESCRIBE_OPTIONS& options);
