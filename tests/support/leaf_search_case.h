#pragma once

#include "kep/kep_flat_utils.h"
#include "tests/support/model_fixture.h"
#include "tests/support/scripted_predicate.h"

#include <memory>
#include <string>
#include <vector>

namespace test_model {

/// One search with all that belongs to it. Names stand for uips; in the log a port has its name after "port".
struct LEAF_SEARCH_CASE {
  explicit LEAF_SEARCH_CASE(const char* model) : m_db(make_db(model)) {
    m_params.m_view_type_rank = KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL);
  }

  void from(const KEP_UNFOLDED_INST_PORT& start, const KEP_UNFOLDED_INST_PORT& exclude = {},
            const KEP_UNFOLDED_PORT& exclude_port = {}) {
    run(start, {}, exclude, exclude_port);
  }
  void from(const char* start) { from(uip(*m_db, start)); }
  void from(const KEP_UNFOLDED_PORT& start, const KEP_UNFOLDED_INST_PORT& exclude = {},
            const KEP_UNFOLDED_PORT& exclude_port = {}) {
    run({}, start, exclude, exclude_port);
  }
  void run(const KEP_UNFOLDED_INST_PORT& start, const KEP_UNFOLDED_PORT& port,
           const KEP_UNFOLDED_INST_PORT& exclude, const KEP_UNFOLDED_PORT& exclude_port) {
    const KEP_LEAF_SEARCH<SCRIPTED_PREDICATE> search(SCRIPTED_PREDICATE(&m_script), &m_observer);
    search.find_leaves(start, port, m_results, m_params, exclude, exclude_port);
  }

  /// The port of that name on the inside of an instance; of the top for an empty path.
  KEP_UNFOLDED_PORT port(const std::string& path, const char* name) const {
    const KEP_UNFOLDED_MODULE module =
        path.empty() ? m_db->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW)
                     : unfolded_instance(*m_db, path).get_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
    return module.get_unfolded_port_by_index(module.m_object->find_port(name)->get_index());
  }

  std::vector<std::string> found() const {
    std::vector<std::string> names;
    for (const KEP_UNFOLDED_INST_PORT& each : m_results.m_uips)
      names.push_back(name_of(each));
    return names;
  }
  std::vector<std::string> top_ports() const {
    std::vector<std::string> names;
    for (const KEP_UNFOLDED_PORT& each : m_results.m_top_ports)
      names.push_back(name_of(each));
    return names;
  }
  const std::vector<std::string>& log() const { return m_observer.log(); }

  std::unique_ptr<KEP_DB> m_db;
  SCRIPT m_script;
  RECORDING_OBSERVER m_observer;
  KEP_GET_LEAF_PARAMS m_params;
  KEP_LEAF_RESULTS m_results;
};

} // namespace test_model
