#include "kep_rg/edges/kep_rg_net_folder.h"

#include <cstddef>

namespace {

// What is below a net is told with it up to so many runs a way in. So a net that branches at each level, as a
// clock does, is not written out for every level.
constexpr std::uint32_t MAX_RUNS_OF_END = 16;

template <class T>
std::uint32_t get_count(const std::vector<T>& values) {
  return static_cast<std::uint32_t>(values.size());
}

} // namespace

void kep_rg_settle_runs(std::vector<KEP_RG_PLAIN_NETS::RUN>& runs,
                        const std::vector<KEP_RG_PLAIN_NETS::FANOUT>& fanouts) {
  const KEP_RG_PLAIN_NETS::FANOUT* next = fanouts.data();
  for (KEP_RG_PLAIN_NETS::RUN& run : runs) {
    if (run.m_fanouts) continue;
    run.m_fanouts = next;
    next += run.m_num_fanouts;
  }
}

KEP_RG_PLAIN_NETS::NETS_PART KEP_RG_NET_FOLDER::fold(std::uint32_t begin, std::uint32_t end) {
  m_part.m_nets.reserve(end - begin + std::size_t{1});
  std::size_t num_pins = 0;
  for (std::uint32_t i = begin; i != end; ++i)
    num_pins += m_module.get_net_by_index(i)->get_num_inst_ports();
  m_part.m_fanouts.reserve(num_pins);
  for (std::uint32_t i = begin; i <= end; ++i) {
    m_part.m_nets.push_back({get_count(m_part.m_runs), get_count(m_part.m_stops),
                             get_count(m_part.m_ways_out), 0, 0, false, false});
    if (i != end) fold_net(*m_module.get_net_by_index(i));
  }
  m_part.m_runs.shrink_to_fit();
  m_part.m_stops.shrink_to_fit();
  m_part.m_ways_out.shrink_to_fit();
  m_part.m_fanouts.shrink_to_fit();
  kep_rg_settle_runs(m_part.m_runs, m_part.m_fanouts);
  return std::move(m_part);
}

void KEP_RG_NET_FOLDER::fold_net(const KEP_NET& net) {
  m_joins_run = false;
  NETS::NET& folded = this->net();
  folded.m_is_end = net.get_num_ports() == 1;
  folded.m_is_plain = fold_pins(net);
  if (!folded.m_is_plain || get_count(m_part.m_stops) != folded.m_first_stop) folded.m_is_end = false;
  if (!folded.m_is_plain) return;
  for (const KEP_PORT* port : net.iter_ports())
    if (!port->is_input()) m_part.m_ways_out.push_back(port->get_index());
}

/// False if the search must ask.
bool KEP_RG_NET_FOLDER::fold_pins(const KEP_NET& net) {
  constexpr NETS::FANOUT LOOK{KEP_RG_PIN_STEPS::LOOK, 0};
  const KEP_INST_PORT* first = m_module.get_inst_port_by_number(0);
  for (KEP_INST_PORT* inst_port : net.iter_inst_ports()) {
    const NETS::FANOUT& pin = m_pins.empty() ? LOOK : m_pins[static_cast<std::size_t>(inst_port - first)];
    if (pin.m_target == KEP_RG_PIN_STEPS::PASS) continue;
    if (pin.m_target == KEP_RG_PIN_STEPS::LOOK) {
      if (!look_at(inst_port)) return false;
    } else if (pin.m_target == KEP_RG_PIN_STEPS::INTO) {
      add_way_in(inst_port);
    } else {
      ++this->net().m_num_leaves;
      add_fanout(pin);
    }
  }
  return true;
}

/// False if the search must ask.
bool KEP_RG_NET_FOLDER::look_at(KEP_INST_PORT* pin) {
  using WAY_OUT = KEP_RG_PIN_STEPS::WAY_OUT;
  const KEP_PORT* port = pin->get_port();
  const STEP step = m_steps.find_step(m_mode, pin);
  const WAY_OUT way_out = m_steps.get_way_out(port);
  // What leads out of an end that is told here begins in that end.
  if (way_out == WAY_OUT::OTHER || (way_out == WAY_OUT::INNER && step != STEP::INTO)) net().m_is_end = false;
  switch (step) {
  case STEP::ASK:
    return false;
  case STEP::PASS:
    return true;
  case STEP::LEAF: {
    // A tm port leads to the twin where one stands.
    const KEP_RG_PRIMITIVES& primitives = m_steps.get_device().m_primitives;
    if (!primitives.is_inserted(pin) && primitives.is_hipi_tm_port(port)) return false;
    add_leaf(pin);
    return true;
  }
  case STEP::INTO:
    add_way_in(pin);
    return true;
  }
  return false;
}

