#pragma once

#include <string>
#include <vector>

/// What `kep-rg build` was asked for.
struct BUILD_OPTIONS {
  std::string m_model;
  std::vector<std::string> m_routing;    ///< read in this order
  std::vector<std::string> m_redundancy; ///< redundancy data
  std::string m_wire_paths;              ///< file for the paths of wires; empty: none
  int m_num_threads = 1;
  int m_nodes_per_display = 1000000;
  bool m_verbose = false;
  std::string m_dump;  ///< folder for the dump; empty: none
  std::string m_stats; ///< file for the statistics; empty: none
};

/// Reads a device, builds its routing graph and writes what was asked for. Input that cannot be used is told
/// by an exception of the library that found it out, or by std::runtime_error; files appear only when they
/// are complete.
void build_command(const BUILD_OPTIONS& options);
