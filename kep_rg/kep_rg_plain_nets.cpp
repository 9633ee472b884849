#include "kep_rg/kep_rg_plain_nets.h"

#include "kep_rg/kep_rg_tsan.h"

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstddef>

namespace {

using NETS = KEP_RG_PLAIN_NETS;
constexpr std::uint32_t NO_TARGET = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_TARGET;

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
  FOLDER(const NETS::DEVICE& device, NETS::MODE mode, const KEP_MODULE& module, NETS::MODULE& folded)
      : m_device(device), m_mode(mode), m_module(module), m_folded(folded) {}

  /// Part number `part` of `num_parts`.
  void fold(unsigned part, unsigned num_parts) {
    const bool folds_nets = m_mode == NETS::MODE::PRIMITIVES || is_blc(m_module);
    if (!folds_nets && !holds_blc()) return;
    const auto get_begin = [num_parts](unsigned size, unsigned number) {
      return static_cast<unsigned>(std::uint64_t{size} * number / num_parts);
    };
    if (folds_nets)
      fold_nets(get_begin(m_module.get_num_nets(), part), get_begin(m_module.get_num_nets(), part + 1));
    const unsigned end = get_begin(m_module.get_num_inst_ports(), part + 1);
    for (unsigned i = get_begin(m_module.get_num_inst_ports(), part); i != end; ++i) {
      KEP_INST_PORT* inst_port = m_module.get_inst_port_by_number(i);
      m_folded.m_outer_points.push_back(find_outer_point(inst_port));
      if (m_mode == NETS::MODE::PRIMITIVES) m_folded.m_starts.push_back(find_start(inst_port));
    }
    if (part + 1 == num_parts) list_slots();
  }

private:
  static bool is_blc(const KEP_MODULE& module) { return module.get_view_type() == KEP_VIEW_TYPE::BLC; }
  bool holds_blc() const {
    return std::any_of(m_module.get_slots(), m_module.get_slots() + m_module.get_num_slots(),
                       [](const KEP_SLOT& slot) { return is_blc(*slot.m_module); });
  }
  void fold_nets(unsigned begin, unsigned end) {
    m_folded.m_nets.reserve(end - begin);
    for (unsigned i = begin; i != end; ++i) {
      m_folded.m_nets.push_back({get_size(m_folded.m_runs), get_size(m_folded.m_ways_in),
                                 get_size(m_folded.m_ways_out), 0, 0, true, false});
      m_is_run_open = false;
      fold_net(*m_module.get_net_by_index(i));
    }
  }
  void list_slots() {
    unsigned instance = 0; // slots stand in the order of their instances
    std::uint32_t first = 0;
    for (unsigned i = 0; i != m_module.get_num_slots(); ++i) {
      for (; instance != m_module.get_slots()[i].m_instance; ++instance)
        first += m_module.get_instance_by_index(instance)->get_module()->get_num_ports();
      m_folded.m_first_inst_ports.push_back(first);
    }
  }
  void fold_net(const KEP_NET& net);
  bool fold_inst_port(KEP_INST_PORT* inst_port);
  void add_leaf(KEP_INST_PORT* inst_port);
  void add_fanout(KEP_INST_PORT* target, std::uint32_t mux_input);
  NETS::WAY_IN make_way_in(KEP_INST_PORT* inst_port, const KEP_UNFOLDED_PORT& inner) const {
    const KEP_MODULE& master = *inner.m_object->get_parent();
    const KEP_SLOT& slot = m_module.get_slots()[KEP_SLOT_POSITION::slot(inner.m_position)];
    return {get_size(m_folded.m_runs), inst_port->get_number(), inner.m_object->get_index(),
            slot.m_inner_rank,         master.get_number(),     inner.m_object->get_net()->get_index()};
  }
  NETS::OUTER_POINT find_outer_point(KEP_INST_PORT* inst_port);
  NETS::START_POINT find_start(KEP_INST_PORT* inst_port);
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
  NETS::MODULE& m_folded;
  bool m_is_run_open = false; // the next leaf joins the last run
};

STEP FOLDER::find_step(KEP_INST_PORT* inst_port) const {
  const KEP_RG_PRIMITIVES& primitives = m_device.m_primitives;
  const KEP_PORT* port = inst_port->get_port();
  if (port->is_output()) return STEP::PASS;
  if (primitives.is_blc_bidir_buffer(inst_port->get_inst()->get_module())) return STEP::ASK;
  if (is_terminating(inst_port)) return STEP::LEAF;
  if (primitives.begins_some_path(port)) return STEP::ASK;
  return is_leaf(inst_port) ? STEP::LEAF : STEP::INTO;
}

