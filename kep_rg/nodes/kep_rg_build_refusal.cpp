// What a device brings about that the walk over nodes would assert or throw on, found beforehand with its
// place; and why a walk that went well made no node.

#include "kep/kep_routing_graph.h"
#include "kep_rg/kep_rg_build.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <vector>

using MODULE_TYPE = KEP_RG_INSTANCE_IS_PRIMITIVE::MODULE_TYPE;

namespace {

std::string describe(const KEP_MODULE* module) {
  return fmt::format("module \"{}\" in view {}", module->get_plain_name(),
                     kep_get_name_of_view_type(module->get_view_type()));
}

/// Goes the way of the walk that makes nodes, but through each module only once.
class REFUSAL_FINDER {
public:
  REFUSAL_FINDER(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives,
                 const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate, const KEP_VIEW_TYPE_RANK& rank)
      : m_primitives(primitives), m_predicate(predicate), m_rank(rank),
        m_visited(db.get_unfolding().get_modules().size()) {}

  /// `is_under_root`: an IP root is among the modules of the chain.
  std::string find(const KEP_MODULE* module, bool is_under_root) {
    if (module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) {
      if (is_under_root) return tell_root_under_root(module);
      is_under_root = true;
      m_root = module;
      m_root_depth = m_chain.size();
    }
    if (m_predicate.get_module_type(module) == MODULE_TYPE::BLC_ROUTING_ROOT) return {};
    bool& visited = m_visited[module->get_number()][is_under_root ? 1 : 0];
    if (visited) return {};
    visited = true;
    for (const KEP_INSTANCE* instance : module->iter_instances()) {
      m_chain.push_back(instance);
      std::string refusal = find(instance, is_under_root);
      if (!refusal.empty()) return refusal;
      m_chain.pop_back();
    }
    return {};
  }

private:
  std::string find(const KEP_INSTANCE* instance, bool is_under_root) {
    const KEP_MODULE* master = m_rank.find_view(instance->get_module());
    if (!master) return {};
    const MODULE_TYPE type = m_predicate.get_module_type(master);
    if (type == MODULE_TYPE::ROUTING_ROOT || type == MODULE_TYPE::UNCLASSIFIED)
      return find(master, is_under_root);
    if (type == MODULE_TYPE::IP_ROOT_NOT_ROUTED && instance->get_inst_header() &&
        !m_primitives.find_module_to_ports(master))
      return fmt::format(
          "cell \"{}\" has an inst header, but {} is an IP root that is neither a routing root "
          "nor has arcs: there is nothing to make nodes of",
          get_path(m_chain.size()), describe(master));
    return {};
  }
  std::string tell_root_under_root(const KEP_MODULE* module) const {
    const std::string outer = m_root_depth == 0 ? "the top" : fmt::format("\"{}\"", get_path(m_root_depth));
    return fmt::format(
        "IP root \"{}\" ({}) lies under another, {} ({}): where nodes are made one IP root may "
        "not lie under another",
        get_path(m_chain.size()), describe(module), outer, describe(m_root));
  }
  std::string get_path(std::size_t depth) const {
    std::string path;
    for (std::size_t i = 0; i != depth; ++i) {
      if (i != 0) path += '/';
      path += m_chain[i]->get_plain_name();
    }
    return path;
  }

  const KEP_RG_PRIMITIVES& m_primitives;
  const KEP_RG_INSTANCE_IS_PRIMITIVE& m_predicate;
  const KEP_VIEW_TYPE_RANK& m_rank;
  std::vector<std::array<bool, 2>> m_visited; // by module number: outside of IP roots, and under one
  std::vector<const KEP_INSTANCE*> m_chain;   // from the top to where the walk stands
  const KEP_MODULE* m_root = nullptr;         // the last IP root that was entered
  std::size_t m_root_depth = 0;               // how much of the chain leads to it
};

} // namespace

std::string KEP_RG_BUILD::find_refusal() const {
  REFUSAL_FINDER finder(*m_db, m_primitives, m_instance_is_primitive, m_view_type_rank);
  return finder.find(find_routing_top().m_object, false);
}

std::string KEP_RG_BUILD::explain_no_nodes() const {
  if (m_node_stats.m_created_num_nodes != 0) return {};
  const KEP_ROUTING_PRIMITIVE* store = m_db->get_routing_template_graph()->get_routing_primitive();
  const auto muxes = store->iter_routing_muxes(false);
  if (muxes.empty()) return "the description has no arc (add_port_edge)";
  if (m_outputs_without_node.get_total() == 0) {
    const KEP_MODULE* module = (*muxes.begin())->get_module();
    const KEP_MODULE* view = m_view_type_rank.find_view(module);
    return fmt::format("no cell below the top is of a module with arcs; {}, for one, has arcs{}",
                       describe(module),
                       view && view != module ? fmt::format(", but routing goes through its view {}",
                                                            kep_get_name_of_view_type(view->get_view_type()))
                                              : "");
  }
  std::string text = fmt::format("of {} outputs of muxes: ", m_outputs_without_node.get_total());
  for (std::size_t i = 0; i != KEP_RG_OUTPUTS_WITHOUT_NODE::NUM_REASONS; ++i) {
    const KEP_RG_OUTPUTS_WITHOUT_NODE::COUNT& count = m_outputs_without_node.m_counts[i];
    if (count.m_number == 0) continue;
    if (!text.ends_with(": ")) text += "; ";
    text += fmt::format("{} {} (\"{}\" for one)", count.m_number,
                        KEP_RG_OUTPUTS_WITHOUT_NODE::get_text(static_cast<WITHOUT_NODE>(i)), count.m_example);
  }
  return text;
}
