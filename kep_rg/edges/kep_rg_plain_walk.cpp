#include "kep_rg/edges/kep_rg_plain_walk.h"

bool KEP_RG_PLAIN_WALK::walk(const KEP_RG_PLAIN_NETS& nets, std::uint32_t occurrence,
                             std::uint32_t inst_port) {
  m_fanouts.clear();
  m_redundant_fanouts.clear();
  m_frames.clear();
  m_visited.clear();
  m_num_leaves = 0;
  m_num_nowhere = 0;
  m_top = occurrence;
  if (!start(nets, occurrence, inst_port)) return false;
  while (!m_frames.empty())
    if (!step(nets)) return false;
  // What reaches the top of the device has no like place.
  if (m_visited.size() != 0 && nets.get_unfolding().get(m_top).m_module->is_top_module_or_equiv())
    m_is_kept = false;
  return true;
}

bool KEP_RG_PLAIN_WALK::start(const NETS& nets, std::uint32_t occurrence, std::uint32_t inst_port) {
  const KEP_MODULE& module = *nets.get_unfolding().get(occurrence).m_module;
  const NETS::MODULE& folded = nets.get(NETS::MODE::PRIMITIVES, module.get_number());
  const NETS::POINTS_PART& points = folded.m_points[inst_port / NETS::PART];
  const NETS::START_POINT start = points.m_starts[inst_port % NETS::PART];
  const bool is_blc = module.get_view_type() == KEP_VIEW_TYPE::BLC;
  switch (start.m_kind) {
  case NETS::START::ASK:
    return false;
  case NETS::START::NOTHING:
    m_is_kept = start.m_index != 0;
    return true;
  case NETS::START::NET:
    m_mode = is_blc ? NETS::MODE::NODES : NETS::MODE::PRIMITIVES;
    m_is_kept = !is_blc && start.m_index != NETS::NONE;
    return start.m_index == NETS::NONE || enter(nets, nets.get(m_mode, module.get_number()),
                                                {occurrence, start.m_index}, inst_port, NETS::NONE);
  case NETS::START::WAY_IN:
    m_mode = NETS::MODE::NODES;
    m_is_kept = false;
    const NETS::WAY_IN& way = points.m_start_ways[start.m_index];
    m_top = nets.get_unfolding().get(occurrence).m_first_child + way.m_child_rank;
    return go_in(nets, way, occurrence);
  }
  return false;
}

/// Puts the net on the stack unless it was walked before. False if it is not plain at this place.
bool KEP_RG_PLAIN_WALK::enter(const NETS& nets, const NETS::MODULE& module, const PLACE& place,
                              std::uint32_t from_inst_port, std::uint32_t from_port) {
  if (m_mode == NETS::MODE::NODES && (module.m_nets.empty() || !nets.has_all_nodes(place.m_occurrence)))
    return false;
  const NETS::NETS_PART& part = module.m_nets[place.m_net / NETS::PART];
  const NETS::NET& net = part.m_nets[place.m_net % NETS::PART];
  if (!net.m_is_plain) return false;
  if (!m_visited.insert(place)) return true;
  m_num_leaves += net.m_num_leaves;
  m_num_nowhere += net.m_num_nowhere;
  m_frames.push_back(
      {&part, place, from_inst_port, from_port, net.m_first_run, net.m_first_way_in, net.m_first_way_out});
  return true;
}

/// Walks the net on top up to the first way that leads to another net.
bool KEP_RG_PLAIN_WALK::step(const NETS& nets) {
  FRAME& frame = m_frames.back();
  const NETS::NETS_PART& part = *frame.m_part;
  const std::uint32_t occurrence = frame.m_place.m_occurrence;
  const NETS::NET& behind = part.m_nets[frame.m_place.m_net % NETS::PART + 1];
  const std::size_t depth = m_frames.size();
  while (frame.m_next_way_in != behind.m_first_way_in) {
    const NETS::WAY_IN& way = part.m_ways_in[frame.m_next_way_in++];
    add_runs(nets, part, occurrence, frame.m_next_run, way.m_end_run);
    frame.m_next_run = way.m_end_run;
    if (way.m_inst_port == frame.m_from_inst_port) continue;
    if (!go_in(nets, way, occurrence)) return false;
    if (m_frames.size() != depth) return true;
  }
  add_runs(nets, part, occurrence, frame.m_next_run, behind.m_first_run);
  frame.m_next_run = behind.m_first_run;
  return go_out(nets, behind.m_first_way_out);
}

