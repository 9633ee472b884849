// An observer of one's own: follows the walk that gives a node its fanouts, and counts what it meets.
//
//   observe_walk DEVICE.kdb NODE

#include "kep/kep_db.h"
#include "kep/kep_unfold_observer.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_find_nodes.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_debug.h"

#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr KEP_NAME_STYLE STYLE{};

/// Keeps the nets of a walk in their order, and how often it met which kind of point.
class WALK_COUNTER : public KEP_UNFOLD_OBSERVER {
public:
  void start_net(const KEP_UNFOLDED_NET& net) override { m_nets.push_back(net); }
  void visit(const KEP_UNFOLDED_PORT&, VISIT_TYPE type) override { ++m_num_points[type]; }
  void visit(const KEP_UNFOLDED_INST_PORT&, VISIT_TYPE type) override { ++m_num_points[type]; }

  void print() const {
    for (const KEP_UNFOLDED_NET& net : m_nets)
      std::cout << "  net " << net.get_name(STYLE) << "\n";
    for (const auto& [type, count] : m_num_points)
      std::cout << "  " << count << " x " << get_name_of_visit_type(type) << "\n";
  }

private:
  std::vector<KEP_UNFOLDED_NET> m_nets;
  std::map<VISIT_TYPE, unsigned> m_num_points;
};

void observe(const std::string& path, const std::string& name) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  const KEP_ROUTING::NODE node = kep_get_nodes(*db, name).front();
  if (node.is_boundary() || node.is_hipi()) throw std::runtime_error(name + " is no plain node");

  WALK_COUNTER counter;
  KEP_RG_DBG_FANOUTS fanouts;
  {
    const KEP_REPORT_CAPTURE quiet; // the lines that a build writes
    KEP_RG_BUILD build(db.get(), KEP_RG_BUILD_PARAMS());
    build.build_nodes();
    build.build_redundant_inputs();
    build.debug_edges(&fanouts, node.get_unfolded_inst_port(), false, &counter);
  }
  std::cout << name << " has " << fanouts.size() << " fanouts; on the way to them:\n";
  counter.print();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: observe_walk DEVICE.kdb NODE\n";
    return 1;
  }
  try {
    observe(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::cerr << "observe_walk: " << error.what() << "\n";
    return 1;
  }
}
