#pragma once

#include "kep/kep_unfold_observer.h"
#include "tests/support/model_fixture.h"

#include <string>
#include <vector>

/// What an observer was told, a line a call: "start_net t/n", "t/k:a walk" for an inst port, "[t:in] cross"
/// for a port.
namespace test_model {

class RECORDED_WALK : public KEP_UNFOLD_OBSERVER {
public:
  void close() override { m_calls.push_back("close"); }
  void start_uip(const KEP_UNFOLDED_INST_PORT& uip) override {
    m_calls.push_back("start_uip " + name_of(uip));
  }
  void finish_uip() override { m_calls.push_back("finish_uip"); }
  void start_net(const KEP_UNFOLDED_NET& net) override {
    m_calls.push_back("start_net " + net.get_name(KEP_NAME_STYLE()));
  }
  void visit(const KEP_UNFOLDED_PORT& port, VISIT_TYPE type) override {
    m_calls.push_back("[" + name_of(port) + "] " + get_name_of_visit_type(type));
  }
  void visit(const KEP_UNFOLDED_INST_PORT& uip, VISIT_TYPE type) override {
    m_calls.push_back(name_of(uip) + " " + get_name_of_visit_type(type));
  }

  const std::vector<std::string>& calls() const { return m_calls; }

private:
  std::vector<std::string> m_calls;
};

} // namespace test_model
