#include "kep_io/kep_find_nodes.h"
#include "kep_io/kep_io_error.h"
#include "kep_io/text/kep_closest_names.h"

#include <fmt/format.h>

#include <set>
#include <string_view>

namespace {

constexpr KEP_NAME_STYLE NET_STYLE{};

/// The modules of a path of instances, in all views; the tops for an empty one.
std::vector<KEP_UNFOLDED_MODULE> find_modules(const KEP_DB& db, const std::string& path) {
  std::vector<KEP_UNFOLDED_MODULE> modules;
  if (path.empty()) {
    const std::vector<KEP_SLOT>& tops = db.get_unfolding().get_top_slots();
    modules.reserve(tops.size());
    for (std::uint32_t slot = 0; slot != tops.size(); ++slot)
      modules.emplace_back(KEP_SLOT_POSITION::pack(KEP_UNFOLDING::ABOVE_TOP, slot), tops[slot].m_module);
    return modules;
  }
  for (const KEP_UNFOLDED_INSTANCE& instance : db.find_unfolded_instances(path))
    for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
      if (const KEP_UNFOLDED_MODULE module = instance.get_module(static_cast<KEP_VIEW_TYPE>(view)))
        modules.push_back(module);
  return modules;
}

KEP_UNFOLDED_NET get_unfolded_net(const KEP_UNFOLDED_MODULE& module, KEP_NET* net) {
  const KEP_UNFOLDING& unfolding = *module.m_object->get_unfolding();
  const std::uint32_t above = KEP_SLOT_POSITION::occurrence(module.m_position);
  const KEP_SLOT& slot = unfolding.get_slot(above, KEP_SLOT_POSITION::slot(module.m_position));
  return {unfolding.get_child(above, slot), net}; // what holds a net is an inner occurrence
}

/// The names of nets in the innermost module of the path that is there.
[[noreturn]] void refuse(const KEP_DB& db, const std::string& name, std::string path) {
  std::vector<KEP_UNFOLDED_MODULE> modules = find_modules(db, path);
  while (modules.empty()) {
    const std::size_t end = path.rfind(NET_STYLE.m_hierarchy_separator);
    path.resize(end == std::string::npos ? 0 : end);
    modules = find_modules(db, path);
  }
  if (!path.empty()) path += NET_STYLE.m_hierarchy_separator;
  KEP_CLOSEST_NAMES closest(name);
  std::set<std::string_view> offered; // several nets may have one name
  for (const KEP_UNFOLDED_MODULE& module : modules)
    for (const KEP_NET* net : module.m_object->iter_nets())
      if (offered.insert(net->get_plain_name()).second) closest.offer(path + net->get_plain_name());
  const std::vector<std::string> names = closest.get_names();
  throw KEP_IO_ERROR(names.empty() ? fmt::format("no net \"{}\"", name)
                                   : fmt::format("no net \"{}\"; closest: {}", name, fmt::join(names, ", ")));
}

} // namespace

std::vector<KEP_UNFOLDED_NET> kep_get_unfolded_nets(const KEP_DB& db, const std::string& name) {
  const std::size_t end = name.rfind(NET_STYLE.m_hierarchy_separator);
  const std::string path = end == std::string::npos ? "" : name.substr(0, end);
  const std::string_view own = std::string_view(name).substr(end == std::string::npos ? 0 : end + 1);
  std::vector<KEP_UNFOLDED_NET> nets;
  for (const KEP_UNFOLDED_MODULE& module : find_modules(db, path))
    for (KEP_NET* net : module.m_object->iter_nets())
      if (own == net->get_plain_name()) nets.push_back(get_unfolded_net(module, net));
  if (nets.empty()) refuse(db, name, path);
  return nets;
}
