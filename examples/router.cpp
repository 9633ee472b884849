// Routes random nets by negotiated congestion (router.h) over the folded graph of a device database.
//
//   router DEVICE.kdb [NETS [SEED]]

#include "examples/router.h"

#include "examples/random_nets.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/kep_database_file.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

constexpr unsigned MAX_ROUNDS = 100;

void route(const std::string& path, unsigned num_nets, unsigned seed) {
  const std::unique_ptr<KEP_DB> db = kep_open_database(path);
  const KEP_ROUTING::NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  ROUTER router(graph, RANDOM_NETS(graph, seed).choose(num_nets));
  for (unsigned round = 1; round <= MAX_ROUNDS; ++round) {
    const auto start = std::chrono::steady_clock::now();
    const std::uint64_t overuse = router.run_round();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::cout << "round " << round << ": " << router.get_num_routed() << " nets routed, overuse " << overuse
              << ", " << time.count() << " s" << std::endl;
    if (overuse == 0) return;
  }
  throw std::runtime_error("after " + std::to_string(MAX_ROUNDS) + " rounds nets still share nodes");
}

unsigned read_number(const std::string& text) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != text.npos)
    throw std::runtime_error("\"" + text + "\" is no number of at most nine digits");
  return static_cast<unsigned>(std::stoul(text));
}

} // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) {
    std::cerr << "usage: router DEVICE.kdb [NETS [SEED]]\n";
    return 1;
  }
  try {
    route(argv[1], argc > 2 ? read_number(argv[2]) : 3000, argc > 3 ? read_number(argv[3]) : 1);
  } catch (const std::exception& error) {
    std::cerr << "router: " << error.what() << "\n";
    return 1;
  }
}
