// What a step of an unfolded value costs, beside a read of a plain array, in shallow and in deep hierarchies
// and with few and many instances. Every step is arithmetic and a few loads, so no figure may grow with depth
// or size but for what the memory hierarchy takes.

#include "kep/kep_db.h"
#include "kep/kep_db_builder.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

/// A hierarchy of `depth` levels with about `tiles` tiles at its bottom: each module holds the next one
/// several times, and wires every copy's port to its own.
std::unique_ptr<KEP_DB> make_model(unsigned depth, unsigned tiles) {
  KEP_DB_BUILDER builder;
  KEP_MODULE_ID below = builder.add_module("leaf", {});
  builder.add_port(below, "i", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(below, "o", KEP_PORT_DIRECTION::OUTPUT);
  unsigned copies = 1;
  for (unsigned level = 1; level <= depth; ++level) {
    const KEP_MODULE_ID module = builder.add_module("level" + std::to_string(level), {});
    builder.add_port(module, "i", KEP_PORT_DIRECTION::INPUT);
    builder.add_port(module, "o", KEP_PORT_DIRECTION::OUTPUT);
    const KEP_NET_ID in = builder.add_net(module, "in");
    const KEP_NET_ID out = builder.add_net(module, "out");
    builder.connect(module, 0, in);
    builder.connect(module, 1, out);
    // The first level holds eight leaves, the upper ones as many as it takes, spread evenly.
    unsigned wanted = 8;
    if (level > 1) {
      wanted = 1;
      while (copies < tiles && wanted < 64 && copies * wanted < tiles && (wanted < 2 || level == depth))
        ++wanted;
      copies *= wanted;
    }
    for (unsigned i = 0; i != wanted; ++i) {
      const KEP_INSTANCE_ID instance = builder.add_instance(module, "x" + std::to_string(i), below, {});
      builder.connect(module, instance, 0, in);
      builder.connect(module, instance, 1, out);
    }
    below = module;
  }
  return KEP_DB_BUILDER::freeze(std::move(builder));
}

struct FIXTURE {
  std::unique_ptr<KEP_DB> m_db;
  std::vector<KEP_UNFOLDED_INST_PORT> m_uips; // inputs of leaves and of modules, at random places
  std::vector<KEP_UNFOLDED_PORT> m_ports;     // inside them
  std::vector<KEP_UNFOLDED_NET> m_nets;
  std::vector<KEP_RELATIVE_PATH> m_paths; // from the top to the ports
};

constexpr std::size_t SAMPLES = 4096;

const FIXTURE& get_fixture(unsigned depth, unsigned tiles) {
  static std::map<std::pair<unsigned, unsigned>, FIXTURE> fixtures;
  FIXTURE& fixture = fixtures[{depth, tiles}];
  if (fixture.m_db) return fixture;
  fixture.m_db = make_model(depth, tiles);
  std::mt19937_64 random(1);
  const KEP_UNFOLDED_MODULE top = fixture.m_db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL);
  while (fixture.m_uips.size() != SAMPLES) {
    KEP_UNFOLDED_MODULE module = top;
    KEP_UNFOLDED_INSTANCE instance;
    while (module.m_object->get_num_instances() != 0) {
      const std::uint64_t position = (*module.iter_instances().begin()).m_position;
      instance = {position, module.m_object->get_instance_by_index(
                                static_cast<unsigned>(random() % module.m_object->get_num_instances()))};
      module = instance.get_module(RANK);
    }
    if (random() % 4 == 0) instance = instance.get_parent().get_unfolded_instance();
    const KEP_UNFOLDED_INST_PORT uip = instance.get_unfolded_inst_port_by_index(0);
    fixture.m_uips.push_back(uip);
    fixture.m_ports.push_back(uip.get_unfolded_port(RANK));
    fixture.m_nets.push_back(uip.get_unfolded_net());
    fixture.m_paths.push_back(fixture.m_ports.back() - top);
  }
  return fixture;
}

const FIXTURE& get_fixture(const benchmark::State& state) {
  return get_fixture(static_cast<unsigned>(state.range(0)), static_cast<unsigned>(state.range(1)));
}

/// Runs `step` on every sample and reports the time of one.
template <class VALUES, class STEP>
void measure(benchmark::State& state, const VALUES& values, STEP step) {
  for (auto _ : state)
    for (const auto& value : values) {
      auto result = step(value);
      benchmark::DoNotOptimize(result);
    }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.size()));
}

void array_access(benchmark::State& state) {
  std::vector<std::uint64_t> array(static_cast<std::size_t>(state.range(1)) * 8);
  std::vector<std::uint32_t> places(SAMPLES);
  std::mt19937_64 random(1);
  for (std::uint32_t& place : places)
    place = static_cast<std::uint32_t>(random() % array.size());
  measure(state, places, [&](std::uint32_t place) { return array[place]; });
}

void uip_to_inner_port(benchmark::State& state) {
  measure(state, get_fixture(state).m_uips, [](const auto& uip) { return uip.get_unfolded_port(RANK); });
}
void uip_to_net(benchmark::State& state) {
  measure(state, get_fixture(state).m_uips, [](const auto& uip) { return uip.get_unfolded_net(); });
}
void uip_to_parent_module(benchmark::State& state) {
  measure(state, get_fixture(state).m_uips,
          [](const auto& uip) { return uip.get_unfolded_instance().get_parent(); });
}
void port_to_outer_uip(benchmark::State& state) {
  measure(state, get_fixture(state).m_ports, [](const auto& port) { return port.get_unfolded_inst_port(); });
}
void port_to_inner_net(benchmark::State& state) {
  measure(state, get_fixture(state).m_ports, [](const auto& port) { return port.get_unfolded_net(); });
}
void net_to_first_member(benchmark::State& state) {
  measure(state, get_fixture(state).m_nets, [](const auto& net) { return *net.iter_inst_ports().begin(); });
}
void uip_hash(benchmark::State& state) {
  measure(state, get_fixture(state).m_uips, [](const auto& uip) { return uip.hash(); });
}
void port_minus_top(benchmark::State& state) {
  const FIXTURE& fixture = get_fixture(state);
  const KEP_UNFOLDED_MODULE top = fixture.m_db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL);
  measure(state, fixture.m_ports, [&top](const auto& port) { return port - top; });
}
/// The one operation that searches, level by level: its cost goes with the depth.
void top_plus_path(benchmark::State& state) {
  const FIXTURE& fixture = get_fixture(state);
  const KEP_UNFOLDED_MODULE top = fixture.m_db->get_top_unfolded_module(KEP_VIEW_TYPE::LOGICAL);
  measure(state, fixture.m_paths, [&top](const auto& path) { return top + path; });
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"depth", "tiles"});
  for (const std::int64_t depth : {3, 12})
    for (const std::int64_t tiles : {64, 4096})
      benchmark->Args({depth, tiles});
}

BENCHMARK(array_access)->Apply(sizes);
BENCHMARK(uip_to_inner_port)->Apply(sizes);
BENCHMARK(uip_to_net)->Apply(sizes);
BENCHMARK(uip_to_parent_module)->Apply(sizes);
BENCHMARK(port_to_outer_uip)->Apply(sizes);
BENCHMARK(port_to_inner_net)->Apply(sizes);
BENCHMARK(net_to_first_member)->Apply(sizes);
BENCHMARK(uip_hash)->Apply(sizes);
BENCHMARK(port_minus_top)->Apply(sizes);
BENCHMARK(top_plus_path)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
