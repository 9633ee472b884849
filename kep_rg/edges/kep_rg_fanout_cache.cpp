#include "kep_rg/detail/kep_rg_fanout_cache.h"

#include <utility>

namespace {

// 64 megabytes for each thread, some hundred thousand answers. A range with more, each different, gets there
// and answers nothing worse for it: a node without an answer is searched.
constexpr std::size_t MAX_PATHS = std::size_t{1} << 22;
constexpr std::size_t PATHS_OF_AN_ANSWER = 40; // as much memory as the maps take for one

KEP_UNFOLDED_PORT get_default_port(const KEP_UNFOLDED_INST_PORT& uip) {
  return uip.get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW));
}

KEP_UNFOLDED_INST_PORT get_inst_port(const KEP_UNFOLDED_MODULE& module, const KEP_RELATIVE_PATH& path) {
  const KEP_UNFOLDED_INSTANCE instance = (module + path).get_unfolded_instance();
  const KEP_PORT* port = path.get_port(module.m_object->get_unfolding()->get_db());
  return instance.get_unfolding_of_inst_port(instance.m_object->get_inst_port_for_port(port));
}

template <class MAP, class KEY>
const typename MAP::mapped_type* find_in(const MAP* map, const KEY& key) {
  if (!map) return nullptr;
  const auto found = map->find(key);
  return found == map->end() ? nullptr : &found->second;
}

} // namespace

KEP_UNFOLDED_MODULE KEP_RG_FANOUT_CACHE::find(const KEP_UNFOLDED_INST_PORT& driver, UIPS& leaves) const {
  const BY_LEVEL* levels = find_in(&m_answers, driver.m_object);
  if (!levels) return {};
  const KEP_UNFOLDED_PORT port = get_default_port(driver);
  KEP_UNFOLDED_MODULE module = port.get_parent();
  for (int level = 0; const KEP_UNFOLDED_INSTANCE above = module.get_unfolded_instance(); ++level) {
    const BY_PATH* answers = find_in(find_in(levels, level), module.m_object);
    if (const PATHS* paths = answers ? find_in(answers, port - module) : nullptr) {
      for (const KEP_RELATIVE_PATH& path : *paths)
        leaves.push_back(get_inst_port(module, path));
      return module;
    }
    module = above.get_parent();
  }
  return {};
}

bool KEP_RG_FANOUT_CACHE::store(const KEP_UNFOLDED_INST_PORT& driver, KEP_UNFOLDED_MODULE top,
                                const UIPS& leaves) {
  const KEP_UNFOLDED_PORT port = get_default_port(driver);
  KEP_UNFOLDED_MODULE module = port.get_parent();
  if (!top) top = module;
  if (top.m_object->is_top_module_or_equiv() || m_num_paths + leaves.size() > MAX_PATHS) return false;
  int level = 0;
  for (; module && !(module == top); module = module.get_unfolded_instance().get_parent())
    ++level;
  if (!module) return false;
  PATHS paths;
  paths.reserve(leaves.size());
  for (const KEP_UNFOLDED_INST_PORT& leaf : leaves) {
    const KEP_UNFOLDED_PORT leaf_port = get_default_port(leaf);
    // A port of the module itself lies around it, unless it is one of the driver's instance.
    const bool is_around = level != 0 && leaf_port.get_parent() == top;
    paths.push_back(is_around ? KEP_RELATIVE_PATH() : leaf_port - top);
    if (!paths.back()) return false;
  }
  m_num_paths += paths.size() + PATHS_OF_AN_ANSWER;
  m_answers[driver.m_object][level][top.m_object][port - top] = std::move(paths);
  return true;
}
