#include "kep_rg/edges/kep_rg_plain_walk.h"

bool KEP_RG_PLAIN_WALK::walk(const KEP_RG_PLAIN_NETS& nets, std::uint32_t occurrence, const SEAT& seat) {
  m_fanouts.clear();
  m_redundant_fanouts.clear();
  m_frames.clear();
  m_visited.clear();
  m_num_leaves = 0;
  m_num_nowhere = 0;
  m_top = occurrence;
  if (!start(nets, occurrence, seat)) return false;
  while (!m_frames.empty())
    if (!step(nets)) return false;
  // What reaches the top of the device has no like place.
  if (m_visited.size() != 0 && nets.get_unfolding().get_module(m_top)->is_top_module_or_equiv())
    m_is_kept = false;
  return true;
}

bool KEP_RG_PLAIN_WALK::start(const NETS& nets, std::uint32_t occurrence, const SEAT& seat) {
  const KEP_MODULE& module = *nets.get_unfolding().get_module(occurrence);
  const std::uint32_t target = seat.m_target - 1;
  const NETS::MODULE& folded = nets.get(NETS::MODE::PRIMITIVES, module.get_number());
  const NETS::STARTS_PART& starts = folded.m_starts[target / NETS::PART];
  const NETS::START_POINT start = starts.m_starts[target % NETS::PART];
  const bool is_blc = module.get_view_type() == KEP_VIEW_TYPE::BLC;
  switch (start.m_kind) {
  case NETS::START::ASK:
    return false;
  case NETS::START::NOTHING:
    m_is_kept = start.m_index != 0;
    return true;
  case NETS::START::NET:
    // The driver itself is an output, at which no walk stops.
    m_mode = is_blc ? NETS::MODE::NODES : NETS::MODE::PRIMITIVES;
    m_is_kept = !is_blc && start.m_index != NETS::NONE;
    return start.m_index == NETS::NONE ||
           enter(nets, nets.get(m_mode, module.get_number()), {occurrence, start.m_index}, seat.m_place,
                 NETS::NONE, NETS::NONE);
  case NETS::START::WAY_IN:
    m_mode = NETS::MODE::NODES;
    m_is_kept = false;
    const NETS::STOP& way = starts.m_ways_in[start.m_index];
    m_top = nets.get_unfolding().get(occurrence).m_first_child + way.m_child_rank;
    return go_in(nets, way, occurrence, seat.m_place);
  }
  return false;
}

/// Walks along the net unless it was walked before: at once if it has but one way on, else it is put on the
/// stack. False if it is not plain at this place.
bool KEP_RG_PLAIN_WALK::enter(const NETS& nets, const NETS::MODULE& module, const SPOT& spot,
                              std::uint32_t place, std::uint32_t from_inst_port, std::uint32_t from_port,
                              const FRAME* end) {
  if (m_mode == NETS::MODE::NODES && (module.m_nets.empty() || !nets.has_all_nodes(spot.m_occurrence)))
    return false;
  const NETS::NETS_PART& part = module.m_nets[spot.m_net / NETS::PART];
  const NETS::NET* net = part.m_nets.data() + spot.m_net % NETS::PART;
  if (!net->m_is_plain) return false;
  if (!m_visited.insert(spot)) return true;
  m_num_leaves += net->m_num_leaves;
  m_num_nowhere += net->m_num_nowhere;
  const TOLD told = end ? pass_over(*end, part, net, place) : TOLD();
  const FRAME frame{&part,
                    spot,
                    place,
                    from_inst_port,
                    from_port,
                    told,
                    net->m_first_run,
                    net->m_first_stop,
                    net->m_first_way_out};
  const std::uint32_t num_ways_out = net[1].m_first_way_out - net->m_first_way_out;
  if (net[1].m_first_stop != net->m_first_stop || num_ways_out > 1) {
    m_frames.push_back(frame);
    return true;
  }
  add_runs(part, net->m_first_run, net[1].m_first_run, place, told);
  if (num_ways_out == 0) return true;
  const std::uint32_t port = part.m_ways_out[net->m_first_way_out];
  return port == from_port || go_on_outside(nets, frame, port);
}

/// The walk began in an end, of whose leaves and runs the net tells again.
KEP_RG_PLAIN_WALK::TOLD KEP_RG_PLAIN_WALK::pass_over(const FRAME& end, const NETS::NETS_PART& part,
                                                     const NETS::NET* net, std::uint32_t place) {
  const NETS::NET* inside = end.get_net();
  m_num_leaves -= inside->m_num_leaves;
  m_num_nowhere -= inside->m_num_nowhere;
  const std::uint32_t num_runs = inside[1].m_first_run - inside[0].m_first_run;
  if (num_runs == 0) return {};
  const NETS::RUN& first = end.m_part->m_runs[inside->m_first_run];
  std::uint32_t at = net->m_first_run;
  while (part.m_runs[at].m_fanouts != first.m_fanouts ||
         place + part.m_runs[at].m_behind != end.m_place + first.m_behind)
    ++at;
  return {at, at + num_runs};
}

