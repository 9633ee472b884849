#include "kep/comparison/kep_diff_groups.h"

#include "kep/kep_routing_primitive_cache.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace {

using GROUP = KEP_GRAPH_DIFF_GROUP;

std::uint64_t get_size(const GROUP& group) {
  std::uint64_t size = 0;
  for (const KEP_GRAPH_DIFF_COUNTS& counts : group.m_counts)
    size += counts.m_num_nodes + counts.get_num_edges();
  return size;
}

/// Turns groups of numbers into what users see, in the order in which they come.
class GROUP_LIST {
public:
  GROUP_LIST(const KEP_PATH_CLASSES& classes, const KEP_COMPARED_GRAPH* const graphs[2],
             const KEP_NAME_NUMBERS& names)
      : m_classes(classes), m_graphs{graphs[0], graphs[1]}, m_names(names) {}

  void add(const KEP_DIFF_GROUP_KEY& key, const KEP_DIFF_GROUP_COUNTS& counts);
  std::vector<GROUP> take();

private:
  /// Ports of masters, and the side that alone has edges through them.
  using MASTER_KEY = std::tuple<const KEP_PORT*, const KEP_PORT*, unsigned>;

  void describe(const KEP_DIFF_GROUP_KEY& key, unsigned side, GROUP& group) const;
  const KEP_PORT* find_top_port(unsigned side, std::string_view name) const;
  GROUP::CAUSE find_cause(const GROUP& group);
  bool is_arc_input(unsigned side, const KEP_INST_PORT& inst_port);
  bool join(const GROUP& group);
  void count_instances();

  const KEP_PATH_CLASSES& m_classes;
  const KEP_COMPARED_GRAPH* m_graphs[2];
  const KEP_NAME_NUMBERS& m_names;
  std::optional<KEP_DB_ROUTING_PRIMITIVE_CACHE> m_digests[2]; // made where one is wanted
  std::vector<GROUP> m_groups;
  std::map<KEP_DIFF_GROUP_KEY, std::size_t> m_instances; // those groups
  std::map<MASTER_KEY, std::size_t> m_masters;           // groups that others may join
};

void GROUP_LIST::add(const KEP_DIFF_GROUP_KEY& key, const KEP_DIFF_GROUP_COUNTS& counts) {
  GROUP group;
  group.m_about = key.m_about;
  for (const unsigned side : {0U, 1U}) {
    group.m_counts[side] = counts.m_sides[side];
    describe(key, side, group);
  }
  if (key.m_about == GROUP::ABOUT::INSTANCES)
    m_instances.emplace(key, m_groups.size());
  else
    group.m_cause = find_cause(group);
  if (!join(group)) m_groups.push_back(group);
}

void GROUP_LIST::describe(const KEP_DIFF_GROUP_KEY& key, unsigned side, GROUP& group) const {
  const std::vector<KEP_MODULE*>& modules = m_graphs[side]->get_unfolding().get_modules();
  const std::vector<std::uint32_t>& numbers = m_classes.get_type(key.m_type).m_modules[side];
  const bool is_above_top = key.m_type == KEP_PATH_CLASSES::ABOVE_TOP;
  const KEP_MODULE* module = is_above_top || numbers.empty() ? nullptr : modules[numbers.front()];
  group.m_modules[side] = module;
  if (key.m_about == GROUP::ABOUT::INSTANCES) {
    if (key.m_name >> 32 == side) group.m_masters[side] = modules[static_cast<std::uint32_t>(key.m_name)];
    return;
  }
  const std::string_view port_name = m_names.get_name(KEP_PORT_NAME::port(key.m_name));
  if (is_above_top) group.m_ports[side] = find_top_port(side, port_name);
  if (!module) return;
  const KEP_INSTANCE* instance = module->find_instance(m_names.get_name(KEP_PORT_NAME::instance(key.m_name)));
  if (!instance) return;
  group.m_masters[side] = instance->get_module();
  if (const KEP_PORT* port = instance->get_module()->find_port(port_name))
    group.m_inst_ports[side] = instance->get_inst_port_for_port(port);
}

const KEP_PORT* GROUP_LIST::find_top_port(unsigned side, std::string_view name) const {
  for (const KEP_SLOT& slot : m_graphs[side]->get_unfolding().get_top_slots())
    if (const KEP_PORT* port = slot.m_module->find_port(name)) return port;
  return nullptr;
}

bool GROUP_LIST::is_arc_input(unsigned side, const KEP_INST_PORT& inst_port) {
  if (!m_digests[side]) m_digests[side].emplace(&m_graphs[side]->get_db());
  return m_digests[side]->is_arc_input(inst_port.get_port());
}

