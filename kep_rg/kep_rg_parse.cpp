#include "kep_rg/kep_rg_parse.h"

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_assert.h"
#include "kep_rg/common/kep_rg_report.h"
#include "kep_rg/kep_rg_exception.h"
#include "kep_rg/kep_rg_relative_paths.h"

#include <fmt/format.h>

namespace {

/// Gives the pointer, which an operation needs.
template <class T>
T* check(const char* operation, T* pointer) {
  KEP_ASSERT_EXPLAIN(pointer, "KEP_RG_PARSE::%s: a null pointer", operation);
  return pointer;
}

/// The port of an equivalent module that corresponds to `port`.
KEP_PORT* corresponding_port(const KEP_MODULE* equivalent, const KEP_PORT* port) {
  return equivalent->get_port_by_index(port->get_index());
}

} // namespace

KEP_RG_PARSE::KEP_RG_PARSE(KEP_DB* db)
    : m_db(check("KEP_RG_PARSE", db)),
      m_routing_primitive(db->get_routing_template_graph()->get_routing_primitive()),
      m_routing_primitive_cache(new KEP_DB_ROUTING_PRIMITIVE_CACHE(db)) {}

KEP_RG_PARSE::~KEP_RG_PARSE() {
  delete m_routing_primitive_cache;
}

void KEP_RG_PARSE::add_port_edge(KEP_PORT* input, KEP_PORT* output) {
  add_port_edge(input, output, KEP_ROUTING_PRIMITIVE_HIPI::NONE, false);
}

void KEP_RG_PARSE::add_port_edge(KEP_PORT* input, KEP_PORT* output, bool flag) {
  add_port_edge(input, output, KEP_ROUTING_PRIMITIVE_HIPI::NONE, flag);
}

void KEP_RG_PARSE::add_port_edge(KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_PRIMITIVE_HIPI hipi,
                                 bool flag) {
  check("add_port_edge", input);
  check("add_port_edge", output);
  add_port_edge_internal(input, output, flag);
  const bool is_hipi = hipi != KEP_ROUTING_PRIMITIVE_HIPI::NONE;
  if (is_hipi) add_hipi_to_ports(input, output, hipi);

  const KEP_MODULE* module = input->get_parent();
  const KEP_VIEW_TYPE view = module->get_view_type();
  const bool copies_to_twins =
      view == KEP_VIEW_TYPE::LOGICAL || (is_hipi && view != KEP_VIEW_TYPE::LOGICAL_TWIN);
  if (copies_to_twins) {
    for (const KEP_MODULE* twin : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL_TWIN)) {
      KEP_PORT* twin_input = corresponding_port(twin, input);
      KEP_PORT* twin_output = corresponding_port(twin, output);
      if (view == KEP_VIEW_TYPE::LOGICAL) add_port_edge_internal(twin_input, twin_output, flag);
      if (is_hipi) add_hipi_to_ports(twin_input, twin_output, hipi);
    }
  }
  if (is_hipi && view != KEP_VIEW_TYPE::BLC) {
    for (const KEP_MODULE* blc : module->get_equivalent_modules(KEP_VIEW_TYPE::BLC))
      add_hipi_to_ports(corresponding_port(blc, input), corresponding_port(blc, output), hipi);
  }
  if (view == KEP_VIEW_TYPE::BLC) {
    for (const KEP_MODULE* logical : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL))
      add_port_edge_internal(corresponding_port(logical, input), corresponding_port(logical, output), flag);
  }
}

void KEP_RG_PARSE::add_port_edge_internal(KEP_PORT* port_in, KEP_PORT* port_out, bool flag) {
  KEP_MODULE* module_in = port_in->get_parent();
  KEP_ASSERT_EXPLAIN(module_in == port_out->get_parent(), "Ports %s and %s are not in the same module: %s %s",
                     port_in->get_plain_name(), port_out->get_plain_name(), module_in->get_plain_name(),
                     port_out->get_parent()->get_plain_name());
  KEP_ROUTING_MUX* mux = nullptr;
  for (KEP_ROUTING_MUX* candidate : m_routing_primitive_cache->iter_routing_muxes(module_in)) {
    if (candidate->get_num_skip_exception_instance() == 0) {
      mux = candidate;
      break;
    }
  }
  if (!mux) {
    mux = KEP_ROUTING_MUX::allocate(m_db, module_in, flag);
    m_routing_primitive_cache->add_routing_mux(mux);
  }
  if (mux->find_routing_arc(port_in, port_out)) return;
  m_routing_primitive_cache->add_routing_arc(KEP_ROUTING_ARC::allocate(m_db, port_in, port_out, mux));
}