void FOLDER::fold_net(const KEP_NET& net) {
  for (KEP_INST_PORT* inst_port : net.iter_inst_ports())
    if (!fold_inst_port(inst_port)) {
      m_folded.m_nets.back().m_is_plain = false;
      return;
    }
  for (const KEP_PORT* port : net.iter_ports())
    if (!port->is_input()) m_folded.m_ways_out.push_back(port->get_index());
  NETS::NET& folded = m_folded.m_nets.back();
  folded.m_is_end =
      net.get_num_ports() == 1 && std::none_of(net.iter_inst_ports().begin(), net.iter_inst_ports().end(),
                                               [this](KEP_INST_PORT* inst_port) {
                                                 const KEP_UNFOLDED_PORT inner = get_inner_port(inst_port);
                                                 return inner && inner.m_object->get_net();
                                               });
}

/// False if the search must ask.
bool FOLDER::fold_inst_port(KEP_INST_PORT* inst_port) {
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
    add_leaf(inst_port);
    return true;
  case STEP::INTO:
    if (const KEP_UNFOLDED_PORT inner = get_inner_port(inst_port); inner && inner.m_object->get_net()) {
      m_folded.m_ways_in.push_back(make_way_in(inst_port, inner));
      m_is_run_open = false;
    }
    return true;
  }
  return false;
}

/// An input of a mux stands for the outputs of its arcs.
void FOLDER::add_leaf(KEP_INST_PORT* inst_port) {
  ++m_folded.m_nets.back().m_num_leaves;
  const bool is_marked = m_device.m_marks.is_somewhere(inst_port);
  if (!m_is_run_open || is_marked)
    m_folded.m_runs.push_back(
        {get_size(m_folded.m_fanouts), 0, is_marked ? inst_port->get_number() : NETS::NONE});
  m_is_run_open = !is_marked;
  const auto* arcs = m_device.m_primitives.is_inserted(inst_port)
                         ? nullptr
                         : m_device.m_cache.find_arc_outputs(inst_port->get_port());
  if (!arcs) {
    add_fanout(inst_port, 0);
    return;
  }
  KEP_INSTANCE* instance = inst_port->get_inst();
  for (const KEP_ROUTING_ARC* arc : *arcs) {
    const unsigned output = arc->get_output()->get_index();
    const bool is_there = output < instance->get_module()->get_num_ports();
    add_fanout(is_there ? instance->get_inst_port_by_index(output) : nullptr, inst_port->get_number() + 1);
  }
}

void FOLDER::add_fanout(KEP_INST_PORT* target, std::uint32_t mux_input) {
  const std::uint32_t number = target ? m_device.m_edge_builder.find_target(*target) : NO_TARGET;
  if (number == NO_TARGET) {
    ++m_folded.m_nets.back().m_num_nowhere;
    return;
  }
  m_folded.m_fanouts.push_back({number, mux_input});
  ++m_folded.m_runs.back().m_num_fanouts;
}

/// On its own net the search passes over the inst port by which it came, unless that is a leaf there.
NETS::OUTER_POINT FOLDER::find_outer_point(KEP_INST_PORT* inst_port) {
  if (is_terminating(inst_port)) {
    const std::uint32_t target = m_device.m_edge_builder.find_target(*inst_port);
    if (!inst_port->is_output() || target == NO_TARGET) return {NETS::OUTER::ASK, 0};
    m_folded.m_outer_fanouts.push_back({target, 0});
    return {NETS::OUTER::LEAF, get_size(m_folded.m_outer_fanouts) - 1};
  }
  const STEP step = find_step(inst_port);
  if (step != STEP::PASS && step != STEP::INTO) return {NETS::OUTER::ASK, 0};
  return {NETS::OUTER::NET, get_net_index(*inst_port)};
}

/// Only a node whose search goes one way: from an output up, or from an input down.
NETS::START_POINT FOLDER::find_start(KEP_INST_PORT* inst_port) {
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
    const bool is_kept = inst_port->get_net() && &master == port->get_parent() && !is_blc(master);
    return {NETS::START::NOTHING, is_kept};
  }
  if (!is_blc(master)) return ASK;
  m_folded.m_start_ways.push_back(make_way_in(inst_port, inner));
  return {NETS::START::WAY_IN, get_size(m_folded.m_start_ways) - 1};
}

/// One after the other, with all numbers moved accordingly.
class JOINER {
public:
  explicit JOINER(std::vector<NETS::MODULE>& parts) : m_parts(parts) {}

