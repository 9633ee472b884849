#pragma once

#include "kep/kep_unfolded.h"
#include "tests/support/model_fixture.h"

#include <memory>
#include <string>
#include <vector>

/// The unfolded hierarchy spelled out as a tree: what positions are compared with.
namespace test_model {

inline constexpr KEP_VIEW_TYPE ALL_VIEWS[] = {KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::VIEW_1,
                                              KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL_TWIN};

/// The module itself when it has the view or none in particular is asked for, else its first equivalent
/// there.
inline KEP_MODULE* naive_view(KEP_MODULE* module, KEP_VIEW_TYPE view) {
  if (view == KEP_VIEW_TYPE::DEFAULT_VIEW || module->get_view_type() == view) return module;
  const std::vector<KEP_MODULE*> equivalents = module->get_equivalent_modules(view);
  return equivalents.empty() ? nullptr : equivalents.front();
}

inline KEP_MODULE* naive_view(KEP_MODULE* module, const KEP_VIEW_TYPE_RANK& rank) {
  for (unsigned char i = 0; i != rank.size(); ++i)
    if (KEP_MODULE* found = naive_view(module, rank.get_view_type(i))) return found;
  return nullptr;
}

/// One occurrence of a module.
struct NAIVE_OCCURRENCE {
  const NAIVE_OCCURRENCE* m_parent = nullptr; ///< null at the top
  KEP_INSTANCE* m_instance = nullptr;         ///< null at the top
  KEP_MODULE* m_module = nullptr;
  KEP_UNFOLDED_MODULE m_value; ///< reached by steps down from the top
  std::string m_path;          ///< "a/b"
  std::vector<std::unique_ptr<NAIVE_OCCURRENCE>> m_children;

  const NAIVE_OCCURRENCE* child(const KEP_INSTANCE* instance, const KEP_MODULE* module) const {
    for (const auto& each : m_children)
      if (each->m_instance == instance && each->m_module == module) return each.get();
    return nullptr;
  }
  KEP_UNFOLDED_INSTANCE unfolded(const KEP_INSTANCE* instance) const {
    for (const KEP_UNFOLDED_INSTANCE& each : m_value.iter_instances())
      if (each.m_object == instance) return each;
    return {};
  }
  KEP_UNFOLDED_INST_PORT unfolded(const KEP_INST_PORT* inst_port) const {
    return unfolded(inst_port->get_inst()).get_unfolded_inst_port_by_index(inst_port->get_index());
  }
};

class NAIVE_HIERARCHY {
public:
  explicit NAIVE_HIERARCHY(const KEP_DB& db) {
    for (const KEP_VIEW_TYPE view : ALL_VIEWS) {
      KEP_MODULE* top = naive_view(db.get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW), view);
      if (!top) continue;
      m_tops.push_back(std::make_unique<NAIVE_OCCURRENCE>());
      m_tops.back()->m_module = top;
      m_tops.back()->m_value = db.get_top_unfolded_module(view);
      unfold(*m_tops.back());
    }
  }

  /// One for each view that the top has.
  const std::vector<std::unique_ptr<NAIVE_OCCURRENCE>>& tops() const { return m_tops; }
  /// Every occurrence, parents before their children.
  const std::vector<const NAIVE_OCCURRENCE*>& all() const { return m_all; }
  /// Every uip, in that order.
  std::vector<KEP_UNFOLDED_INST_PORT> uips() const {
    std::vector<KEP_UNFOLDED_INST_PORT> uips;
    for (const NAIVE_OCCURRENCE* at : m_all)
      for (const KEP_UNFOLDED_INSTANCE& instance : at->m_value.iter_instances())
        for (const KEP_UNFOLDED_INST_PORT& each : instance.iter_inst_ports())
          uips.push_back(each);
    return uips;
  }

private:
  void unfold(NAIVE_OCCURRENCE& at) {
    m_all.push_back(&at);
    for (const KEP_UNFOLDED_INSTANCE& instance : at.m_value.iter_instances())
      for (const KEP_VIEW_TYPE view : ALL_VIEWS) {
        KEP_MODULE* master = naive_view(instance.m_object->get_module(), view);
        if (!master) continue;
        auto child = std::make_unique<NAIVE_OCCURRENCE>();
        child->m_parent = &at;
        child->m_instance = instance.m_object;
        child->m_module = master;
        child->m_value = instance.get_module(view);
        child->m_path = (at.m_path.empty() ? "" : at.m_path + "/") + instance.m_object->get_plain_name();
        at.m_children.push_back(std::move(child));
        unfold(*at.m_children.back());
      }
  }

  std::vector<std::unique_ptr<NAIVE_OCCURRENCE>> m_tops;
  std::vector<const NAIVE_OCCURRENCE*> m_all;
};

} // namespace test_model