GROUP::CAUSE GROUP_LIST::find_cause(const GROUP& group) {
  if (!group.m_modules[0] || !group.m_modules[1]) return GROUP::CAUSE::UNKNOWN;
  const KEP_INST_PORT* const* ports = group.m_inst_ports;
  if (!group.m_masters[0] || !group.m_masters[1]) return GROUP::CAUSE::INSTANCE;
  if (ports[0] && ports[1] && group.m_about == GROUP::ABOUT::MUX_INPUT &&
      is_arc_input(0, *ports[0]) != is_arc_input(1, *ports[1]))
    return GROUP::CAUSE::ARC;
  if (std::strcmp(group.m_masters[0]->get_plain_name(), group.m_masters[1]->get_plain_name()) != 0)
    return GROUP::CAUSE::MASTER;
  if (!ports[0] || !ports[1]) return GROUP::CAUSE::PORT;
  if ((ports[0]->get_net() == nullptr) != (ports[1]->get_net() == nullptr)) return GROUP::CAUSE::NET;
  return GROUP::CAUSE::UNKNOWN;
}

/// Muxes of a master that has lost, or got, an input are one group. False for the first of them, and for what
/// is something else.
bool GROUP_LIST::join(const GROUP& group) {
  const bool is_one_sided = group.m_counts[0].empty() || group.m_counts[1].empty();
  if (group.m_about != GROUP::ABOUT::MUX_INPUT || !is_one_sided) return false;
  if (group.m_cause != GROUP::CAUSE::ARC && group.m_cause != GROUP::CAUSE::PORT) return false;
  const auto get_port = [&group](unsigned side) {
    return group.m_inst_ports[side] ? group.m_inst_ports[side]->get_port() : nullptr;
  };
  const MASTER_KEY key(get_port(0), get_port(1), group.m_counts[0].empty() ? 1 : 0);
  const auto [found, is_new] = m_masters.try_emplace(key, m_groups.size());
  if (is_new) return false;
  GROUP& first = m_groups[found->second];
  if (first.m_about != GROUP::ABOUT::MASTER) first.m_num_instances = 1;
  first.m_about = GROUP::ABOUT::MASTER;
  ++first.m_num_instances;
  for (const unsigned side : {0U, 1U})
    first.m_counts[side].add(group.m_counts[side]);
  return true;
}

/// How many instances each of those groups has, at how many places, and which comes first.
void GROUP_LIST::count_instances() {
  std::set<std::pair<std::size_t, const KEP_INSTANCE*>> known;
  for (std::uint32_t i = 1; i != m_classes.get_num_classes(); ++i) {
    if (m_classes.get_type_of(i).is_paired()) continue;
    const unsigned side = m_classes.get_type_of(i).m_modules[0].empty() ? 1 : 0;
    if (!m_classes.get_type_of(m_classes.find_parent(side, i)).is_paired()) continue;
    const auto found = m_instances.find(kep_make_instances_key(m_classes, m_graphs, side, i));
    if (found == m_instances.end()) continue;
    GROUP& group = m_groups[found->second];
    ++group.m_num_places;
    const KEP_UNFOLDING& unfolding = m_graphs[side]->get_unfolding();
    const KEP_OCCURRENCE& occurrence = unfolding.get(m_classes.get_members(side, i).front());
    const KEP_MODULE* around = unfolding.get_module(occurrence.m_parent);
    if (!around) { // the top, which is no instance
      group.m_num_instances = 1;
      continue;
    }
    const KEP_SLOT& slot = unfolding.get_slot(occurrence.m_parent, occurrence.m_slot);
    const KEP_INSTANCE* instance = around->get_instance_by_index(slot.m_instance);
    if (known.emplace(found->second, instance).second && group.m_num_instances++ == 0)
      group.m_instances[side] = instance;
  }
}

std::vector<GROUP> GROUP_LIST::take() {
  if (!m_instances.empty()) count_instances();
  std::stable_sort(m_groups.begin(), m_groups.end(),
                   [](const GROUP& left, const GROUP& right) { return get_size(left) > get_size(right); });
  return std::move(m_groups);
}

} // namespace

KEP_DIFF_GROUP_KEY kep_make_instances_key(const KEP_PATH_CLASSES& classes,
                                          const KEP_COMPARED_GRAPH* const graphs[2], unsigned side,
                                          std::uint32_t path_class) {
  const std::uint32_t root = classes.find_root(side, path_class);
  const std::uint32_t master = graphs[side]->get_module_at(classes.get_members(side, root).front());
  return {KEP_DIFF_GROUP_KEY::ABOUT::INSTANCES, classes.get_type_number(classes.find_parent(side, root)),
          std::uint64_t{side} << 32 | master};
}

std::vector<KEP_GRAPH_DIFF_GROUP> kep_describe_groups(const KEP_DIFF_GROUPS& groups,
                                                      const KEP_PATH_CLASSES& classes,
                                                      const KEP_COMPARED_GRAPH* const graphs[2],
                                                      const KEP_NAME_NUMBERS& names) {
  GROUP_LIST list(classes, graphs, names);
  for (const auto& [key, counts] : groups)
    list.add(key, counts);
  return list.take();
}
