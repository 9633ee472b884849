// What a line of redundancy data costs to read, by one thread and by two, beside what no reader can do
// without: splitting the text into tokens, and one look-up of a name for each segment of a path. Lines name
// ports three instances down, at random among a few thousand.

#include "kep/kep_db_builder.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_parse_redundancy.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);
constexpr unsigned WIDTH[] = {24, 16, 12}; // instances in the modules of the three levels
constexpr unsigned PORTS = 8;

std::string instance_name(unsigned level, unsigned i) {
  return "level" + std::to_string(level) + "_inst" + std::to_string(i);
}
std::string port_name(unsigned i) {
  return "port" + std::to_string(i);
}

/// "TILE", three levels of instances below it, and ports at the bottom.
std::unique_ptr<KEP_DB> make_model() {
  KEP_DB_BUILDER builder;
  KEP_MODULE_ID below = builder.add_module("leaf", {});
  for (unsigned i = 0; i != PORTS; ++i)
    builder.add_port(below, port_name(i), KEP_PORT_DIRECTION::INPUT);
  for (unsigned level = 3; level-- != 0;) {
    const KEP_MODULE_ID module = builder.add_module(level ? "module" + std::to_string(level) : "TILE", {});
    for (unsigned i = 0; i != WIDTH[level]; ++i)
      builder.add_instance(module, instance_name(level, i), below, {});
    below = module;
  }
  return KEP_DB_BUILDER::freeze(std::move(builder));
}

struct FIXTURE {
  explicit FIXTURE(std::size_t lines) : m_db(make_model()) {
    std::mt19937_64 random(1);
    const auto below = [&](unsigned end) { return static_cast<unsigned>(random() % end); };
    m_text = "module_name: TILE\n";
    m_segments.reserve(lines * 4);
    for (std::size_t i = 0; i != lines; ++i) {
      std::vector<std::string> segments;
      for (unsigned level = 0; level != 3; ++level)
        segments.push_back(instance_name(level, below(WIDTH[level])));
      segments.push_back(port_name(below(PORTS)));
      m_text += std::to_string(i % 10) + " " + segments[0] + "/" + segments[1] + "/" + segments[2] + ":" +
                segments[3] + "\n";
      m_segments.insert(m_segments.end(), segments.begin(), segments.end());
    }
  }

  std::unique_ptr<KEP_DB> m_db;
  std::string m_text;
  std::vector<std::string> m_segments; // four a line
};

const FIXTURE& get_fixture(const benchmark::State& state) {
  static std::unique_ptr<FIXTURE> fixture;
  static std::int64_t lines = -1;
  if (lines != state.range(0)) {
    fixture.reset(); // not two at a time: the largest takes two gigabytes
    fixture = std::make_unique<FIXTURE>(static_cast<std::size_t>(state.range(0)));
  }
  lines = state.range(0);
  return *fixture;
}

void count_lines(benchmark::State& state) {
  const double lines = static_cast<double>(state.iterations()) * static_cast<double>(state.range(0));
  state.counters["per_line"] =
      benchmark::Counter(lines, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// The baseline: every token of the text, looked at and forgotten.
void split_alone(benchmark::State& state) {
  const std::string_view text = get_fixture(state).m_text;
  const auto is_delimiter = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '"'; };
  for (auto _ : state) {
    std::size_t tokens = 0;
    for (std::size_t at = 0; at != text.size();) {
      while (at != text.size() && is_delimiter(text[at]))
        ++at;
      const std::size_t begin = at;
      while (at != text.size() && !is_delimiter(text[at]))
        ++at;
      tokens += at != begin;
    }
    benchmark::DoNotOptimize(tokens);
  }
  count_lines(state);
}

/// The other baseline: four look-ups a line, of names that are ready.
void look_up_alone(benchmark::State& state) {
  const FIXTURE& fixture = get_fixture(state);
  const KEP_MODULE* const top = fixture.m_db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW);
  for (auto _ : state)
    for (std::size_t i = 0; i != fixture.m_segments.size(); i += 4) {
      const KEP_MODULE* module = top;
      for (std::size_t level = 0; level != 3; ++level)
        module = module->find_instance(fixture.m_segments[i + level])->get_module();
      KEP_PORT* port = module->find_port(fixture.m_segments[i + 3]);
      benchmark::DoNotOptimize(port);
    }
  count_lines(state);
}

/// The whole reading, without what it costs to give the result free.
void parse(benchmark::State& state) {
  const FIXTURE& fixture = get_fixture(state);
  const KEP_REPORT_CAPTURE capture;
  KEP_RG_PARSE_REDUNDANCY parser(fixture.m_db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL), RANK,
                                 static_cast<int>(state.range(1)));
  for (auto _ : state) {
    auto ports = std::make_unique<KEP_RG_MODULE_RELATIVE_PORTS>();
    if (!parser.parse(ports.get(), fixture.m_text)) {
      state.SkipWithError("the text could not be read");
      return;
    }
    benchmark::DoNotOptimize(*ports);
    state.PauseTiming();
    ports.reset();
    state.ResumeTiming();
  }
  count_lines(state);
}

constexpr std::int64_t LINES[] = {1000, 1000000, 10000000};

void lines(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"lines"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (const std::int64_t each : LINES)
    benchmark->Args({each});
}

void lines_and_threads(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"lines", "threads"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (const std::int64_t each : LINES)
    for (const std::int64_t threads : {1, 2})
      benchmark->Args({each, threads});
}

BENCHMARK(split_alone)->Apply(lines);
BENCHMARK(look_up_alone)->Apply(lines);
BENCHMARK(parse)->Apply(lines_and_threads);

} // namespace

BENCHMARK_MAIN();
