#pragma once

#include "kep/comparison/kep_compared_graph.h"

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

/// The inner occurrences of two databases in classes: those of one path of instance names from the top, on
/// either side. A class has several occurrences of a side where its modules stand in several views. Class 0
/// is what stands above the tops, with the path of boundary nodes; the tops of all views are one class.
/// Read-only once it is made.
///
/// Classes whose members have the same modules are of one type. How the classes below one go on is found once
/// for its type.
class KEP_PATH_CLASSES {
public:
  static constexpr std::uint32_t ABOVE_TOP = 0; ///< class and type

  using MODULES = std::array<std::vector<std::uint32_t>, 2>; ///< numbers of modules on each side

  struct TYPE {
    MODULES m_modules; ///< of the members, on each side
    /// Both sides have one member, and ranks of nodes and numbers of inst ports mean the same names.
    bool m_has_like_numbers = false;

    bool is_paired() const { return !m_modules[0].empty() && !m_modules[1].empty(); }
  };

  KEP_PATH_CLASSES(const KEP_COMPARED_GRAPH& first, const KEP_COMPARED_GRAPH& second);

  std::uint32_t get_num_classes() const { return static_cast<std::uint32_t>(m_classes.size()); }
  std::uint32_t find_class(unsigned side, std::uint32_t occurrence) const {
    return m_classes_of[side][occurrence];
  }
  std::uint32_t get_type_number(std::uint32_t path_class) const { return m_classes[path_class].m_type; }
  const TYPE& get_type(std::uint32_t number) const { return m_types[number]; }
  const TYPE& get_type_of(std::uint32_t path_class) const { return m_types[m_classes[path_class].m_type]; }
  /// The occurrences of that side.
  std::span<const std::uint32_t> get_members(unsigned side, std::uint32_t path_class) const {
    const CLASS& own = m_classes[path_class];
    return {m_members[side].data() + own.m_first_members[side], m_types[own.m_type].m_modules[side].size()};
  }
  /// The topmost class on the way to one that one side alone has, which the other does not have.
  std::uint32_t find_root(unsigned side, std::uint32_t path_class) const;
  /// The class around.
  std::uint32_t find_parent(unsigned side, std::uint32_t path_class) const {
    const std::uint32_t member = get_members(side, path_class).front();
    return find_class(side, m_graphs[side]->get_unfolding().get(member).m_parent);
  }

private:
  struct CLASS {
    std::uint32_t m_first_members[2];
    std::uint32_t m_type;
  };
  /// Of a type: a class below each of its classes.
  struct CHILD {
    struct MEMBER {
      std::uint32_t m_parent;     ///< which member of the class above
      std::uint32_t m_inner_rank; ///< of the slot there
    };
    std::uint32_t m_type = 0;
    std::array<std::vector<MEMBER>, 2> m_members; ///< by side
  };
  struct NAMED_SLOT {
    std::uint32_t m_name;
    unsigned m_side;
    std::uint32_t m_module;
    CHILD::MEMBER m_member;
  };

  std::uint32_t number_type(MODULES modules);
  bool has_like_numbers(const TYPE& type) const;
  void list_children(std::uint32_t type);
  void list_slots(unsigned side, const TYPE& type, std::vector<NAMED_SLOT>& slots) const;
  void add_class(std::uint32_t parent, const CHILD& child);

  const KEP_COMPARED_GRAPH* m_graphs[2];
  std::vector<CLASS> m_classes;
  std::vector<std::uint32_t> m_members[2];    // class by class
  std::vector<std::uint32_t> m_classes_of[2]; // by occurrence
  std::vector<TYPE> m_types;
  std::map<MODULES, std::uint32_t> m_type_numbers;
  std::vector<std::vector<CHILD>> m_children; // by type; while it is made
};
