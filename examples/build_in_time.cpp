// Reads a device, builds its graph and writes it into a database, but gives up when reading and building take
// too long.
//
//   build_in_time MODEL.json ROUTING.jsonl SECONDS DEVICE.kdb

#include "kep/kep_db.h"
#include "kep/kep_routing_graph.h"
#include "kep_io/kep_database_file.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"

#include <tbb/task_group.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

/// False when the work took longer, and was cancelled as far as it was not done. What it throws otherwise is
/// thrown here.
bool run_in_time(const std::function<void()>& work, std::chrono::duration<double> limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  tbb::task_group group;
  std::promise<void> done;
  std::thread clock([&, is_done = done.get_future()] {
    if (is_done.wait_until(end) == std::future_status::timeout) group.cancel();
  });
  std::exception_ptr failure;
  bool is_in_time = false;
  try {
    is_in_time = group.run_and_wait(work) != tbb::task_group_status::canceled;
  } catch (...) {
    failure = std::current_exception();
  }
  done.set_value();
  clock.join();
  if (failure) std::rethrow_exception(failure);
  return is_in_time && std::chrono::steady_clock::now() <= end;
}

double read_seconds(const std::string& text) {
  std::istringstream in(text);
  double seconds = 0;
  if (!(in >> seconds) || !in.eof() || seconds < 0 || seconds > 1e6)
    throw std::runtime_error("\"" + text + "\" is no time");
  return seconds;
}

void build(const std::string& model, const std::string& routing, double seconds, const std::string& path) {
  const int num_threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  std::unique_ptr<KEP_DB> db;
  const auto work = [&] {
    const KEP_REPORT_CAPTURE quiet; // the lines that a build writes
    db = kep_read_model(model);
    KEP_RG_PARSE parse(db.get());
    kep_read_routing(db.get(), parse, routing);
    KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(num_threads)).build();
  };
  if (!run_in_time(work, std::chrono::duration<double>(seconds)))
    throw std::runtime_error("the build took too long and was cancelled");
  const KEP_ROUTING::GRAPH& graph = *db->get_routing_template_graph();
  std::cout << graph.get_num_nodes() << " nodes, " << graph.get_num_real_edges() << " edges\n";
  kep_write_database(
      *db,
      {"build_in_time", {kep_describe_input("model", model), kep_describe_input("routing", routing)}, {}, {}},
      path);
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: build_in_time MODEL.json ROUTING.jsonl SECONDS DEVICE.kdb\n";
    return 1;
  }
  try {
    build(argv[1], argv[2], read_seconds(argv[3]), argv[4]);
  } catch (const std::exception& error) {
    std::cerr << "build_in_time: " << error.what() << "\n";
    return 1;
  }
}
