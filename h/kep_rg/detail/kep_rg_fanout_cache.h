#pragma once

#include "kep/kep_unfolded.h"
#include "kep_rg/kep_rg_export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Answers of earlier leaf searches, for like places (docs/glossary.md), called cdrn cache in names. An
/// answer is the list of leaves as seen from a module that encloses the search. It is kept under the driver's
/// inst port, the number of levels from the master of the driver's instance up to that module, the module,
/// and the driver's place below it.
///
/// The leaves are not kept as relative paths, since whoever follows one searches each level on the way. They
/// are inst ports of inner occurrences, and each occurrence is a child of an earlier one: a hit takes two
/// loads for each. One thread works with an object. It grows up to a bound and then takes nothing more.
class KEP_RG_EXPORT KEP_RG_FANOUT_CACHE {
public:
  using UIPS = std::vector<KEP_UNFOLDED_INST_PORT>;

  /// Looks for an answer level by level; the top of the device has none. Appends the leaves in the order in
  /// which they were stored and gives the module from which they are seen, an empty one without an answer.
  KEP_UNFOLDED_MODULE find(const KEP_UNFOLDED_INST_PORT& driver, UIPS& leaves);

  /// Keeps the leaves as seen from `top`, the master of the driver's instance if that is empty. Replaces what
  /// stood there. False, and nothing is kept, when the driver or a leaf does not stand below `top`, or when
  /// there is no room.
  bool store(const KEP_UNFOLDED_INST_PORT& driver, const KEP_UNFOLDED_MODULE& top, const UIPS& leaves);

  std::size_t size() const { return m_answers.size(); }

private:
  // A driver as it is seen from a module above: what like places have in common.
  struct KEY {
    const KEP_INST_PORT* m_driver;
    const KEP_MODULE* m_module;
    std::uint64_t m_difference; // of the numbers of the two occurrences
    std::uint32_t m_level;

    bool operator==(const KEY&) const = default;
    std::size_t hash() const;
  };
  struct ANSWER {
    KEY m_key;
    std::uint32_t m_first_place;
    std::uint32_t m_num_places;
    std::uint32_t m_first_leaf;
    std::uint32_t m_num_leaves;
  };
  // An inner occurrence: child number m_rank of an earlier one of the same answer. Number 0 is not stored.
  struct PLACE {
    std::uint32_t m_parent;
    std::uint32_t m_rank;
  };
  struct LEAF {
    KEP_INST_PORT* m_inst_port;
    std::uint32_t m_place;
  };
  // The levels at which an inst port has answers, a bit each; the last one stands for all above, too.
  struct DRIVER {
    const KEP_INST_PORT* m_inst_port = nullptr;
    std::uint64_t m_levels = 0;
  };
  // The way up from a driver. Level 0 is the master of its instance and shares the occurrence with level 1,
  // the module that holds the instance.
  struct STEP {
    const KEP_UNFOLDING* m_unfolding;
    std::uint32_t m_occurrence;
    std::uint32_t m_level = 0;
    KEP_UNFOLDED_MODULE m_module;

    explicit STEP(const KEP_UNFOLDED_INST_PORT& driver);
    void climb();
  };

  static KEY get_key(const KEP_UNFOLDED_INST_PORT& driver, const STEP& step);
  std::uint64_t find_levels(const KEP_INST_PORT* driver) const;
  void add_level(const KEP_INST_PORT* driver, std::uint32_t level);
  const ANSWER* find_answer(const KEY& key) const;
  void append_leaves(const ANSWER& answer, const STEP& step, UIPS& leaves);
  bool add_leaves(const KEP_UNFOLDED_INST_PORT& driver, const STEP& step, const UIPS& leaves);
  bool add_place(const STEP& step, std::uint32_t occurrence, std::uint32_t& place);
  void enter(const ANSWER& answer);

  std::vector<DRIVER> m_drivers; // open addressing; a power of two, at most half of it in use
  std::size_t m_num_drivers = 0;
  std::vector<std::uint32_t> m_buckets; // likewise: the number of an answer plus 1, or 0
  std::vector<ANSWER> m_answers;
  std::vector<PLACE> m_places;
  std::vector<LEAF> m_leaves;
  std::vector<std::uint32_t> m_occurrences; // the places of the answer at hand, where it is wanted
  std::vector<std::uint32_t> m_way;
};
