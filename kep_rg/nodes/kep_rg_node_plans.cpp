#include "kep_rg/nodes/kep_rg_node_plans.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep_report/kep_report_progress.h"

#include <tbb/parallel_for.h>

#include <utility>

namespace {

constexpr std::uint32_t MANY_NODES = 1 << 14; // that are worth being shared among threads

/// Calls visit(counter, other) for each counter of the walk.
template <class STATS, class OTHER, class VISIT>
void visit_stats(STATS& stats, OTHER& other, const VISIT& visit) {
  visit(stats.m_eliminated_num_nodes, other.m_eliminated_num_nodes);
  visit(stats.m_created_num_nodes, other.m_created_num_nodes);
  visit(stats.m_created_num_nodes_blc, other.m_created_num_nodes_blc);
  visit(stats.m_created_num_nodes_inserted, other.m_created_num_nodes_inserted);
  visit(stats.m_repeated_num_nodes, other.m_repeated_num_nodes);
}

template <class BODY>
void run_on_all_threads(std::size_t count, const BODY& body) {
  const auto run_one = [&](std::size_t i) {
    KEP_TSAN::begin_body();
    body(i);
    KEP_TSAN::end_body();
  };
  kep_run_loop(
      [&](tbb::task_group_context& context) { tbb::parallel_for(std::size_t{0}, count, run_one, context); });
}

} // namespace

struct KEP_RG_NODE_PLANS::PLAN {
  /// Nodes of the module itself, one behind the other, or all of a module below. It ends where the next
  /// begins.
  struct PART {
    std::uint32_t m_first_node; // counted from the first of the plan
    std::uint32_t m_at;         // the first of the own inst ports, or the rank among the inner children
    const PLAN* m_child;        // null for own nodes
  };

  KEP_MODULE* m_module;
  WALK m_walk;
  bool m_result = false;
  bool m_has_ip_root_below = false;
  std::uint32_t m_num_nodes = 0;
  COUNTS m_counts{};
  std::vector<PART> m_parts;
  std::vector<std::uint32_t> m_inst_ports; // of own nodes, by number
  std::set<const PLAN*> m_walked;          // of the modules below that leave what they gave with an IP root
};

KEP_RG_NODE_PLANS::KEP_RG_NODE_PLANS(const TARGETS& targets)
    : m_targets(targets), m_unfolding(targets.m_graph.get_db()->get_unfolding()),
      m_plans((m_unfolding.get_modules().size() + 1) * NUM_WALKS) {}

KEP_RG_NODE_PLANS::~KEP_RG_NODE_PLANS() = default;

const KEP_RG_NODE_PLANS::PLAN* KEP_RG_NODE_PLANS::find(const KEP_MODULE* module, WALK walk,
                                                       const HAS_NODES* has_nodes) const {
  const PLAN* plan = m_plans[get_index(module, walk)].get();
  // Under an IP root the walk refuses another one.
  return plan && !(has_nodes && plan->m_has_ip_root_below) ? plan : nullptr;
}

bool KEP_RG_NODE_PLANS::follow(const PLAN& plan, const KEP_UNFOLDED_MODULE& u_module, HAS_NODES* has_nodes) {
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(u_module.m_position);
  if (!m_open.empty()) add_own_nodes(m_open.back());
  std::uint32_t rank = KEP_SLOT::NOT_INNER;
  if (plan.m_num_nodes != 0) {
    const KEP_SLOT& slot = m_unfolding.get_slot(above, KEP_SLOT_POSITION::slot(u_module.m_position));
    rank = slot.m_inner_rank;
    m_places.push_back(
        {&plan, m_unfolding.get_child(above, slot), m_targets.m_graph.allocate_nodes(plan.m_num_nodes)});
  }
  const std::uint32_t num_before = m_targets.m_stats.m_created_num_nodes;
  visit_stats(m_targets.m_stats, plan.m_counts.m_stats,
              [](std::uint32_t& counter, std::uint32_t more) { counter += more; });
  if (m_targets.m_progress)
    m_targets.m_progress->add(
        std::uint64_t{NODES_PER_STEP} *
        (m_targets.m_stats.m_created_num_nodes / NODES_PER_STEP - num_before / NODES_PER_STEP));
  for (std::size_t i = 0; i != plan.m_counts.m_without_node.size(); ++i)
    m_targets.m_without_node.m_counts[i].m_number += plan.m_counts.m_without_node[i];
  if (has_nodes && plan.m_walk == WALK::ORDINARY) enter(plan, *has_nodes);
  add_child(plan, rank);
  return plan.m_result;
}

/// Tells an IP root what it would know if the modules had been walked.
void KEP_RG_NODE_PLANS::enter(const PLAN& plan, HAS_NODES& has_nodes) {
  if (!has_nodes.emplace(plan.m_module, plan.m_result).second) return;
  for (const PLAN* below : plan.m_walked)
    enter(*below, has_nodes);
}