void KEP_RG_PARSE::add_hipi_to_ports(KEP_PORT* input, KEP_PORT* output, KEP_ROUTING_PRIMITIVE_HIPI hipi) {
  m_routing_primitive->add_hipi(input, hipi);
  m_routing_primitive->add_hipi(output, hipi);
}

void KEP_RG_PARSE::add_routing_flyover(KEP_PORT* input, KEP_PORT* output) {
  check("add_routing_flyover", input);
  check("add_routing_flyover", output);
  m_routing_primitive_cache->add_routing_flyover(KEP_ROUTING_FLYOVER::allocate(m_db, input, output));
  const KEP_MODULE* module = input->get_parent();
  if (module->get_view_type() == KEP_VIEW_TYPE::LOGICAL_TWIN) return;
  for (const KEP_MODULE* twin : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL_TWIN)) {
    m_routing_primitive_cache->add_routing_flyover(KEP_ROUTING_FLYOVER::allocate(
        m_db, corresponding_port(twin, input), corresponding_port(twin, output)));
  }
}

void KEP_RG_PARSE::add_routing_root(KEP_MODULE* routing_root, unsigned char view_type) {
  check("add_routing_root", routing_root);
  KEP_ASSERT(routing_root->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
  const KEP_VIEW_TYPE view = static_cast<KEP_VIEW_TYPE>(view_type);
  if (view == KEP_VIEW_TYPE::BLC) {
    const std::vector<KEP_MODULE*> roots = routing_root->get_equivalent_modules(view);
    if (roots.empty()) {
      KEP_RG_THROW("KEP_RG_PARSE::add_routing_root",
                   fmt::format("Failed because routing_root={} does not have a view_type={}",
                               routing_root->get_plain_name(), kep_get_name_of_view_type(view)));
    }
    for (KEP_MODULE* root : roots)
      m_routing_primitive->add_routing_root(root);
  } else if (view == KEP_VIEW_TYPE::LOGICAL) {
    m_routing_primitive->add_routing_root(routing_root);
  } else {
    KEP_RG_THROW("KEP_RG_PARSE::add_routing_root",
                 fmt::format("Failed because routing_root={} is not marked as view_type logical or blc.",
                             routing_root->get_plain_name()));
  }
}

void KEP_RG_PARSE::add_inserted_node(const std::string& name, KEP_PORT* port) {
  const KEP_MODULE* blc = check("add_inserted_node", port)->get_parent()->find_view(KEP_VIEW_TYPE::BLC);
  m_routing_primitive->add_insert_node(blc ? corresponding_port(blc, port) : port, name);
}

void KEP_RG_PARSE::add_tunnel_type(KEP_MODULE* module, KEP_ROUTING_PRIMITIVE_TUNNEL tunnel) {
  m_routing_primitive->add_tunnel_type(check("add_tunnel_type", module), tunnel);
  if (tunnel == KEP_ROUTING_PRIMITIVE_TUNNEL::NONE || module->get_view_type() == KEP_VIEW_TYPE::BLC) return;
  for (KEP_MODULE* blc : module->get_equivalent_modules(KEP_VIEW_TYPE::BLC))
    m_routing_primitive->add_tunnel_type(blc, tunnel);
}

void KEP_RG_PARSE::add_module_is_not_template(KEP_MODULE* module) {
  m_routing_primitive->add_is_not_template(check("add_module_is_not_template", module));
  for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL_TWIN, KEP_VIEW_TYPE::BLC}) {
    for (KEP_MODULE* equivalent : module->get_equivalent_modules(view))
      m_routing_primitive->add_is_not_template(equivalent);
  }
}