/// An input of a mux stands for the outputs of its arcs.
void KEP_RG_NET_FOLDER::add_leaf(KEP_INST_PORT* pin) {
  const KEP_RG_PLAIN_NETS::DEVICE& device = m_steps.get_device();
  ++net().m_num_leaves;
  const bool is_marked = device.m_marks.is_somewhere(pin);
  if (is_marked) {
    m_part.m_stops.push_back({get_count(m_part.m_runs), pin->get_number(), 0, 0, 0, NETS::NONE, 0});
    m_part.m_runs.push_back({nullptr, 0, 0});
    m_joins_run = true;
  }
  const auto* arcs =
      device.m_primitives.is_inserted(pin) ? nullptr : device.m_cache.find_arc_outputs(pin->get_port());
  if (!arcs) {
    add_target(pin, nullptr);
  } else {
    KEP_INSTANCE* instance = pin->get_inst();
    for (const KEP_ROUTING_ARC* arc : *arcs) {
      const unsigned output = arc->get_output()->get_index();
      const bool is_there = output < instance->get_module()->get_num_ports();
      add_target(is_there ? instance->get_inst_port_by_index(output) : nullptr, pin);
    }
  }
  if (is_marked) m_joins_run = false;
}

void KEP_RG_NET_FOLDER::add_target(KEP_INST_PORT* target, const KEP_INST_PORT* mux_input) {
  const std::uint32_t number = target ? m_steps.find_target(*target) : KEP_RG_PIN_STEPS::NO_TARGET;
  if (number == KEP_RG_PIN_STEPS::NO_TARGET)
    ++net().m_num_nowhere;
  else
    add_fanout(KEP_RG_PIN_STEPS::make_fanout(number, target, mux_input));
}

void KEP_RG_NET_FOLDER::add_fanout(const NETS::FANOUT& fanout) {
  if (!m_joins_run) m_part.m_runs.push_back({nullptr, 0, 0});
  m_joins_run = true;
  m_part.m_fanouts.push_back(fanout);
  ++m_part.m_runs.back().m_num_fanouts;
}

KEP_RG_PLAIN_NETS::STOP KEP_RG_NET_FOLDER::make_way_in(const NETS::MODULE& own, const KEP_INST_PORT& pin,
                                                       const KEP_UNFOLDED_PORT& inner,
                                                       std::uint32_t end_run) {
  const KEP_MODULE& master = *inner.m_object->get_parent();
  const std::uint32_t slot = KEP_SLOT_POSITION::slot(inner.m_position);
  const KEP_SLOT& inside = pin.get_inst()->get_parent()->get_slots()[slot];
  return {end_run,
          pin.get_number(),
          inner.m_object->get_index(),
          inside.m_inner_rank,
          own.m_slots[slot].m_behind,
          master.get_number(),
          inner.m_object->get_net()->get_index()};
}

void KEP_RG_NET_FOLDER::add_way_in(KEP_INST_PORT* pin) {
  const KEP_UNFOLDED_PORT inner = m_steps.get_inner_port(pin);
  if (!inner || !inner.m_object->get_net()) return;
  const NETS::STOP way = make_way_in(m_own, *pin, inner, get_count(m_part.m_runs));
  if (const NETS::NET* end = find_end(m_steps, m_nets, m_mode, *pin, *inner.m_object))
    take_end(end, way);
  else
    m_part.m_stops.push_back(way);
  m_joins_run = false;
}

const KEP_RG_PLAIN_NETS::NET* KEP_RG_NET_FOLDER::find_end(const KEP_RG_PIN_STEPS& steps, const NETS& nets,
                                                          NETS::MODE mode, const KEP_INST_PORT& pin,
                                                          const KEP_PORT& inner) {
  if (mode != NETS::MODE::PRIMITIVES || steps.get_way_out(pin.get_port()) == KEP_RG_PIN_STEPS::WAY_OUT::OTHER)
    return nullptr;
  const NETS::MODULE& inside = nets.get(mode, inner.get_parent()->get_number());
  const NETS::NET* end = inside.get_net(inner.get_net()->get_index());
  return end->m_is_end && end[1].m_first_run - end->m_first_run <= MAX_RUNS_OF_END ? end : nullptr;
}

/// What is found at an end is seen from this place here.
void KEP_RG_NET_FOLDER::take_end(const NETS::NET* end, const NETS::STOP& way) {
  const std::vector<NETS::RUN>& runs = m_nets.get(m_mode, way.m_module).m_nets[way.m_net / NETS::PART].m_runs;
  for (std::uint32_t i = end->m_first_run; i != end[1].m_first_run; ++i)
    m_part.m_runs.push_back({runs[i].m_fanouts, runs[i].m_num_fanouts, runs[i].m_behind + way.m_behind});
  net().m_num_leaves += end->m_num_leaves;
  net().m_num_nowhere += end->m_num_nowhere;
}
