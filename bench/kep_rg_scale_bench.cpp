// How a build grows with the device: each phase, the finished graph and the memory, for real chip databases
// and for devices that `kep-rg generate` makes, beside a flat graph of the same edges.
//
//   kep_rg_scale_bench [--chipdb FILE[,FILE...]] [--device FORM:NODES[,FORM:NODES...]]
//                      [--model MODEL,ROUTING] [--threads N[,N...]]
//
// What is named is measured; without any the chip databases that are installed, and a device of each form. A
// device of 10^8 nodes (tiles:100000000) takes some minutes and, with its flat graph, 14 GB.
//
// Each device is built in a process of its own, so that peaks are its own. The baselines come from the same
// process, after the peak is read: filling compressed rows from an array of edges, and a pass that adds up a
// hash of every edge's target, over the rows and over the folded graph.

#include "kep/kep_db.h"
#include "kep_report/kep_report_capture.h"
#include "tools/kep-rg/device/load_device.h"
#include "tools/kep-rg/generate/generate.h"
#include "tools/kep-rg/import_icebox/import_icebox.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using FOLDER = std::filesystem::path;
using CLOCK = std::chrono::steady_clock;

/// What two sizes of one kind are compared by.
struct RESULT {
  double m_nodes = 0;
  double m_edge_phase = 0; // seconds
  double m_build = 0;
  double m_build_memory = 0; // bytes at the peak, less those of the program itself
};

double get_seconds(CLOCK::time_point start) {
  return std::chrono::duration<double>(CLOCK::now() - start).count();
}

/// The shortest of five runs.
double measure(const std::function<void()>& run) {
  double best = 1e300;
  for (int i = 0; i != 5; ++i) {
    const CLOCK::time_point start = CLOCK::now();
    run();
    best = std::min(best, get_seconds(start));
  }
  return best;
}

/// A line of the process's status, in bytes: "VmRSS:", "VmHWM:".
double get_status(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == name) {
      double kilobytes = 0;
      status >> kilobytes;
      return kilobytes * 1024;
    }
  return 0;
}

/// Lets "VmHWM:" begin anew.
void reset_peak() {
  std::ofstream file("/proc/self/clear_refs");
  if (!(file << "5" << std::flush)) throw std::runtime_error("the peak of the memory can't be reset");
}

/// What NODE::hash() does.
std::uint64_t hash_of(std::uint64_t word) {
  const std::uint64_t h = word * 0x9e3779b97f4a7c15U;
  return h ^ (h >> 32);
}

struct FLAT_GRAPH {
  std::vector<std::uint64_t> m_first_edge; // by node, and one more
  std::vector<std::uint32_t> m_targets;

  FLAT_GRAPH(std::size_t num_nodes, const std::vector<std::pair<std::uint32_t, std::uint32_t>>& edges)
      : m_first_edge(num_nodes + 1), m_targets(edges.size()) {
    fill(edges);
  }
  /// Counts, adds up, and puts each edge into its row.
  void fill(const std::vector<std::pair<std::uint32_t, std::uint32_t>>& edges) {
    std::fill(m_first_edge.begin(), m_first_edge.end(), 0);
    for (const auto& [from, to] : edges)
      ++m_first_edge[from + std::size_t{1}];
    for (std::size_t i = 1; i != m_first_edge.size(); ++i)
      m_first_edge[i] += m_first_edge[i - 1];
    std::vector<std::uint64_t> next(m_first_edge.begin(), m_first_edge.end() - 1);
    for (const auto& [from, to] : edges)
      m_targets[next[from]++] = to;
  }
};

void print_phases(const BUILD_STATS& stats, double nodes, double edges) {
  fmt::print("  {:<18}{:>10}{:>12}{:>12}\n", "phase", "seconds", "ns a node", "ns an edge");
  const auto print_phase = [&](const std::string& name, double seconds) {
    fmt::print("  {:<18}{:>10.3f}{:>12.1f}{:>12.1f}\n", name, seconds, seconds * 1e9 / nodes,
               seconds * 1e9 / edges);
  };
  double build = 0;
  for (const auto& [name, seconds] : stats.m_phases) {
    print_phase(name, seconds);
    if (name != "load" && name != "describe") build += seconds;
  }
  print_phase("all but reading", build);
}

