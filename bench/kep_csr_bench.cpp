// Writing a graph as arrays beside a pass over all its edges by as many threads, turn by turn.
//
//   kep_csr_bench DEVICE.kdb FOLDER [THREADS [ROUNDS]]
//
// Prints the least and the median of the pass, by NUMBERED_GRAPH::visit_edges(), of write_csr() up to the
// point where the files are brought to the disk, and of that. Files are made anew in the folder in each
// round.

#include "kep/kep_db.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/kep_database_file.h"
#include "tools/kep-rg/export/csr.h"

#include <fmt/format.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

template <class WORK>
double measure(const WORK& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::uint64_t pass(const KEP_ROUTING::NUMBERED_GRAPH& graph) {
  constexpr std::uint32_t NODES_OF_A_BLOCK = 4096;
  std::atomic<std::uint64_t> sum = 0;
  tbb::parallel_for(0U, graph.get_num_nodes() / NODES_OF_A_BLOCK + 1, [&](std::uint32_t block) {
    std::uint64_t sum_here = 0;
    const std::uint32_t first = block * NODES_OF_A_BLOCK;
    graph.visit_edges(
        first, std::min(first + NODES_OF_A_BLOCK, graph.get_num_nodes()),
        [&](std::uint32_t, const KEP_ROUTING::NUMBERED_FWD_EDGE& edge) { sum_here += edge.get_fanout(); });
    sum += sum_here;
  });
  return sum;
}

void print(const char* name, std::vector<double> seconds) {
  std::sort(seconds.begin(), seconds.end());
  fmt::print("{:<5} least {:.2f} ms, median {:.2f} ms\n", name, seconds.front() * 1e3,
             seconds[seconds.size() / 2] * 1e3);
}

void run(const char* device, const std::string& folder, int num_threads, int num_rounds) {
  const tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(num_threads));
  const std::unique_ptr<KEP_DB> db = kep_open_database(device);
  const KEP_ROUTING::NUMBERED_GRAPH graph(*db->get_routing_template_graph());
  std::vector<double> passes, writes;
  std::uint64_t sum = 0;
  for (int round = 0; round != num_rounds; ++round) {
    passes.push_back(measure([&] { sum += pass(graph); }));
    writes.push_back(measure([&] { write_csr(graph.get_graph(), device, folder); }));
    std::filesystem::remove_all(folder);
  }
  fmt::print("{}: {} threads, {} rounds, sum {}\n", device, num_threads, num_rounds, sum);
  print("pass", passes);
  print("write", writes);
}

} // namespace

// In the place of the system's own.
extern "C" int fsync(int) {
  return 0;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fmt::print(stderr, "usage: kep_csr_bench DEVICE.kdb FOLDER [THREADS [ROUNDS]]\n");
    return 2;
  }
  try {
    run(argv[1], argv[2], argc > 3 ? std::atoi(argv[3]) : 2, argc > 4 ? std::atoi(argv[4]) : 20);
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
  }
}
