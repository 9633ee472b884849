#include "kep_rg/kep_rg_like_places.h"

#include <algorithm>

namespace {

bool begins_flyover(const KEP_RG_PRIMITIVES& primitives, const KEP_PORT& port) {
  return primitives.begins_some_path(&port) && primitives.find_skip_path_sparerow_map(&port);
}

/// A skip path leads on from here, so that no flyover is looked for.
bool has_skip_outputs(const KEP_RG_PRIMITIVES& primitives, const KEP_INST_PORT& inst_port) {
  if (const auto* ports = primitives.find_skip_path_outputs(inst_port.get_port()))
    return !ports->empty() && !primitives.find_dont_skip_path_inst_outputs(&inst_port);
  const auto* inst_ports = primitives.find_skip_path_inst_outputs(&inst_port);
  return inst_ports && !inst_ports->empty();
}

/// A search that comes by asks for the attributes. At an inserted input it ends without a question, but for
/// the module of a tunnel, which a second search passes through.
bool asks_attributes(const KEP_RG_PRIMITIVES& primitives, KEP_INST_PORT& inst_port) {
  const KEP_PORT* port = inst_port.get_port();
  if (port->is_output() || has_skip_outputs(primitives, inst_port)) return false;
  const bool is_inserted = primitives.has_inserted_port(port) || primitives.is_inserted_inst_port(&inst_port);
  return !port->is_input() || !is_inserted ||
         primitives.get_tunnel_type(port->get_parent()) == KEP_ROUTING_PRIMITIVE_TUNNEL::THROUGH;
}

} // namespace

KEP_RG_LIKE_PLACES::KEP_RG_LIKE_PLACES(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives, bool is_used) {
  if (!is_used) return;
  find_repeated_modules(db);
  if (db.get_legacy_api()->has_instance_attributes()) find_flyover_nets(db, primitives);
}

void KEP_RG_LIKE_PLACES::find_repeated_modules(const KEP_DB& db) {
  const KEP_UNFOLDING& unfolding = db.get_unfolding();
  std::vector<unsigned char> counts(unfolding.get_modules().size()); // up to 2
  const auto add = [&counts](const KEP_MODULE* module, unsigned count) {
    unsigned char& sum = counts[module->get_number()];
    sum = static_cast<unsigned char>(std::min(2U, sum + count));
  };
  for (std::uint32_t occurrence = 0; occurrence != unfolding.size(); ++occurrence)
    if (const KEP_MODULE* module = unfolding.get(occurrence).m_module) add(module, 1);
  // The others stand wherever their parents do.
  for (const KEP_MODULE* parent : unfolding.get_modules())
    for (unsigned slot = 0; slot != parent->get_num_slots(); ++slot)
      if (const KEP_MODULE* module = parent->get_slots()[slot].m_module; !module->is_inner())
        add(module, counts[parent->get_number()]);
  m_is_repeated.resize(counts.size());
  for (std::size_t i = 0; i != counts.size(); ++i)
    m_is_repeated[i] = counts[i] > 1;
}

void KEP_RG_LIKE_PLACES::find_flyover_nets(const KEP_DB& db, const KEP_RG_PRIMITIVES& primitives) {
  const std::vector<KEP_MODULE*>& modules = db.get_unfolding().get_modules();
  std::vector<bool> has_flyovers(modules.size());
  for (const KEP_MODULE* module : modules)
    for (const KEP_PORT* port : module->iter_ports())
      if (begins_flyover(primitives, *port)) has_flyovers[module->get_number()] = true;
  if (std::find(has_flyovers.begin(), has_flyovers.end(), true) == has_flyovers.end()) return;
  m_flyover_nets.resize(modules.size());
  for (const KEP_MODULE* module : modules)
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      const KEP_MODULE* master = instance->get_module();
      if (!has_flyovers[master->get_number()]) continue;
      for (unsigned i = 0; i != master->get_num_ports(); ++i) {
        KEP_INST_PORT& inst_port = *instance->get_inst_port_by_index(i);
        if (!inst_port.get_net() || !begins_flyover(primitives, *inst_port.get_port()) ||
            !asks_attributes(primitives, inst_port))
          continue;
        std::vector<bool>& nets = m_flyover_nets[module->get_number()];
        nets.resize(module->get_num_nets());
        nets[get_index(inst_port.get_net())] = true;
      }
    }
}
