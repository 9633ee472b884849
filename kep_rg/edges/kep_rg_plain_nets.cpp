#include "kep_rg/edges/kep_rg_plain_nets.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"
#include "kep_rg/edges/kep_rg_net_folder.h"
#include "kep_rg/edges/kep_rg_pin_steps.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstddef>

namespace {

using NETS = KEP_RG_PLAIN_NETS;
using STEP = KEP_RG_PIN_STEPS::STEP;
constexpr std::uint32_t NOWHERE = KEP_UNFOLDING::ABOVE_TOP;

bool is_blc(const KEP_MODULE& module) {
  return module.get_view_type() == KEP_VIEW_TYPE::BLC;
}

/// Folds one module for searches of one mode, in parts on all threads.
class MODULE_FOLDER {
public:
  /// `occurrence` is any of the module.
  MODULE_FOLDER(const KEP_RG_PIN_STEPS& steps, const NETS& nets, NETS::MODE mode, const KEP_MODULE& module,
                std::uint32_t occurrence)
      : m_steps(steps), m_nets(nets), m_mode(mode), m_module(module), m_occurrence(occurrence) {}

  NETS::MODULE fold() {
    const bool ends_at_primitives = m_mode == NETS::MODE::PRIMITIVES;
    const bool folds_nets = ends_at_primitives || is_blc(m_module);
    if (!folds_nets && !holds_blc()) return {};
    list_slots();
    if (folds_nets) fold_nets();
    fold_points();
    if (ends_at_primitives) fold_starts();
    return std::move(m_folded);
  }

private:
  bool holds_blc() const {
    return std::any_of(m_module.get_slots(), m_module.get_slots() + m_module.get_num_slots(),
                       [](const KEP_SLOT& slot) { return is_blc(*slot.m_module); });
  }
  template <class FOLDED_PART, class FOLD>
  static void fold_in_parts(std::uint32_t size, std::vector<FOLDED_PART>& parts, const FOLD& fold) {
    parts.resize((size + NETS::PART - 1) / NETS::PART);
    const auto fold_part = [&](std::size_t part) {
      KEP_TSAN::begin_body();
      const auto begin = static_cast<std::uint32_t>(part * NETS::PART);
      parts[part] = fold(begin, std::min(begin + NETS::PART, size));
      KEP_TSAN::end_body();
    };
    kep_run_loop([&](tbb::task_group_context& context) {
      tbb::parallel_for(std::size_t{0}, parts.size(), fold_part, context);
    });
  }
  void list_slots();
  void fold_nets() {
    std::vector<NETS::FANOUT> pins;
    if (m_mode == NETS::MODE::PRIMITIVES) pins = m_steps.find_pins(m_module);
    fold_in_parts(m_module.get_num_nets(), m_folded.m_nets, [&](std::uint32_t begin, std::uint32_t end) {
      return KEP_RG_NET_FOLDER(m_steps, m_nets, m_mode, m_module, m_folded, pins).fold(begin, end);
    });
  }
  void fold_points();
  void fold_starts();
  NETS::OUTER_POINT find_outer_point(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const;
  bool is_told_outside(KEP_INST_PORT* inst_port) const;
  NETS::START_POINT find_start(KEP_INST_PORT* inst_port, NETS::STARTS_PART& folded) const;
  static std::uint32_t get_net_index(const KEP_INST_PORT& inst_port) {
    return inst_port.get_net() ? inst_port.get_net()->get_index() : NETS::NONE;
  }

  const KEP_RG_PIN_STEPS& m_steps;
  const NETS& m_nets;
  NETS::MODE m_mode;
  const KEP_MODULE& m_module;
  std::uint32_t m_occurrence;
  NETS::MODULE m_folded;
  std::vector<std::uint32_t> m_points; // inst ports by number
};

/// Slots stand in the order of their instances. Those of one instance share its points.
void MODULE_FOLDER::list_slots() {
  const KEP_ROUTING_BUILDER_EDGE_BUILDER& edge_builder = m_steps.get_device().m_edge_builder;
  const std::uint32_t place = edge_builder.get_place(m_occurrence);
  unsigned with_points = m_module.get_num_instances();
  for (unsigned i = 0; i != m_module.get_num_slots(); ++i) {
    const KEP_SLOT& slot = m_module.get_slots()[i];
    if (slot.m_inner_rank == KEP_SLOT::NOT_INNER) {
      m_folded.m_slots.push_back({0, NETS::NONE, 0});
      continue;
    }
    const KEP_INSTANCE& instance = *m_module.get_instance_by_index(slot.m_instance);
    const std::uint32_t num_ports = instance.get_module()->get_num_ports();
    const std::uint32_t first = num_ports != 0 ? instance.get_inst_port_by_index(0)->get_number() : 0;
    if (with_points != slot.m_instance)
      for (std::uint32_t port = 0; port != num_ports; ++port)
        m_points.push_back(first + port);
    with_points = slot.m_instance;
    const std::uint32_t child = m_nets.get_unfolding().get_child(m_occurrence, slot);
    m_folded.m_slots.push_back({first, static_cast<std::uint32_t>(m_points.size()) - num_ports,
                                edge_builder.get_place(child) - place});
  }
}

void MODULE_FOLDER::fold_points() {
  const auto fold = [this](std::uint32_t begin, std::uint32_t end) {
    NETS::POINTS_PART folded;
    folded.m_points.reserve(end - begin);
    for (std::uint32_t i = begin; i != end; ++i)
      folded.m_points.push_back(find_outer_point(m_module.get_inst_port_by_number(m_points[i]), folded));
    kep_rg_settle_runs(folded.m_runs, folded.m_fanouts);
    return folded;
  };
  fold_in_parts(static_cast<std::uint32_t>(m_points.size()), m_folded.m_points, fold);
}

/// On its own net the search passes over the inst port by which it came, unless that is a leaf there.
NETS::OUTER_POINT MODULE_FOLDER::find_outer_point(KEP_INST_PORT* inst_port, NETS::POINTS_PART& folded) const {
  const KEP_PORT* port = inst_port->get_port();
  if (m_mode == NETS::MODE::NODES || !m_steps.goes_on_outside(port)) {
    if (m_steps.is_terminating(m_mode, inst_port)) {
      const std::uint32_t target = m_steps.find_target(*inst_port);
      if (!inst_port->is_output() || target == KEP_RG_PIN_STEPS::NO_TARGET) return {NETS::OUTER::ASK, 0};
      folded.m_fanouts.push_back(KEP_RG_PIN_STEPS::make_fanout(target, inst_port, nullptr));
      folded.m_runs.push_back({nullptr, 1, 0});
      return {NETS::OUTER::LEAF, static_cast<std::uint32_t>(folded.m_runs.size()) - 1};
    }
    const STEP step = m_steps.find_step(m_mode, inst_port);
    if (step != STEP::PASS && step != STEP::INTO) return {NETS::OUTER::ASK, 0};
  }
  return {is_told_outside(inst_port) ? NETS::OUTER::END : NETS::OUTER::NET, get_net_index(*inst_port)};
}

/// A walk that comes out there passes over what is told of the net behind it.
bool MODULE_FOLDER::is_told_outside(KEP_INST_PORT* inst_port) const {
  const KEP_PORT* port = inst_port->get_port();
  if (port->is_output() || m_steps.get_way_out(port) != KEP_RG_PIN_STEPS::WAY_OUT::INNER) return false;
  const KEP_UNFOLDED_PORT inner = m_steps.get_inner_port(inst_port);
  return inst_port->get_net() &&
         KEP_RG_NET_FOLDER::find_end(m_steps, m_nets, m_mode, *inst_port, *inner.m_object);
}

void MODULE_FOLDER::fold_starts() {
  const KEP_ROUTING_BUILDER_EDGE_BUILDER& edge_builder = m_steps.get_device().m_edge_builder;
  const auto fold = [&](std::uint32_t begin, std::uint32_t end) {
    NETS::STARTS_PART folded;
    folded.m_starts.reserve(end - begin);
    for (std::uint32_t i = begin; i != end; ++i) {
      const std::uint32_t number = edge_builder.get_inst_port(m_occurrence, i + 1);
      folded.m_starts.push_back(find_start(m_module.get_inst_port_by_number(number), folded));
    }
    return folded;
  };
  fold_in_parts(edge_builder.get_num_targets(m_occurrence), m_folded.m_starts, fold);
}

/// Only a node whose search goes one way: from an output up, or from an input down.
NETS::START_POINT MODULE_FOLDER::find_start(KEP_INST_PORT* inst_port, NETS::STARTS_PART& folded) const {
  constexpr NETS::START_POINT ASK{NETS::START::ASK, 0};
  const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache = m_steps.get_device().m_cache;
  const KEP_UNFOLDED_PORT inner = m_steps.get_inner_port(inst_port);
  if (!inner) return ASK;
  const KEP_PORT* port = inst_port->get_port();
  const KEP_ROUTING_PRIMITIVE_TUNNEL tunnel =
      m_steps.get_device().m_primitives.get_tunnel_type(port->get_parent());
  if (tunnel == KEP_ROUTING_PRIMITIVE_TUNNEL::SOURCE || tunnel == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH)
    return ASK;
  if (port->is_output() && inner.m_object->is_output()) return {NETS::START::NET, get_net_index(*inst_port)};
  if (!port->is_input() || !inner.m_object->is_input()) return ASK;
  // From the input of a mux the search goes through the mux, and edges from an arc input name it.
  const KEP_MODULE& master = *inner.m_object->get_parent();
  if (cache.has_routing_muxes(&master) || cache.find_arc_outputs(port)) return ASK;
  if (!inner.m_object->get_net()) {
    const bool is_kept = inst_port->get_net() && &master == port->get_parent() && !is_blc(master) &&
                         !master.is_top_module_or_equiv();
    return {NETS::START::NOTHING, is_kept};
  }
  if (!is_blc(master)) return ASK;
  folded.m_ways_in.push_back(KEP_RG_NET_FOLDER::make_way_in(m_folded, *inst_port, inner, 0));
  return {NETS::START::WAY_IN, static_cast<std::uint32_t>(folded.m_ways_in.size()) - 1};
}

/// Some occurrence of each module, by number; NOWHERE for one that does not occur.
std::vector<std::uint32_t> find_occurrences(const KEP_UNFOLDING& unfolding) {
  std::vector<std::uint32_t> occurrences(unfolding.get_modules().size(), NOWHERE);
  for (std::uint32_t i = unfolding.size(); i-- > 1;)
    occurrences[unfolding.get(i).m_module] = i;
  return occurrences;
}

/// Modules by the number of levels below them, those that occur.
class LEVELS {
public:
  LEVELS(const KEP_UNFOLDING& unfolding, const std::vector<std::uint32_t>& occurrences)
      : m_heights(occurrences.size(), UNKNOWN) {
    for (const KEP_MODULE* module : unfolding.get_modules())
      if (occurrences[module->get_number()] != NOWHERE) find_height(*module);
  }
  const std::vector<std::vector<const KEP_MODULE*>>& get() const { return m_levels; }

private:
  static constexpr std::size_t UNKNOWN = ~std::size_t{0};