void KEP_RG_NODE_PLANS::begin(const KEP_UNFOLDED_MODULE& u_module, WALK walk) {
  if (!m_open.empty()) add_own_nodes(m_open.back());
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(u_module.m_position);
  const std::uint32_t num_nodes = m_targets.m_graph.get_node_count();
  auto plan = std::make_unique<PLAN>();
  plan->m_module = u_module.m_object;
  plan->m_walk = walk;
  const unsigned rank =
      u_module.m_object
          ? m_unfolding.get_slot(above, KEP_SLOT_POSITION::slot(u_module.m_position)).m_inner_rank
          : KEP_SLOT::NOT_INNER;
  m_open.push_back({std::move(plan), rank, num_nodes, num_nodes, get_counts(), false});
}

void KEP_RG_NODE_PLANS::end(bool result) {
  OPEN open = std::move(m_open.back());
  m_open.pop_back();
  if (open.m_asks) {
    ask();
    if (!m_open.empty()) m_open.back().m_own_node = m_targets.m_graph.get_node_count();
    return;
  }
  add_own_nodes(open);
  PLAN& plan = *open.m_plan;
  plan.m_result = result;
  plan.m_num_nodes = m_targets.m_graph.get_node_count() - open.m_first_node;
  plan.m_counts = get_counts();
  visit_stats(plan.m_counts.m_stats, open.m_before.m_stats,
              [](std::uint32_t& counter, std::uint32_t before) { counter -= before; });
  for (std::size_t i = 0; i != plan.m_counts.m_without_node.size(); ++i)
    plan.m_counts.m_without_node[i] -= open.m_before.m_without_node[i];
  std::unique_ptr<const PLAN>& kept = m_plans[get_index(plan.m_module, plan.m_walk)];
  kept = std::move(open.m_plan);
  add_child(*kept, open.m_rank);
}

/// Of the module that is walked now: what it made itself since a module below it was last walked.
void KEP_RG_NODE_PLANS::add_own_nodes(OPEN& open) const {
  const std::uint32_t end = m_targets.m_graph.get_node_count();
  if (open.m_own_node == end || open.m_asks) return;
  PLAN& plan = *open.m_plan;
  if (plan.m_parts.empty() || plan.m_parts.back().m_child)
    plan.m_parts.push_back(
        {open.m_own_node - open.m_first_node, static_cast<std::uint32_t>(plan.m_inst_ports.size()), nullptr});
  for (; open.m_own_node != end; ++open.m_own_node)
    plan.m_inst_ports.push_back(m_targets.m_graph.get_node(open.m_own_node)->get_number());
}

void KEP_RG_NODE_PLANS::add_child(const PLAN& child, std::uint32_t rank) {
  if (m_open.empty()) return;
  OPEN& open = m_open.back();
  open.m_own_node = m_targets.m_graph.get_node_count();
  if (open.m_asks) return;
  PLAN& plan = *open.m_plan;
  if (child.m_num_nodes != 0)
    plan.m_parts.push_back({open.m_own_node - child.m_num_nodes - open.m_first_node, rank, &child});
  if (child.m_walk == WALK::INSIDE_BLC) return;
  const bool is_ip_root = child.m_module && child.m_module->has_trait(KEP_MODULE::TRAIT::IP_ROOT);
  plan.m_has_ip_root_below |= is_ip_root || child.m_has_ip_root_below;
  if (child.m_walk == WALK::ORDINARY) plan.m_walked.insert(&child);
}

KEP_RG_NODE_PLANS::COUNTS KEP_RG_NODE_PLANS::get_counts() const {
  COUNTS counts{m_targets.m_stats, {}};
  for (std::size_t i = 0; i != counts.m_without_node.size(); ++i)
    counts.m_without_node[i] = m_targets.m_without_node.m_counts[i].m_number;
  return counts;
}

void KEP_RG_NODE_PLANS::put_nodes() const {
  run_on_all_threads(m_places.size(), [this](std::size_t i) { put_nodes(m_places[i]); });
}

void KEP_RG_NODE_PLANS::put_nodes(const PLACE& place) const {
  const std::size_t num_parts = place.m_plan->m_parts.size();
  const auto put = [&](std::size_t part) { put_part(place, part); };
  if (place.m_plan->m_num_nodes >= MANY_NODES) return run_on_all_threads(num_parts, put);
  for (std::size_t part = 0; part != num_parts; ++part)
    put(part);
}

void KEP_RG_NODE_PLANS::put_part(const PLACE& place, std::size_t part) const {
  const PLAN& plan = *place.m_plan;
  const PLAN::PART& here = plan.m_parts[part];
  const std::uint32_t first = place.m_first_node + here.m_first_node;
  if (here.m_child)
    return put_nodes({here.m_child, m_unfolding.get(place.m_occurrence).m_first_child + here.m_at, first});
  const bool is_last = part + 1 == plan.m_parts.size();
  const std::uint32_t end = is_last ? plan.m_num_nodes : plan.m_parts[part + 1].m_first_node;
  const std::uint32_t* const inst_ports = plan.m_inst_ports.data() + here.m_at;
  m_targets.m_graph.put_nodes(first, place.m_occurrence,
                              {inst_ports, inst_ports + (end - here.m_first_node)});
}
