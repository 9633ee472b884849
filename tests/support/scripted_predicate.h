#pragma once

#include "kep/kep_flat_utils.h"
#include "tests/support/model_fixture.h"

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace test_model {

/// What a scripted predicate answers, by the full names of the points, and what it was asked.
struct SCRIPT {
  std::set<std::string> m_terminating, m_leaf, m_ignored, m_ignored_ports, m_throws;
  std::map<std::string, std::vector<std::string>> m_through; // a uip to other ports of its instance
  bool m_replaces_list = false;

  std::vector<std::string> m_asked_through, m_asked_ignore;
  std::size_t m_lists_not_empty = 0;
};

class SCRIPTED_PREDICATE {
public:
  explicit SCRIPTED_PREDICATE(SCRIPT* script) : m_script(script) {}

  bool is_terminating_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS&) const {
    if (m_script->m_throws.count(name_of(uip))) throw std::runtime_error(name_of(uip));
    return m_script->m_terminating.count(name_of(uip)) != 0;
  }
  bool is_leaf(const KEP_UNFOLDED_INST_PORT& uip, const KEP_GET_LEAF_PARAMS&) const {
    return m_script->m_leaf.count(name_of(uip)) != 0;
  }
  bool is_ignore_uip(const KEP_UNFOLDED_INST_PORT& uip, const KEP_UNFOLDED_INST_PORT& exclude_uip,
                     const KEP_UNFOLDED_PORT& exclude_port, const KEP_UNFOLDED_INST_PORT& cur_uip,
                     const KEP_UNFOLDED_PORT& cur_port) const {
    m_script->m_asked_ignore.push_back(name_of(uip) + " " + name_of(exclude_uip) + " " +
                                       name_of(exclude_port) + " " + name_of(cur_uip) + " " +
                                       name_of(cur_port));
    return m_script->m_ignored.count(name_of(uip)) != 0;
  }
  bool is_ignore_port(const KEP_UNFOLDED_PORT& port) const {
    return m_script->m_ignored_ports.count(name_of(port)) != 0;
  }
  void get_trace_thru_outputs(const KEP_UNFOLDED_INST_PORT& uip,
                              std::vector<KEP_UNFOLDED_INST_PORT>& outputs) const {
    m_script->m_asked_through.push_back(name_of(uip));
    if (!outputs.empty()) ++m_script->m_lists_not_empty;
    if (m_script->m_replaces_list) outputs.clear();
    const auto found = m_script->m_through.find(name_of(uip));
    if (found == m_script->m_through.end()) return;
    for (const std::string& output : found->second)
      outputs.push_back(test_model::uip(*uip.get_db(), output));
  }
  bool should_trace_thru_fanout(const KEP_UNFOLDED_INST_PORT& output) const {
    return output.m_object->is_output() || output.m_object->is_bidir();
  }

private:
  SCRIPT* m_script;
};

/// Writes down what a search reports: "12 a/b:c", "11 port a:p", "net a/n".
class RECORDING_OBSERVER : public KEP_UNFOLD_OBSERVER {
public:
  void start_net(const KEP_UNFOLDED_NET& net) override {
    m_log.push_back("net " + net.get_name(KEP_NAME_STYLE()));
  }
  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) override {
    m_log.push_back(std::to_string(static_cast<int>(type)) + " port " + name_of(port));
  }
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override {
    m_log.push_back(std::to_string(static_cast<int>(type)) + " " + name_of(uip));
  }
  const std::vector<std::string>& log() const { return m_log; }
  void clear() { m_log.clear(); }

private:
  std::vector<std::string> m_log;
};

} // namespace test_model