bool KEP_RG_PLAIN_WALK::go_in(const NETS& nets, const NETS::WAY_IN& way, std::uint32_t occurrence) {
  const NETS::MODULE& module = nets.get(m_mode, way.m_module);
  const PLACE place{nets.get_unfolding().get(occurrence).m_first_child + way.m_child_rank, way.m_net};
  if (m_mode == NETS::MODE::NODES) return enter(nets, module, place, NETS::NONE, way.m_port);
  const NETS::NETS_PART& part = module.m_nets[way.m_net / NETS::PART];
  const NETS::NET* net = part.m_nets.data() + way.m_net % NETS::PART;
  if (!net->m_is_end) return enter(nets, module, place, NETS::NONE, way.m_port);
  m_num_leaves += net->m_num_leaves;
  m_num_nowhere += net->m_num_nowhere;
  add_runs(nets, part, place.m_occurrence, net->m_first_run, net[1].m_first_run);
  return true;
}

/// Takes the next port of the net on top that leads out of the module; leaves the net behind the last one.
bool KEP_RG_PLAIN_WALK::go_out(const NETS& nets, std::uint32_t end) {
  const std::size_t depth = m_frames.size();
  FRAME& frame = m_frames.back();
  while (frame.m_next_way_out != end) {
    const std::uint32_t port = frame.m_part->m_ways_out[frame.m_next_way_out++];
    if (port == frame.m_from_port) continue;
    if (!go_on_outside(nets, frame.m_place.m_occurrence, port)) return false;
    if (m_frames.size() != depth) return true;
  }
  m_frames.pop_back();
  return true;
}

bool KEP_RG_PLAIN_WALK::go_on_outside(const NETS& nets, std::uint32_t occurrence, std::uint32_t port) {
  const KEP_OCCURRENCE& own = nets.get_unfolding().get(occurrence);
  const std::uint32_t parent = own.m_parent;
  if (parent == KEP_UNFOLDING::ABOVE_TOP) return !nets.finds_top_ports();
  if (m_top == occurrence) m_top = parent;
  const NETS::MODULE& module = nets.get(m_mode, nets.get_unfolding().get(parent).m_module->get_number());
  const std::uint32_t inst_port = module.m_first_inst_ports[own.m_slot] + port;
  const NETS::POINTS_PART& points = module.m_points[inst_port / NETS::PART];
  const NETS::OUTER_POINT outer = points.m_outer_points[inst_port % NETS::PART];
  switch (outer.m_kind) {
  case NETS::OUTER::ASK:
    return false;
  case NETS::OUTER::NET:
    return outer.m_index == NETS::NONE || enter(nets, module, {parent, outer.m_index}, inst_port, NETS::NONE);
  case NETS::OUTER::LEAF:
    if (m_mode == NETS::MODE::NODES && !nets.has_all_nodes(parent)) return false;
    ++m_num_leaves;
    m_fanouts.push_back({&points.m_outer_fanouts[outer.m_index], 1, parent});
    return true;
  }
  return false;
}

void KEP_RG_PLAIN_WALK::add_run(const NETS& nets, const NETS::NETS_PART& part, std::uint32_t occurrence,
                                const NETS::RUN& run) {
  RUNS* list = &m_fanouts;
  if (run.m_marked_leaf != NETS::NONE) {
    const KEP_MODULE& parent = *nets.get_unfolding().get(occurrence).m_module;
    const KEP_UNFOLDED_INST_PORT leaf(occurrence, parent.get_inst_port_by_number(run.m_marked_leaf));
    if (nets.get_marks().contains(leaf)) list = &m_redundant_fanouts;
  }
  list->push_back({part.m_fanouts.data() + run.m_first_fanout, run.m_num_fanouts, occurrence});
}