void print_baselines(const KEP_ROUTING::GRAPH& graph, double edge_phase) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> edges;
  edges.reserve(graph.get_num_real_edges() + graph.get_num_redundant_edges());
  std::uint32_t index = 0;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
      edges.emplace_back(index, graph.get_index(edge.get_fanout()));
    ++index;
  }
  FLAT_GRAPH flat(index, edges);
  const auto per_edge = [&](double seconds) { return seconds * 1e9 / static_cast<double>(edges.size()); };
  const double fill = measure([&] { flat.fill(edges); });
  const double make = measure([&] { FLAT_GRAPH(index, edges); });
  fmt::print("  flat graph         {:.2f} ns an edge to fill, {:.2f} with its memory, by one thread; "
             "the edge phase takes {:.1f} and {:.1f} times as long\n",
             per_edge(fill), per_edge(make), edge_phase / fill, edge_phase / make);
  std::uint64_t sum = 0;
  const double flat_pass = measure([&] {
    for (std::uint32_t node = 0; node != index; ++node)
      for (std::uint64_t edge = flat.m_first_edge[node]; edge != flat.m_first_edge[node + 1]; ++edge)
        sum += hash_of(flat.m_targets[edge]);
  });
  const double visit = measure([&] {
    graph.visit_edges(graph.iter_nodes(),
                      [&](const KEP_ROUTING::NODE&, const KEP_ROUTING::NODE& to) { sum += to.hash(); });
  });
  const double iterate = measure([&] {
    for (const KEP_ROUTING::NODE& node : graph.iter_nodes())
      for (const KEP_ROUTING::FWD_EDGE& edge : node.iter_all_fanout())
        sum += edge.get_fanout().hash();
  });
  fmt::print("  pass over edges    flat {:.2f}, folded {:.2f} by visit_edges(), {:.2f} by iterators: {:.2f} "
             "and {:.2f} times ({:x})\n",
             per_edge(flat_pass), per_edge(visit), per_edge(iterate), visit / flat_pass, iterate / flat_pass,
             sum & 0xf);
}

RESULT build(const std::string& name, const DEVICE_OPTIONS& options) {
  const int num_threads = options.m_num_threads;
  BUILD_STATS stats;
  const KEP_REPORT_CAPTURE capture;
  const double program = get_status("VmRSS:");
  const std::unique_ptr<KEP_DB> db = read_device(options, stats);
  const double model = get_status("VmRSS:") - program;
  const double reading_peak = get_status("VmHWM:");
  reset_peak();
  build_graph(db.get(), options, stats);
  const double peak = get_status("VmHWM:");

  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  const auto nodes = static_cast<double>(graph.get_num_nodes());
  const auto edges = static_cast<double>(graph.get_num_real_edges() + graph.get_num_redundant_edges());
  const auto bytes = static_cast<double>(graph.get_memory_bytes());
  fmt::print("{}, {} thread{}: {:.0f} nodes, {:.0f} edges, {} lists of fanouts\n", name, num_threads,
             num_threads == 1 ? "" : "s", nodes, edges, graph.get_num_templates());
  print_phases(stats, nodes, edges);
  fmt::print("  finished graph     {:.2f} MB, {:.2f} bytes a node or {:.3f} an edge\n", bytes / 1e6,
             bytes / nodes, bytes / edges);
  fmt::print(
      "  memory             {:.1f} MB at the peak of the build: {:.1f} the program, {:.1f} the model, {:.1f} "
      "bytes a node or {:.1f} an edge beside them; {:.1f} MB while reading\n",
      peak / 1e6, program / 1e6, model / 1e6, (peak - program - model) / nodes,
      (peak - program - model) / edges, reading_peak / 1e6);
  RESULT result{nodes, 0, 0, std::max(peak, reading_peak) - program};
  for (const auto& [phase, seconds] : stats.m_phases) {
    if (phase == "add_edges") result.m_edge_phase = seconds;
    result.m_build += seconds;
  }
  print_baselines(graph, result.m_edge_phase);
  std::fflush(stdout);
  return result;
}

/// Runs in a process of its own.
RESULT run_alone(const std::function<RESULT()>& run) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) {
    int status = 1;
    try {
      const RESULT result = run();
      status = ::write(ends[1], &result, sizeof(result)) == sizeof(result) ? 0 : 1;
    } catch (const std::exception& failure) {
      fmt::print(stderr, "{}\n", failure.what());
    }
    std::fflush(stdout);
    ::_exit(status);
  }
  ::close(ends[1]);
  RESULT result;
  const bool complete = ::read(ends[0], &result, sizeof(result)) == sizeof(result);
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  if (!complete) throw std::runtime_error("a device could not be built");
  return result;
}

std::vector<std::string> find_installed_chipdbs() {
  std::vector<std::string> found;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/share/fpga-icestorm/chipdb", none))
    if (entry.path().filename().string().starts_with("chipdb-")) found.push_back(entry.path().string());
  std::sort(found.begin(), found.end());
  return found;
}

void compare_threads(const std::vector<int>& threads, const std::vector<RESULT>& results) {
  for (std::size_t i = 1; i < results.size(); ++i)
    fmt::print("  edge phase with {} threads {:.2f} times as fast as with {}\n", threads[i],
               results[0].m_edge_phase / results[i].m_edge_phase, threads[0]);
}