/// Walks the net on top up to the first way that leads to another net.
bool KEP_RG_PLAIN_WALK::step(const NETS& nets) {
  FRAME& frame = m_frames.back();
  const NETS::NETS_PART& part = *frame.m_part;
  const NETS::NET& behind = part.m_nets[frame.m_spot.m_net % NETS::PART + 1];
  const std::size_t depth = m_frames.size();
  while (frame.m_next_stop != behind.m_first_stop) {
    const NETS::STOP& stop = part.m_stops[frame.m_next_stop++];
    add_runs(part, frame.m_next_run, stop.m_end_run, frame.m_place, frame.m_told);
    frame.m_next_run = stop.m_end_run;
    if (stop.m_module == NETS::NONE) {
      add_marked_leaf(nets, stop, frame);
      ++frame.m_next_run;
      continue;
    }
    if (stop.m_inst_port == frame.m_from_inst_port) continue;
    if (!go_in(nets, stop, frame.m_spot.m_occurrence, frame.m_place)) return false;
    if (m_frames.size() != depth) return true;
  }
  add_runs(part, frame.m_next_run, behind.m_first_run, frame.m_place, frame.m_told);
  frame.m_next_run = behind.m_first_run;
  return go_out(nets, behind.m_first_way_out);
}

void KEP_RG_PLAIN_WALK::add_marked_leaf(const NETS& nets, const NETS::STOP& leaf, const FRAME& frame) {
  const std::uint32_t occurrence = frame.m_spot.m_occurrence;
  const KEP_MODULE& module = *nets.get_unfolding().get_module(occurrence);
  const KEP_UNFOLDED_INST_PORT uip(occurrence, module.get_inst_port_by_number(leaf.m_inst_port));
  add_runs(*frame.m_part, leaf.m_end_run, leaf.m_end_run + 1, frame.m_place,
           nets.get_marks().contains(uip) ? m_redundant_fanouts : m_fanouts);
}

bool KEP_RG_PLAIN_WALK::go_in(const NETS& nets, const NETS::STOP& way, std::uint32_t occurrence,
                              std::uint32_t place) {
  const SPOT spot{nets.get_unfolding().get(occurrence).m_first_child + way.m_child_rank, way.m_net};
  return enter(nets, nets.get(m_mode, way.m_module), spot, place + way.m_behind, NETS::NONE, way.m_port);
}

/// Takes the next port of the net on top that leads out of the module; leaves the net behind the last one.
bool KEP_RG_PLAIN_WALK::go_out(const NETS& nets, std::uint32_t end) {
  const std::size_t depth = m_frames.size();
  FRAME& frame = m_frames.back();
  while (frame.m_next_way_out != end) {
    const std::uint32_t port = frame.m_part->m_ways_out[frame.m_next_way_out++];
    if (port == frame.m_from_port) continue;
    if (!go_on_outside(nets, frame, port)) return false;
    if (m_frames.size() != depth) return true;
  }
  m_frames.pop_back();
  return true;
}

bool KEP_RG_PLAIN_WALK::go_on_outside(const NETS& nets, const FRAME& frame, std::uint32_t port) {
  const KEP_OCCURRENCE& own = nets.get_unfolding().get(frame.m_spot.m_occurrence);
  const std::uint32_t parent = own.m_parent;
  if (parent == KEP_UNFOLDING::ABOVE_TOP) return !nets.finds_top_ports();
  if (m_top == frame.m_spot.m_occurrence) m_top = parent;
  const NETS::MODULE& module = nets.get(m_mode, nets.get_unfolding().get(parent).m_module);
  const NETS::SLOT& slot = module.m_slots[own.m_slot];
  const std::uint32_t point = slot.m_first_point + port;
  const NETS::POINTS_PART& points = module.m_points[point / NETS::PART];
  const NETS::OUTER_POINT outer = points.m_points[point % NETS::PART];
  const std::uint32_t place = frame.m_place - slot.m_behind;
  switch (outer.m_kind) {
  case NETS::OUTER::ASK:
    return false;
  case NETS::OUTER::NET:
  case NETS::OUTER::END:
    return outer.m_index == NETS::NONE ||
           enter(nets, module, {parent, outer.m_index}, place, slot.m_first_inst_port + port, NETS::NONE,
                 outer.m_kind == NETS::OUTER::END ? &frame : nullptr);
  case NETS::OUTER::LEAF:
    if (m_mode == NETS::MODE::NODES && !nets.has_all_nodes(parent)) return false;
    ++m_num_leaves;
    m_fanouts.push_back({&points.m_runs[outer.m_index], 1, place});
    return true;
  }
  return false;
}
