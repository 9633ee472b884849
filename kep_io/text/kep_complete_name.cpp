#include "kep_io/kep_complete_name.h"

#include "kep/kep_routing_graph.h"
#include "kep/kep_unfolded.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace {

using KEP_ROUTING::NODE;

constexpr KEP_NAME_STYLE SPELLING{};

bool is_node(const KEP_UNFOLDED_INST_PORT& uip) {
  return NODE(uip, false) || NODE(uip, true);
}

/// The modules in all views: of an instance, or the tops.
template <class GET_MODULE>
std::vector<KEP_UNFOLDED_MODULE> get_modules(const GET_MODULE& get_module) {
  std::vector<KEP_UNFOLDED_MODULE> modules;
  for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
    if (const KEP_UNFOLDED_MODULE module = get_module(static_cast<KEP_VIEW_TYPE>(view)))
      modules.push_back(module);
  return modules;
}

/// Gathers what a beginning can become, until there is too much of it.
class NAME_ENDS {
public:
  NAME_ENDS(const KEP_DB& db, std::string_view text, std::size_t max_names)
      : m_db(db), m_text(text), m_max_names(max_names) {}

  void add_instances() {
    const std::size_t slash = m_text.rfind(SPELLING.m_hierarchy_separator);
    if (slash == std::string_view::npos) {
      for (const KEP_UNFOLDED_MODULE& top : get_tops())
        add_instances_of(top, 0);
      if (m_text.empty() && has_boundary_nodes()) add(0, "", ":");
      return;
    }
    for (const KEP_UNFOLDED_INSTANCE& instance :
         m_db.find_unfolded_instances(std::string(m_text.substr(0, slash))))
      for (const KEP_UNFOLDED_MODULE& module : get_modules_of(instance))
        add_instances_of(module, slash + 1);
  }
  void add_nodes() {
    const std::size_t colon = m_text.rfind(SPELLING.m_port_separator);
    if (colon == 0) add_boundary_nodes();
    for (const KEP_UNFOLDED_INSTANCE& instance :
         m_db.find_unfolded_instances(std::string(m_text.substr(0, colon))))
      for (const KEP_UNFOLDED_INST_PORT& uip : instance.iter_inst_ports())
        if (const std::string_view name = uip.m_object->get_port()->get_plain_name();
            name.starts_with(m_text.substr(colon + 1)) && is_node(uip))
          add(colon + 1, name, "");
  }
  std::vector<std::string> take() const {
    if (is_too_many()) return {};
    return {m_ends.begin(), m_ends.end()};
  }

private:
  std::vector<KEP_UNFOLDED_MODULE> get_tops() const {
    return get_modules([this](KEP_VIEW_TYPE view) { return m_db.get_top_unfolded_module(view); });
  }
  static std::vector<KEP_UNFOLDED_MODULE> get_modules_of(const KEP_UNFOLDED_INSTANCE& instance) {
    return get_modules([&instance](KEP_VIEW_TYPE view) { return instance.get_module(view); });
  }
  bool is_too_many() const { return m_ends.size() > m_max_names; }

  /// What stands before the level's own part of the text, and behind it the name and its end.
  void add(std::size_t level, std::string_view name, const char* end) {
    m_ends.insert(std::string(m_text.substr(0, level)).append(name).append(end));
  }
  void add_instances_of(const KEP_UNFOLDED_MODULE& module, std::size_t level) {
    const std::string_view beginning = m_text.substr(level);
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      const std::string_view name = instance.m_object->get_plain_name();
      if (!name.starts_with(beginning)) continue;
      const auto modules = get_modules_of(instance);
      if (std::any_of(modules.begin(), modules.end(),
                      [](const KEP_UNFOLDED_MODULE& inner) { return !inner.iter_instances().empty(); }))
        add(level, name, "/");
      const auto uips = instance.iter_inst_ports();
      if (std::any_of(uips.begin(), uips.end(), is_node)) add(level, name, ":");
      if (is_too_many()) return;
    }
  }
  void add_boundary_nodes() {
    for (const KEP_UNFOLDED_MODULE& top : get_tops())
      for (const KEP_PORT* port : top.m_object->iter_ports())
        if (const std::string_view name = port->get_plain_name();
            name.starts_with(m_text.substr(1)) && NODE(port))
          add(1, name, "");
  }
  bool has_boundary_nodes() const {
    const auto tops = get_tops();
    return std::any_of(tops.begin(), tops.end(), [](const KEP_UNFOLDED_MODULE& top) {
      const auto ports = top.m_object->iter_ports();
      return std::any_of(ports.begin(), ports.end(), [](const KEP_PORT* port) { return NODE(port); });
    });
  }

  const KEP_DB& m_db;
  std::string_view m_text;
  std::size_t m_max_names;
  std::set<std::string> m_ends;
};

} // namespace

std::vector<std::string> kep_complete_node_name(const KEP_DB& db, const std::string& text,
                                                std::size_t max_names) {
  NAME_ENDS ends(db, text, max_names);
  if (text.find(SPELLING.m_port_separator) == std::string::npos)
    ends.add_instances();
  else
    ends.add_nodes();
  return ends.take();
}