/// Builds a device with each number of threads.
std::vector<RESULT> build_device(const std::string& name, const std::vector<int>& threads,
                                 DEVICE_OPTIONS device) {
  std::vector<RESULT> results;
  for (const int num_threads : threads) {
    device.m_num_threads = num_threads;
    results.push_back(run_alone([&] { return build(name, device); }));
  }
  compare_threads(threads, results);
  return results;
}

/// Makes the files of a device, builds it and removes them.
std::vector<RESULT> make_and_build(const std::string& name, const std::vector<int>& threads,
                                   const std::function<void(const DEVICE_OPTIONS&)>& make_files) {
  const FOLDER folder =
      std::filesystem::temp_directory_path() / ("kep_rg_scale_bench." + std::to_string(::getpid()));
  std::filesystem::create_directory(folder);
  DEVICE_OPTIONS device;
  device.m_model = (folder / "model.json").string();
  device.m_routing = {(folder / "routing.jsonl").string()};
  run_alone([&] {
    const KEP_REPORT_CAPTURE capture;
    make_files(device);
    return RESULT();
  });
  std::vector<RESULT> results = build_device(name, threads, device);
  std::filesystem::remove_all(folder);
  return results;
}

/// "grids:1000000"
GENERATE_OPTIONS parse_device(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size() - 1);
  const auto& names = GENERATE_FORM_NAMES;
  const auto form = std::find(names.begin(), names.end(), text.substr(0, colon));
  GENERATE_OPTIONS options;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, options.m_nodes);
  if (form == names.end() || error != std::errc() || rest != end)
    throw std::runtime_error(text + " is not of the form FORM:NODES");
  options.m_form = static_cast<GENERATE_FORM>(form - names.begin());
  return options;
}

void compare_sizes(const std::vector<int>& threads, const std::vector<RESULT>& smaller,
                   const std::vector<RESULT>& results) {
  for (std::size_t i = 0; i != results.size(); ++i)
    fmt::print(
        "  {:.2f} times the nodes take {:.2f} times the time ({} threads) and {:.2f} times the memory\n",
        results[i].m_nodes / smaller[i].m_nodes, results[i].m_build / smaller[i].m_build, threads[i],
        results[i].m_build_memory / smaller[i].m_build_memory);
}

void build_generated(const std::vector<std::string>& devices, const std::vector<int>& threads) {
  std::vector<RESULT> smaller;
  GENERATE_FORM form_of_smaller{};
  for (const std::string& text : devices) {
    GENERATE_OPTIONS options = parse_device(text);
    const std::vector<RESULT> results = make_and_build(text, threads, [&](const DEVICE_OPTIONS& device) {
      options.m_model = device.m_model;
      options.m_routing = device.m_routing[0];
      generate(options);
    });
    if (!smaller.empty() && options.m_form == form_of_smaller) compare_sizes(threads, smaller, results);
    smaller = results;
    form_of_smaller = options.m_form;
  }
}

} // namespace

int main(int argc, char** argv) {
  CLI::App app("Builds of devices of growing size, beside a flat graph");
  std::vector<std::string> chipdbs;
  std::vector<std::string> devices;
  std::vector<std::string> files;
  std::vector<int> threads{1, 2};
  app.add_option("--chipdb", chipdbs, "chip databases in text form")->delimiter(',');
  app.add_option("--device", devices, "generated devices, as FORM:NODES")->delimiter(',');
  app.add_option("--model", files, "a model and its routing description")->delimiter(',')->expected(2);
  app.add_option("--threads", threads, "numbers of threads")->delimiter(',');
  CLI11_PARSE(app, argc, argv);
  if (chipdbs.empty() && devices.empty() && files.empty()) {
    chipdbs = find_installed_chipdbs();
    devices = {"tiles:100000", "tiles:1000000", "tiles:10000000", "grids:1000000", "random:500000",
               "near:500000",  "net:6000",      "net:12000",      "chain:10000"};
  }
  try {
    for (const std::string& chipdb : chipdbs)
      make_and_build(FOLDER(chipdb).stem().string(), threads, [&](const DEVICE_OPTIONS& device) {
        import_icebox(chipdb, device.m_model, device.m_routing[0]);
      });
    build_generated(devices, threads);
    if (!files.empty()) {
      DEVICE_OPTIONS device;
      device.m_model = files[0];
      device.m_routing = {files[1]};
      build_device(FOLDER(files[0]).filename().string(), threads, device);
    }
  } catch (const std::exception& failure) {
    fmt::print(stderr, "{}\n", failure.what());
    return 1;
  }
  return 0;
}