  NETS::MODULE join() {
    if (m_parts.size() > 1) {
      reserve(&NETS::MODULE::m_nets);
      reserve(&NETS::MODULE::m_runs);
      reserve(&NETS::MODULE::m_ways_in);
      reserve(&NETS::MODULE::m_ways_out);
      reserve(&NETS::MODULE::m_fanouts);
      reserve(&NETS::MODULE::m_outer_points);
      reserve(&NETS::MODULE::m_outer_fanouts);
      reserve(&NETS::MODULE::m_starts);
      reserve(&NETS::MODULE::m_start_ways);
      for (NETS::MODULE& part : m_parts)
        append(part);
    } else {
      m_all = std::move(m_parts.front());
    }
    if (!m_all.m_nets.empty()) // one more: where the last one ends
      m_all.m_nets.push_back({get_size(m_all.m_runs), get_size(m_all.m_ways_in), get_size(m_all.m_ways_out),
                              0, 0, false, false});
    return std::move(m_all);
  }

private:
  template <class T>
  void reserve(std::vector<T> NETS::MODULE::*values) {
    std::size_t size = 1;
    for (const NETS::MODULE& part : m_parts)
      size += (part.*values).size();
    (m_all.*values).reserve(size);
  }
  template <class T>
  void append(NETS::MODULE& part, std::vector<T> NETS::MODULE::*values) {
    (m_all.*values).insert((m_all.*values).end(), (part.*values).begin(), (part.*values).end());
    part.*values = {};
  }
  void append(NETS::MODULE& part) {
    for (NETS::NET& net : part.m_nets) {
      net.m_first_run += get_size(m_all.m_runs);
      net.m_first_way_in += get_size(m_all.m_ways_in);
      net.m_first_way_out += get_size(m_all.m_ways_out);
    }
    for (NETS::WAY_IN& way : part.m_ways_in)
      way.m_end_run += get_size(m_all.m_runs);
    for (NETS::RUN& run : part.m_runs)
      run.m_first_fanout += get_size(m_all.m_fanouts);
    for (NETS::OUTER_POINT& point : part.m_outer_points)
      if (point.m_kind == NETS::OUTER::LEAF) point.m_index += get_size(m_all.m_outer_fanouts);
    for (NETS::START_POINT& point : part.m_starts)
      if (point.m_kind == NETS::START::WAY_IN) point.m_index += get_size(m_all.m_start_ways);
    append(part, &NETS::MODULE::m_nets);
    append(part, &NETS::MODULE::m_runs);
    append(part, &NETS::MODULE::m_ways_in);
    append(part, &NETS::MODULE::m_ways_out);
    append(part, &NETS::MODULE::m_fanouts);
    append(part, &NETS::MODULE::m_outer_points);
    append(part, &NETS::MODULE::m_outer_fanouts);
    append(part, &NETS::MODULE::m_first_inst_ports);
    append(part, &NETS::MODULE::m_starts);
    append(part, &NETS::MODULE::m_start_ways);
  }

  std::vector<NETS::MODULE>& m_parts;
  NETS::MODULE m_all;
};

/// Threads share a module in parts of so many inst ports.
constexpr unsigned PART = 1 << 14;

NETS::MODULE fold_module(const NETS::DEVICE& device, NETS::MODE mode, const KEP_MODULE& module) {
  const unsigned num_parts =
      tbb::this_task_arena::max_concurrency() == 1 ? 1 : module.get_num_inst_ports() / PART + 1;
  std::vector<NETS::MODULE> parts(num_parts);
  KEP_RG_TSAN::before_loop();
  tbb::parallel_for(0U, num_parts, [&](unsigned part) {
    KEP_RG_TSAN::begin_body();
    FOLDER(device, mode, module, parts[part]).fold(part, num_parts);
    KEP_RG_TSAN::end_body();
  });
  KEP_RG_TSAN::after_loop();
  return JOINER(parts).join();
}

} // namespace

KEP_RG_PLAIN_NETS::KEP_RG_PLAIN_NETS(const DEVICE& device)
    : m_unfolding(&device.m_db.get_unfolding()), m_marks(&device.m_marks),
      m_edge_builder(&device.m_edge_builder),
      m_finds_top_ports(device.m_db.get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED),
      m_modules(m_unfolding->get_modules().size()), m_blc_modules(m_modules.size()) {
  KEP_RG_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, m_modules.size(), [&](std::size_t number) {
    KEP_RG_TSAN::begin_body();
    const KEP_MODULE& module = *m_unfolding->get_modules()[number];
    m_modules[number] = fold_module(device, MODE::PRIMITIVES, module);
    m_blc_modules[number] = fold_module(device, MODE::NODES, module);
    KEP_RG_TSAN::end_body();
  });
  KEP_RG_TSAN::after_loop();
}
