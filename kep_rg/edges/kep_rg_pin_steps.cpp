#include "kep_rg/edges/kep_rg_pin_steps.h"

#include "kep/common/kep_loop.h"
#include "kep/common/kep_tsan.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

KEP_RG_PIN_STEPS::KEP_RG_PIN_STEPS(const KEP_RG_PLAIN_NETS::DEVICE& device) : m_device(device) {
  const std::vector<KEP_PORT*>& ports = device.m_db.get_unfolding().get_ports();
  m_ports.reserve(ports.size());
  for (KEP_PORT* port : ports) {
    const WAY_OUT way_out = find_way_out(*port);
    const bool is_inserted =
        device.m_primitives.has_inserted_port(port) || device.m_primitives.is_inserted_port(port);
    const bool is_mux_input = !is_inserted && device.m_cache.is_arc_input(port);
    m_ports.push_back({find_pin(*port, way_out), way_out, is_passed(*port), is_mux_input});
  }
}

KEP_RG_PIN_STEPS::WAY_OUT KEP_RG_PIN_STEPS::find_way_out(const KEP_PORT& port) const {
  const KEP_MODULE* inner_master = m_device.m_view_type_rank.find_view(port.get_parent());
  WAY_OUT way_out = WAY_OUT::NONE;
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view) {
    const KEP_MODULE* master = port.get_parent()->find_view(static_cast<KEP_VIEW_TYPE>(view));
    const KEP_PORT* inner = master ? master->get_port_by_index(port.get_index()) : nullptr;
    if (!inner || inner->is_input() || !inner->get_net()) continue;
    if (master != inner_master) return WAY_OUT::OTHER;
    way_out = WAY_OUT::INNER;
  }
  return way_out;
}

bool KEP_RG_PIN_STEPS::is_passed(KEP_PORT& port) const {
  return port.is_output() && !m_device.m_build_predicate.is_inserted_node(&port) &&
         !m_device.m_primitives.may_be_inserted_inst_port(&port);
}

KEP_RG_PIN_STEPS::STEP KEP_RG_PIN_STEPS::find_step(MODE mode, KEP_INST_PORT* pin) const {
  const KEP_RG_PRIMITIVES& primitives = m_device.m_primitives;
  const KEP_PORT* port = pin->get_port();
  if (port->is_output()) return STEP::PASS;
  if (primitives.is_blc_bidir_buffer(pin->get_inst()->get_module())) return STEP::ASK;
  if (primitives.begins_some_path(port)) return STEP::ASK; // ends there or goes on, by the place perhaps
  if (is_terminating(mode, pin)) return STEP::LEAF;
  return is_leaf(mode, pin) ? STEP::LEAF : STEP::INTO;
}

bool KEP_RG_PIN_STEPS::is_terminating(MODE mode, KEP_INST_PORT* pin) const {
  if (mode == MODE::NODES) return find_target(*pin) != NO_TARGET;
  return m_device.m_build_predicate.is_terminating_uip(at_some_place(pin), {});
}

bool KEP_RG_PIN_STEPS::is_leaf(MODE mode, KEP_INST_PORT* pin) const {
  if (mode == MODE::NODES) return m_device.m_trace_predicate.is_leaf(at_some_place(pin), {});
  return m_device.m_build_predicate.is_leaf(at_some_place(pin), {});
}

/// The answer for the pins of a port, which is that of find_step() and what a leaf stands for.
std::uint32_t KEP_RG_PIN_STEPS::find_pin(KEP_PORT& port, WAY_OUT way_out) const {
  const KEP_RG_PRIMITIVES& primitives = m_device.m_primitives;
  if (port.is_output()) return way_out == WAY_OUT::NONE ? PASS : LOOK;
  KEP_MODULE* master = port.get_parent();
  const KEP_MODULE* inner_master = m_device.m_view_type_rank.find_view(master);
  if (way_out == WAY_OUT::OTHER || primitives.is_blc_bidir_buffer(master) ||
      primitives.begins_some_path(&port) || primitives.may_be_inserted_inst_port(&port) ||
      primitives.get_tunnel_type(inner_master) == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH)
    return LOOK;
  const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate = m_device.m_build_predicate;
  if (!predicate.is_inserted_node(&port) && !predicate.is_leaf(inner_master, {})) {
    const KEP_PORT* inner = inner_master ? inner_master->get_port_by_index(port.get_index()) : nullptr;
    return inner && inner->get_net() ? INTO : PASS;
  }
  return way_out == WAY_OUT::NONE ? find_leaf(port) : LOOK;
}

std::uint32_t KEP_RG_PIN_STEPS::find_leaf(KEP_PORT& port) const {
  const KEP_RG_PRIMITIVES& primitives = m_device.m_primitives;
  const std::uint32_t own = port.get_index() + 1;
  if (primitives.has_inserted_port(&port) || primitives.is_inserted_port(&port)) return own;
  if (primitives.is_hipi_tm_port(&port)) return LOOK;
  const auto* arcs = m_device.m_cache.find_arc_outputs(&port);
  if (!arcs) return own;
  const unsigned output = arcs->front()->get_output()->get_index();
  return arcs->size() == 1 && output < port.get_parent()->get_num_ports() ? output + 1 : LOOK;
}

std::vector<KEP_RG_PIN_STEPS::FANOUT> KEP_RG_PIN_STEPS::find_pins(const KEP_MODULE& module) const {
  std::vector<FANOUT> pins(module.get_num_inst_ports());
  using RANGE = tbb::blocked_range<unsigned>;
  const auto find_some = [&](const RANGE& instances) {
    KEP_TSAN::begin_body();
    for (unsigned i = instances.begin(); i != instances.end(); ++i)
      find_pins_of_instance(*module.get_instance_by_index(i), pins.data());
    KEP_TSAN::end_body();
  };
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_for(RANGE(0, module.get_num_instances(), KEP_RG_PLAIN_NETS::PART), find_some, context);
  });
  return pins;
}

void KEP_RG_PIN_STEPS::find_pins_of_instance(KEP_INSTANCE& instance, FANOUT* pins) const {
  const KEP_MODULE& master = *instance.get_module();
  if (master.get_num_ports() == 0) return;
  const PORT* ports = m_ports.data() + master.get_port_by_index(0)->get_number();
  KEP_INST_PORT* first = instance.get_inst_port_by_index(0);
  pins += first->get_number();
  std::uint32_t known_port = 0; // the inputs of a mux have one target
  std::uint32_t known_target = NO_TARGET;
  for (unsigned i = 0; i != master.get_num_ports(); ++i) {
    const std::uint32_t pin = ports[i].m_pin;
    pins[i].m_target = pin;
    if (pin == PASS || pin == INTO || pin == LOOK) continue;
    if (pin != known_port) known_target = find_target(first[pin - 1]);
    known_port = pin;
    if (known_target == NO_TARGET || m_device.m_marks.is_somewhere(first + i))
      pins[i].m_target = LOOK;
    else
      pins[i] = make_fanout(known_target, first + (pin - 1), ports[i].m_is_mux_input ? first + i : nullptr);
  }
}
