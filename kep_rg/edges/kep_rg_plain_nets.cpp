#include "kep_rg/edges/kep_rg_plain_nets.h"

#include "kep/common/kep_tsan.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstddef>

namespace {

using NETS = KEP_RG_PLAIN_NETS;
constexpr std::uint32_t NO_TARGET = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_TARGET;
constexpr std::uint32_t NO_MUX_INPUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_MUX_INPUT;

/// A uip of the inst port, for questions in whose answer the place plays no part.
KEP_UNFOLDED_INST_PORT at_some_place(KEP_INST_PORT* inst_port) {
  return {0, inst_port};
}

template <class T>
std::uint32_t get_size(const std::vector<T>& values) {
  return static_cast<std::uint32_t>(values.size());
}

/// What a search from a driver does at an inst port of a net that it walks.
enum class STEP {
  ASK,  ///< the folded model does not tell
  PASS, ///< nothing
  LEAF,
  INTO, ///< goes on inside the instance
};

class FOLDER {
public:
  FOLDER(const NETS::DEVICE& device, NETS::MODE mode, const KEP_MODULE& module)
      : m_device(device), m_mode(mode), m_module(module) {}

  NETS::MODULE fold() const {
    NETS::MODULE folded;
    const bool folds_nets = m_mode == NETS::MODE::PRIMITIVES || is_blc(m_module);
    if (!folds_nets && !holds_blc()) return folded;
    if (folds_nets)
      fold_in_parts(m_module.get_num_nets(), folded.m_nets,
                    [this](std::uint32_t begin, std::uint32_t end) { return fold_nets(begin, end); });
    fold_in_parts(m_module.get_num_inst_ports(), folded.m_points,
                  [this](std::uint32_t begin, std::uint32_t end) { return fold_inst_ports(begin, end); });
    list_slots(folded);
    return folded;
  }

private:
  static bool is_blc(const KEP_MODULE& module) { return module.get_view_type() == KEP_VIEW_TYPE::BLC; }
  bool holds_blc() const {
    return std::any_of(m_module.get_slots(), m_module.get_slots() + m_module.get_num_slots(),
                       [](const KEP_SLOT& slot) { return is_blc(*slot.m_module); });
  }
  template <class FOLDED_PART, class FOLD>
  static void fold_in_parts(std::uint32_t size, std::vector<FOLDED_PART>& parts, const FOLD& fold) {
    parts.resize((size + NETS::PART - 1) / NETS::PART);
    KEP_TSAN::before_loop();
    tbb::parallel_for(std::size_t{0}, parts.size(), [&](std::size_t part) {
      KEP_TSAN::begin_body();
      const auto begin = static_cast<std::uint32_t>(part * NETS::PART);
      parts[part] = fold(begin, std::min(begin + NETS::PART, size));
      KEP_TSAN::end_body();
    });
    KEP_TSAN::after_loop();
  }
  NETS::NETS_PART fold_nets(std::uint32_t begin, std::uint32_t end) const;
  NETS::POINTS_PART fold_inst_ports(std::uint32_t begin, std::uint32_t end) const;
  void list_slots(NETS::MODULE& folded) const {
    unsigned instance = 0; // slots stand in the order of their instances
    std::uint32_t first = 0;
    for (unsigned i = 0; i != m_module.get_num_slots(); ++i) {
      for (; instance != m_module.get_slots()[i].m_instance; ++instance)
        first += m_module.get_instance_by_index(instance)->get_module()->get_num_ports();
      folded.m_first_inst_ports.push_back(first);
    }
  }
  void fold_net(const KEP_NET& net, NETS::NETS_PART& folded) const;
  bool fold_inst_port(KEP_INST_PORT* inst_port, NETS::NETS_PART& folded) const;
  void add_leaf(KEP_INST_PORT* inst_port, NETS::NETS_PART& folded) const;
  void add_fanout(KEP_INST_PORT* target, const KEP_INST_PORT* mux_input, NETS::NETS_PART& folded) const;
  NETS::WAY_IN make_way_in(KEP_INST_PORT* inst_port, const KEP_UNFOLDED_PORT& inner,
                           std::uint32_t end_run) const {
    const KEP_MODULE& master = *inner.m_object->get_parent();
    const KEP_SLOT& slot = m_module.get_slots()[KEP_SLOT_POSITION::slot(inner.m_position)];
    return {end_run,           inst_port->get_number(), inner.m_object->get_index(),
            slot.m_inner_rank, master.get_number(),     inner.m_object->get_net()->get_index()};
  }
  NETS::OUTER_POINT find_outer_point(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const;
  NETS::START_POINT find_start(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const;
  STEP find_step(KEP_INST_PORT* inst_port) const;

  KEP_UNFOLDED_PORT get_inner_port(KEP_INST_PORT* inst_port) const {
    return at_some_place(inst_port).get_unfolded_port(m_device.m_view_type_rank);
  }
  bool is_terminating(KEP_INST_PORT* inst_port) const {
    if (m_mode == NETS::MODE::NODES) return m_device.m_edge_builder.find_target(*inst_port) != NO_TARGET;
    return m_device.m_build_predicate.is_terminating_uip(at_some_place(inst_port), {});
  }
  bool is_leaf(KEP_INST_PORT* inst_port) const {
    if (m_mode == NETS::MODE::NODES) return m_device.m_trace_predicate.is_leaf(at_some_place(inst_port), {});
    return m_device.m_build_predicate.is_leaf(at_some_place(inst_port), {});
  }
  static std::uint32_t get_net_index(const KEP_INST_PORT& inst_port) {
    return inst_port.get_net() ? inst_port.get_net()->get_index() : NETS::NONE;
  }

  const NETS::DEVICE& m_device;
  NETS::MODE m_mode;
  const KEP_MODULE& m_module;
};

STEP FOLDER::find_step(KEP_INST_PORT* inst_port) const {
  const KEP_RG_PRIMITIVES& primitives = m_device.m_primitives;
  const KEP_PORT* port = inst_port->get_port();
  if (port->is_output()) return STEP::PASS;
  if (primitives.is_blc_bidir_buffer(inst_port->get_inst()->get_module())) return STEP::ASK;
  if (primitives.begins_some_path(port)) return STEP::ASK; // ends there or goes on, by the place perhaps
  if (is_terminating(inst_port)) return STEP::LEAF;
  return is_leaf(inst_port) ? STEP::LEAF : STEP::INTO;
}

NETS::NETS_PART FOLDER::fold_nets(std::uint32_t begin, std::uint32_t end) const {
  NETS::NETS_PART folded;
  folded.m_nets.reserve(end - begin + std::size_t{1});
  for (std::uint32_t i = begin; i <= end; ++i) {
    folded.m_nets.push_back({get_size(folded.m_runs), get_size(folded.m_ways_in), get_size(folded.m_ways_out),
                             0, 0, true, false});
    if (i != end) fold_net(*m_module.get_net_by_index(i), folded);
  }
  folded.m_runs.shrink_to_fit();
  folded.m_ways_in.shrink_to_fit();
  folded.m_ways_out.shrink_to_fit();
  folded.m_fanouts.shrink_to_fit();
  return folded;
}

void FOLDER::fold_net(const KEP_NET& net, NETS::NETS_PART& folded) const {
  for (KEP_INST_PORT* inst_port : net.iter_inst_ports())
    if (!fold_inst_port(inst_port, folded)) {
      folded.m_nets.back().m_is_plain = false;
      return;
    }
  for (const KEP_PORT* port : net.iter_ports())
    if (!port->is_input()) folded.m_ways_out.push_back(port->get_index());
  const auto inst_ports = net.iter_inst_ports();
  folded.m_nets.back().m_is_end =
      net.get_num_ports() == 1 &&
      std::none_of(inst_ports.begin(), inst_ports.end(), [this](KEP_INST_PORT* inst_port) {
        const KEP_UNFOLDED_PORT inner = get_inner_port(inst_port);
        return inner && inner.m_object->get_net();
      });
}

/// False if the search must ask.
bool FOLDER::fold_inst_port(KEP_INST_PORT* inst_port, NETS::NETS_PART& folded) const {
  switch (find_step(inst_port)) {
  case STEP::ASK:
    return false;
  case STEP::PASS:
    return true;
  case STEP::LEAF:
    // A tm port leads to the twin where one stands.
    if (!m_device.m_primitives.is_inserted(inst_port) &&
        m_device.m_primitives.is_hipi_tm_port(inst_port->get_port()))
      return false;
    add_leaf(inst_port, folded);
    return true;
  case STEP::INTO:
    if (const KEP_UNFOLDED_PORT inner = get_inner_port(inst_port); inner && inner.m_object->get_net())
      folded.m_ways_in.push_back(make_way_in(inst_port, inner, get_size(folded.m_runs)));
    return true;
  }
  return false;
}

/// An input of a mux stands for the outputs of its arcs.
void FOLDER::add_leaf(KEP_INST_PORT* inst_port, NETS::NETS_PART& folded) const {
  NETS::NET& net = folded.m_nets.back();
  ++net.m_num_leaves;
  const bool is_marked = m_device.m_marks.is_somewhere(inst_port);
  const std::uint32_t num_runs = get_size(folded.m_runs);
  const bool joins_last =
      num_runs != net.m_first_run && folded.m_runs.back().m_marked_leaf == NETS::NONE &&
      (get_size(folded.m_ways_in) == net.m_first_way_in || folded.m_ways_in.back().m_end_run != num_runs);
  if (is_marked || !joins_last)
    folded.m_runs.push_back(
        {get_size(folded.m_fanouts), 0, is_marked ? inst_port->get_number() : NETS::NONE});
  const auto* arcs = m_device.m_primitives.is_inserted(inst_port)
                         ? nullptr
                         : m_device.m_cache.find_arc_outputs(inst_port->get_port());
  if (!arcs) {
    add_fanout(inst_port, nullptr, folded);
    return;
  }
  KEP_INSTANCE* instance = inst_port->get_inst();
  for (const KEP_ROUTING_ARC* arc : *arcs) {
    const unsigned output = arc->get_output()->get_index();
    const bool is_there = output < instance->get_module()->get_num_ports();
    add_fanout(is_there ? instance->get_inst_port_by_index(output) : nullptr, inst_port, folded);
  }
}

void FOLDER::add_fanout(KEP_INST_PORT* target, const KEP_INST_PORT* mux_input,
                        NETS::NETS_PART& folded) const {
  const std::uint32_t number = target ? m_device.m_edge_builder.find_target(*target) : NO_TARGET;
  if (number == NO_TARGET) {
    ++folded.m_nets.back().m_num_nowhere;
    return;
  }
  folded.m_fanouts.push_back(
      {number, mux_input ? static_cast<std::uint32_t>(mux_input - target) : NO_MUX_INPUT});
  ++folded.m_runs.back().m_num_fanouts;
}

NETS::POINTS_PART FOLDER::fold_inst_ports(std::uint32_t begin, std::uint32_t end) const {
  NETS::POINTS_PART folded;
  folded.m_outer_points.reserve(end - begin);
  if (m_mode == NETS::MODE::PRIMITIVES) folded.m_starts.reserve(end - begin);
  for (std::uint32_t i = begin; i != end; ++i) {
    KEP_INST_PORT* inst_port = m_module.get_inst_port_by_number(i);
    folded.m_outer_points.push_back(find_outer_point(inst_port, folded));
    if (m_mode == NETS::MODE::PRIMITIVES) folded.m_starts.push_back(find_start(inst_port, folded));
  }
  return folded;
}

/// On its own net the search passes over the inst port by which it came, unless that is a leaf there.
NETS::OUTER_POINT FOLDER::find_outer_point(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const {
  if (is_terminating(inst_port)) {
    const std::uint32_t target = m_device.m_edge_builder.find_target(*inst_port);
    if (!inst_port->is_output() || target == NO_TARGET) return {NETS::OUTER::ASK, 0};
    folded.m_outer_fanouts.push_back({target, NO_MUX_INPUT});
    return {NETS::OUTER::LEAF, get_size(folded.m_outer_fanouts) - 1};
  }
  const STEP step = find_step(inst_port);
  if (step != STEP::PASS && step != STEP::INTO) return {NETS::OUTER::ASK, 0};
  return {NETS::OUTER::NET, get_net_index(*inst_port)};
}

/// Only a node whose search goes one way: from an output up, or from an input down.
NETS::START_POINT FOLDER::find_start(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const {
  constexpr NETS::START_POINT ASK{NETS::START::ASK, 0};
  if (m_device.m_edge_builder.find_target(*inst_port) == NO_TARGET) return ASK; // nobody begins here
  const KEP_UNFOLDED_PORT inner = get_inner_port(inst_port);
  if (!inner) return ASK;
  const KEP_PORT* port = inst_port->get_port();
  const KEP_ROUTING_PRIMITIVE_TUNNEL tunnel = m_device.m_primitives.get_tunnel_type(port->get_parent());
  if (tunnel == KEP_ROUTING_PRIMITIVE_TUNNEL::SOURCE || tunnel == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH)
    return ASK;
  if (port->is_output() && inner.m_object->is_output()) return {NETS::START::NET, get_net_index(*inst_port)};
  if (!port->is_input() || !inner.m_object->is_input()) return ASK;
  // From the input of a mux the search goes through the mux, and edges from an arc input name it.
  const KEP_MODULE& master = *inner.m_object->get_parent();
  if (m_device.m_cache.has_routing_muxes(&master) || m_device.m_cache.find_arc_outputs(port)) return ASK;
  if (!inner.m_object->get_net()) {
    const bool is_kept = inst_port->get_net() && &master == port->get_parent() && !is_blc(master) &&
                         !master.is_top_module_or_equiv();
    return {NETS::START::NOTHING, is_kept};
  }
  if (!is_blc(master)) return ASK;
  folded.m_start_ways.push_back(make_way_in(inst_port, inner, 0));
  return {NETS::START::WAY_IN, get_size(folded.m_start_ways) - 1};
}

} // namespace

KEP_RG_PLAIN_NETS::KEP_RG_PLAIN_NETS(const DEVICE& device)
    : m_unfolding(&device.m_db.get_unfolding()), m_marks(&device.m_marks),
      m_edge_builder(&device.m_edge_builder),
      m_finds_top_ports(device.m_db.get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED),
      m_modules(m_unfolding->get_modules().size()), m_blc_modules(m_modules.size()) {
  KEP_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, m_modules.size(), [&](std::size_t number) {
    KEP_TSAN::begin_body();
    const KEP_MODULE& module = *m_unfolding->get_modules()[number];
    m_modules[number] = FOLDER(device, MODE::PRIMITIVES, module).fold();
    m_blc_modules[number] = FOLDER(device, MODE::NODES, module).fold();
    KEP_TSAN::end_body();
  });
  KEP_TSAN::after_loop();
}