void KEP_RG_PARSE::disable_merge(KEP_PORT* output_port) {
  if (!output_port)
    KEP_RG_THROW("KEP_RG_PARSE::disable_merge", "disable_merge failed because output_port is NULL");
  m_routing_primitive->add_is_merge_disabled(output_port);
  const KEP_MODULE* module = output_port->get_parent();
  if (module->get_view_type() == KEP_VIEW_TYPE::LOGICAL_TWIN) return;
  for (const KEP_MODULE* twin : module->get_equivalent_modules(KEP_VIEW_TYPE::LOGICAL_TWIN)) {
    if (KEP_PORT* port = corresponding_port(twin, output_port))
      m_routing_primitive->add_is_merge_disabled(port);
  }
}

void KEP_RG_PARSE::set_skip_paths(KEP_MODULE* module, bool skip) {
  set_skip_paths_internal(check("set_skip_paths", module), skip);
  for (const KEP_VIEW_TYPE view : {KEP_VIEW_TYPE::LOGICAL, KEP_VIEW_TYPE::LOGICAL_TWIN, KEP_VIEW_TYPE::BLC}) {
    if (module->get_view_type() == view) continue;
    for (KEP_MODULE* equivalent : module->get_equivalent_modules(view))
      set_skip_paths_internal(equivalent, skip);
  }
}

void KEP_RG_PARSE::set_skip_paths_internal(KEP_MODULE* module, bool skip) {
  const auto muxes = m_routing_primitive_cache->iter_routing_muxes(module);
  if (muxes.empty() && module->get_view_type() == KEP_VIEW_TYPE::LOGICAL) {
    KEP_RG_THROW("KEP_RG_PARSE::set_skip_paths_internal",
                 fmt::format("No port edges exist for module {}({})", module->get_plain_name(),
                             kep_get_name_of_view_type(module->get_view_type())));
  }
  for (KEP_ROUTING_MUX* mux : muxes) {
    if (mux->get_skip() == skip) continue;
    mux->set_skip(skip);
    mux->remove_skip_exception_instances();
  }
}

void KEP_RG_PARSE::set_skip_paths(KEP_INSTANCE* instance, bool skip) {
  KEP_MODULE* module = check("set_skip_paths", instance)->get_module();
  const auto muxes = m_routing_primitive_cache->iter_routing_muxes(module);
  if (muxes.empty()) {
    KEP_RG_THROW("KEP_RG_PARSE::set_skip_paths",
                 fmt::format("No port edges exist for instance {} with a master {}",
                             instance->get_plain_name(), module->get_plain_name()));
  }
  for (KEP_ROUTING_MUX* mux : muxes) {
    if (mux->get_skip() != skip) {
      mux->add_skip_exception_instance(instance);
    } else if (mux->has_skip_exception_instances()) {
      // The instance may be one of the exceptions, and there is no way to take a single one back.
      KEP_RG_THROW("KEP_RG_PARSE::set_skip_paths",
                   fmt::format("Can't currently {} a skip path for instance {}", skip ? "add" : "remove",
                               instance->get_plain_name()));
    }
  }
}

void KEP_RG_PARSE::add_skip_paths_to_output_port(KEP_PORT* output_port) {
  if (!output_port) {
    KEP_RG_THROW("KEP_RG_PARSE::add_skip_paths_to_output_port",
                 "add_buffer_output failed because output_port is NULL");
  }
  set_skip_paths(output_port->get_parent(), true);
}

void KEP_RG_PARSE::find_routing_roots(std::unordered_set<const KEP_MODULE*>& roots) const {
  for (const KEP_MODULE* module : m_routing_primitive->iter_routing_roots(false))
    roots.insert(module);
}

namespace PARSE_UTILS {

/// Finds the wires below a routing root, root by root.
class BUILD_MODULE_RELATIVE_PORTS {
public:
  explicit BUILD_MODULE_RELATIVE_PORTS(KEP_ROUTING_PRIMITIVE* routing_primitive)
      : m_routing_primitive(routing_primitive) {
    m_relative_ports.reserve(512);
  }

