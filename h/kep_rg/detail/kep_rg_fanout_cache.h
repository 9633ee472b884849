#pragma once

#include "kep/kep_unfolded.h"
#include "kep_rg/kep_rg_export.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

/// Answers of earlier leaf searches, for like places (docs/glossary.md), called cdrn cache in names. An
/// answer is the list of leaves as relative paths from a module that encloses the search. One thread works
/// with an object. It grows up to a bound and then takes nothing more.
class KEP_RG_EXPORT KEP_RG_FANOUT_CACHE {
public:
  using UIPS = std::vector<KEP_UNFOLDED_INST_PORT>;

  /// Looks for an answer level by level; the top of the device has none. Appends the leaves in the order in
  /// which they were stored and gives the module from which they are seen, an empty one without an answer.
  KEP_UNFOLDED_MODULE find(const KEP_UNFOLDED_INST_PORT& driver, UIPS& leaves) const;

  /// Keeps the leaves as seen from `top`, the master of the driver's instance if that is empty. Replaces what
  /// stood there. False, and nothing is kept, when `top` is the top of the device or an equivalent, when the
  /// driver or a leaf does not stand below `top`, or when there is no room.
  bool store(const KEP_UNFOLDED_INST_PORT& driver, KEP_UNFOLDED_MODULE top, const UIPS& leaves);

private:
  friend class KEP_RG_TEST_ACCESS;

  using PATHS = std::vector<KEP_RELATIVE_PATH>;
  using BY_PATH = std::unordered_map<KEP_RELATIVE_PATH, PATHS>; // the driver's port, seen from the module
  using BY_MODULE = std::unordered_map<const KEP_MODULE*, BY_PATH>;
  using BY_LEVEL = std::unordered_map<int, BY_MODULE>; // from the master of the driver's instance up to it

  std::unordered_map<const KEP_INST_PORT*, BY_LEVEL> m_answers; // by driver
  std::size_t m_num_paths = 0;                                  // that were taken
};
