#pragma once

/// @file
/// Which of the views of a module is taken.

#include "kep/kep_design.h"

/// Up to two views in order of preference (docs/glossary.md: rank). A small value; an empty rank finds
/// nothing.
class KEP_VIEW_TYPE_RANK {
public:
  KEP_VIEW_TYPE_RANK() = default;
  ///@{
  /// A rank of one view, or of two of which the first is preferred.
  explicit KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE view) : m_views{view, view}, m_size(1) {}
  KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE first, KEP_VIEW_TYPE second) : m_views{first, second}, m_size(2) {}
  ///@}

  /// How many views are in it, 0 to 2.
  unsigned char size() const { return m_size; }
  /// `i` must be below size().
  KEP_VIEW_TYPE get_view_type(unsigned char i) const { return m_views[i]; }
  ///@{
  /// The module's equivalent, itself included, in the first view of the rank that has one, else null. The
  /// flag and the instance are accepted for tools that pass them and change nothing.
  KEP_MODULE* find_view(const KEP_MODULE* module, bool, const KEP_INSTANCE*) const {
    return find_view(module);
  }
  KEP_MODULE* find_view(const KEP_MODULE* module) const {
    for (unsigned char i = 0; i != m_size; ++i)
      if (KEP_MODULE* found = module->find_view(m_views[i])) return found;
    return nullptr;
  }
  ///@}

private:
  KEP_VIEW_TYPE m_views[2] = {KEP_VIEW_TYPE::DEFAULT_VIEW, KEP_VIEW_TYPE::DEFAULT_VIEW};
  unsigned char m_size = 0;
};
static_assert(sizeof(KEP_VIEW_TYPE_RANK) == 3, "two views and a count");