  /// Replaces the list by the wires below `root` and gives their number.
  std::size_t add_wires(KEP_MODULE* root) {
    if (!root->has_trait(KEP_MODULE::TRAIT::IP_ROOT))
      KEP_RG_THROW("PARSE_UTILS::BUILD_MODULE_RELATIVE_PORTS::add_wires",
                   "Expecting routing root logical module");
    m_relative_ports.clear();
    m_top = root;
    walk(root);
    return m_relative_ports.size();
  }

  const std::vector<KEP_RG_RELATIVE_PORT>& get_wires() const { return m_relative_ports; }

private:
  /// Through the plain masters, over the whole hierarchy below the root.
  void walk(KEP_MODULE* module) {
    for (KEP_PORT* port : module->iter_ports())
      if (!port->is_input() && is_wire(module, port)) {
        KEP_RG_RELATIVE_PORT& wire = m_relative_ports.emplace_back();
        for (KEP_INSTANCE* instance : m_chain)
          wire.add(instance, m_routing_primitive->get_view_type_rank());
        wire.add(port);
      }
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      m_chain.push_back(instance);
      walk(instance->get_module());
      m_chain.pop_back();
    }
  }

  /// A wire type may be given from the root or for the port's own module.
  bool is_wire(const KEP_MODULE* module, const KEP_PORT* port) const {
    return m_routing_primitive->find_wire_type(m_top, KEP_RELATIVE_PATH::create(m_chain, port)) ||
           m_routing_primitive->find_wire_type(module, KEP_RELATIVE_PATH::create({}, port));
  }

  KEP_ROUTING_PRIMITIVE* m_routing_primitive;
  KEP_MODULE* m_top = nullptr;
  std::vector<KEP_RG_RELATIVE_PORT> m_relative_ports;
  std::vector<KEP_INSTANCE*> m_chain; // of the walk
};

} // namespace PARSE_UTILS

void kep_rg_store_relative_routing_wire_paths(KEP_DB* db) {
  constexpr const char* TABLE = "routing_crf";
  constexpr const char* FUNCTION = "kep_rg_store_relative_routing_wire_paths";
  // A database without redundancy is not asked for the table; its roots are asked for below.
  if (db->get_db_type() != KEP_DB_TYPE::NO_REDUNDANCY && db->get_relative_paths(TABLE).valid())
    KEP_RG_THROW(FUNCTION, "Routing wires relative paths have already been added to the DB");
  KEP_INDEXED_RELATIVE_PATHS table = db->find_or_create_relative_paths(TABLE);
  KEP_ROUTING_PRIMITIVE* store = db->get_routing_template_graph()->get_routing_primitive();
  PARSE_UTILS::BUILD_MODULE_RELATIVE_PORTS wires(store);
  for (KEP_MODULE* root : store->iter_routing_roots(false)) {
    if (root->get_view_type() == KEP_VIEW_TYPE::BLC) continue;
    const std::size_t n = wires.add_wires(root);
    const std::string name = root->get_plain_name();
    KEP_RG_REPORT::info() << "Adding " << n << " wire paths for " << name << std::endl;
    if (n == 0) continue;
    if (table.find_path_mappings_for_module(root).exists())
      KEP_RG_THROW(FUNCTION, "Routing wires relative paths have already been added for routing root " + name);
    KEP_MODULE_RELATIVE_PATH_MAP map = table.find_or_create_paths_for_module(root);
    map.reserve(n, false);
    for (const KEP_RG_RELATIVE_PORT& wire : wires.get_wires())
      map.add_path(*wire.get_instances(), wire.get_port());
  }
}

void kep_rg_indexed_relative_paths_add_to(KEP_INDEXED_RELATIVE_PATHS* paths,
                                          KEP_RG_MODULE_RELATIVE_PORTS* ports) {
  KEP_MODULE_RELATIVE_PATH_MAP map = paths->find_or_create_paths_for_module(ports->get_top());
  map.reserve(ports->size(), false);
  for (const KEP_RG_RELATIVE_PORT* port : ports->iter_relative_ports())
    map.add_path(*port->get_instances(), port->get_port());
}
