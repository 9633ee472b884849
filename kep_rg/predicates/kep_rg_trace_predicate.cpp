#include "kep_rg/kep_rg_trace_predicate.h"

KEP_RG_TRACE_PREDICATE::KEP_RG_TRACE_PREDICATE(const KEP_DB* db, const KEP_RG_PRIMITIVES& primitives,
                                               const KEP_VIEW_TYPE_RANK& view_type_rank,
                                               const KEP_ROUTING_BUILDER_NODE_CACHE* node_cache)
    : m_primitives(&primitives), m_legacy_api(db->get_legacy_api()),
      m_module_types(KEP_RG_PREDICATE_UTILS::classify_modules<MODULE_TYPE>(*db, primitives)),
      m_view_type_rank(view_type_rank), m_node_cache(node_cache),
      m_module_types_by_number(KEP_RG_PREDICATE_UTILS::order_by_number(*db, m_module_types)) {}
