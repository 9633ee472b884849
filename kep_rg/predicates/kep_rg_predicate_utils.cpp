#include "kep_rg/detail/kep_rg_predicate_utils.h"

namespace KEP_RG_PREDICATE_UTILS {
namespace {

using UIPS = std::vector<KEP_UNFOLDED_INST_PORT>;

void append_skip_outputs(const KEP_RG_PRIMITIVES& primitives, const KEP_UNFOLDED_INST_PORT& uip,
                         UIPS& outputs) {
  const KEP_UNFOLDED_INSTANCE instance = uip.get_unfolded_instance();
  const KEP_INST_PORT* inst_port = uip.m_object;
  if (const auto* ports = primitives.find_skip_path_outputs(inst_port->get_port())) {
    // An exception takes the input as a whole, whichever outputs it lists.
    if (primitives.find_dont_skip_path_inst_outputs(inst_port)) return;
    for (const KEP_PORT* output : *ports)
      outputs.push_back(instance.get_unfolded_inst_port_by_index(output->get_index()));
  } else if (const auto* inst_ports = primitives.find_skip_path_inst_outputs(inst_port)) {
    for (const KEP_INST_PORT* output : *inst_ports)
      outputs.push_back(instance.get_unfolded_inst_port_by_index(output->get_port()->get_index()));
  }
}

void append_flyover_output(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                           const KEP_UNFOLDED_INST_PORT& uip, UIPS& outputs) {
  const KEP_PORT* output = primitives.find_skip_path_sparerow_map(uip.m_object->get_port());
  if (!output) return;
  const KEP_UNFOLDED_INSTANCE instance = uip.get_unfolded_instance();
  const KEP_UNFOLDED_INSTANCE_ATTRIBUTES* attributes = legacy_api.get_attributes(instance);
  if (!attributes || !attributes->is_spare_row()) return;
  outputs.push_back(instance.get_unfolded_inst_port_by_index(output->get_index()));
}

} // namespace

void append_outputs_of_paths(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                             const KEP_UNFOLDED_INST_PORT& uip, UIPS& outputs) {
  append_skip_outputs(primitives, uip, outputs);
  if (outputs.empty()) append_flyover_output(primitives, legacy_api, uip, outputs);
}

bool takes_flyover(const KEP_RG_PRIMITIVES& primitives, const KEP_LEGACY_API& legacy_api,
                   const KEP_UNFOLDED_INST_PORT& uip) {
  UIPS outputs;
  append_skip_outputs(primitives, uip, outputs);
  if (!outputs.empty()) return false;
  append_flyover_output(primitives, legacy_api, uip, outputs);
  return !outputs.empty();
}

} // namespace KEP_RG_PREDICATE_UTILS
