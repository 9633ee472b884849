#include "kep_rg/kep_rg_leaf_table.h"

#include "kep_rg/kep_rg_instance_is_primitive.h"
#include "kep_rg/kep_rg_tsan.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstddef>

namespace {

KEP_LEAF_KIND find_kind(const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate, const KEP_RG_PRIMITIVES& primitives,
                        KEP_INST_PORT* inst_port) {
  const KEP_PORT* port = inst_port->get_port();
  if (port->is_output()) return KEP_LEAF_KIND::NOTHING;
  if (primitives.is_inserted(inst_port) || primitives.begins_some_path(port) ||
      primitives.is_blc_bidir_buffer(inst_port->get_inst()->get_module()))
    return KEP_LEAF_KIND::ASK;
  // The position plays no part in the answer.
  return predicate.is_leaf(KEP_UNFOLDED_INST_PORT(0, inst_port), {}) ? KEP_LEAF_KIND::LEAF
                                                                     : KEP_LEAF_KIND::DESCEND;
}

std::uint32_t find_target(const KEP_RG_PRIMITIVES& primitives, const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                          const KEP_ROUTING_BUILDER_NODE_CACHE& nodes, KEP_INST_PORT* inst_port) {
  const KEP_PORT* port = inst_port->get_port();
  if (port->is_output() || primitives.is_inserted(inst_port) || primitives.is_hipi_tm_port(port))
    return KEP_RG_LEAF_TABLE::ASK;
  const auto* arcs = cache.find_arc_outputs(port);
  if (!arcs || arcs->size() != 1) return KEP_RG_LEAF_TABLE::ASK;
  const unsigned output = arcs->front()->get_output()->get_index();
  if (output >= inst_port->get_inst()->get_module()->get_num_ports()) return KEP_RG_LEAF_TABLE::ASK;
  const std::uint32_t rank = nodes.find_rank(*inst_port->get_inst()->get_inst_port_by_index(output));
  return std::min(rank, KEP_RG_LEAF_TABLE::ASK - 1); // one that stands nowhere is no question
}

} // namespace

KEP_RG_LEAF_TABLE::KEP_RG_LEAF_TABLE(const KEP_DB& db, const KEP_RG_INSTANCE_IS_PRIMITIVE& predicate,
                                     const KEP_RG_PRIMITIVES& primitives,
                                     const KEP_DB_ROUTING_PRIMITIVE_CACHE& cache,
                                     const KEP_ROUTING_BUILDER_NODE_CACHE& nodes) {
  const std::vector<KEP_MODULE*>& modules = db.get_unfolding().get_modules();
  std::uint64_t size = 0;
  m_first.reserve(modules.size());
  for (const KEP_MODULE* module : modules) {
    m_first.push_back(size);
    size += module->get_num_inst_ports();
  }
  m_kinds.resize(size);
  m_targets.resize(size);
  KEP_RG_TSAN::before_loop();
  tbb::parallel_for(std::size_t{0}, modules.size(), [&](std::size_t number) {
    KEP_RG_TSAN::begin_body();
    for (unsigned i = 0; i != modules[number]->get_num_inst_ports(); ++i) {
      KEP_INST_PORT* inst_port = modules[number]->get_inst_port_by_number(i);
      m_kinds[m_first[number] + i] = find_kind(predicate, primitives, inst_port);
      m_targets[m_first[number] + i] = find_target(primitives, cache, nodes, inst_port);
    }
    KEP_RG_TSAN::end_body();
  });
  KEP_RG_TSAN::after_loop();
}