  std::size_t find_height(const KEP_MODULE& module) {
    std::size_t& known = m_heights[module.get_number()];
    if (known != UNKNOWN) return known;
    std::size_t height = 0;
    for (unsigned i = 0; i != module.get_num_slots(); ++i)
      if (const KEP_SLOT& slot = module.get_slots()[i]; slot.m_inner_rank != KEP_SLOT::NOT_INNER)
        height = std::max(height, find_height(*slot.m_module) + 1);
    if (m_levels.size() <= height) m_levels.resize(height + 1);
    m_levels[height].push_back(&module);
    return known = height;
  }

  std::vector<std::size_t> m_heights; // by module number
  std::vector<std::vector<const KEP_MODULE*>> m_levels;
};

} // namespace

KEP_RG_PLAIN_NETS::KEP_RG_PLAIN_NETS(const DEVICE& device)
    : m_unfolding(&device.m_db.get_unfolding()), m_marks(&device.m_marks),
      m_edge_builder(&device.m_edge_builder),
      m_finds_top_ports(device.m_db.get_db_type() == KEP_DB_TYPE::TOP_PORTS_ROUTED),
      m_modules(m_unfolding->get_modules().size()), m_blc_modules(m_modules.size()) {
  const KEP_RG_PIN_STEPS steps(device);
  const std::vector<std::uint32_t> occurrences = find_occurrences(*m_unfolding);
  const LEVELS levels(*m_unfolding, occurrences);
  for (const std::vector<const KEP_MODULE*>& level : levels.get()) {
    const auto fold = [&](std::size_t i) {
      KEP_TSAN::begin_body();
      const KEP_MODULE& module = *level[i];
      const std::uint32_t number = module.get_number();
      m_modules[number] = MODULE_FOLDER(steps, *this, MODE::PRIMITIVES, module, occurrences[number]).fold();
      m_blc_modules[number] = MODULE_FOLDER(steps, *this, MODE::NODES, module, occurrences[number]).fold();
      KEP_TSAN::end_body();
    };
    kep_run_loop([&](tbb::task_group_context& context) {
      tbb::parallel_for(std::size_t{0}, level.size(), fold, context);
    });
  }
}
