#pragma once

#include "kep/kep_db.h"
#include "tools/kep-rg/output/stats_file.h"

#include <memory>
#include <string>
#include <vector>

class KEP_RG_BUILD;

/// The files of a device, and how its graph is built.
struct DEVICE_OPTIONS {
  std::string m_model;                   ///< or a device database, behind which no other file is allowed
  std::vector<std::string> m_routing;    ///< read in this order
  std::vector<std::string> m_redundancy; ///< redundancy data
  std::string m_stats;                   ///< file for the statistics; empty: none
  int m_num_threads = 1;
  int m_nodes_per_display = 1000000;
  bool m_report = false;          ///< let the report lines of the library through
  bool m_verbose = false;         ///< these, and a line for each target or finding
  bool m_quiet = false;           ///< no summary and no progress
  bool m_skips_checksums = false; ///< those of a device database

  bool shows_report() const { return m_report || m_verbose; }
};

/// The device is a database: told by its first bytes; one that was damaged there, by its name.
bool is_database(const std::string& path);

/// Reads all files of the device, or opens its database, which has a finished graph. The report lines of the
/// library are only shown where they were asked for. Input that can't be used is told by an exception of the
/// library that found it out, or by std::runtime_error. What it took is entered in the statistics, here and
/// below.
std::unique_ptr<KEP_DB> read_device(const DEVICE_OPTIONS& options, BUILD_STATS& stats);

/// Builds the routing graph of a device that was read, unless it came with one. std::runtime_error for a
/// device on which none can be built; one on which no node stands is a warning.
void build_graph(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats);
/// The same, and gives the builder. Where the graph was there, that has the nodes and redundant inputs, which
/// KEP_RG_BUILD::debug_edges() asks for, and no edges.
std::unique_ptr<KEP_RG_BUILD> build_and_keep(KEP_DB* db, const DEVICE_OPTIONS& options, BUILD_STATS& stats);

/// The role of redundancy data among the inputs that a database names.
inline constexpr const char* REDUNDANCY_ROLE = "redundancy";
/// There was redundancy data when the device was made.
bool has_redundancy_data(const DEVICE_OPTIONS& options, const BUILD_STATS& stats);
/// Whether redundant edges are many enough is only judged where there was such data or redundant edges are
/// there: a device without any is no fault.
bool is_redundancy_judged(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats);

/// Finds out before anything is read whether the statistics and these outputs can be written (check_files.h).
void check_outputs(const DEVICE_OPTIONS& options, std::vector<std::string> outputs = {},
                   const std::string& made_folder = "");

/// Refuses statistics on standard output, which takes the command's answer.
void keep_stats_off_standard_output(const DEVICE_OPTIONS& options);

/// Writes the statistics of a graph that was built, if they were asked for.
void write_stats(const KEP_DB& db, const DEVICE_OPTIONS& options, const BUILD_STATS& stats);
