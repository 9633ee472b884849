#include "python/arrays.h"

#include "kep/kep_cancelled.h"
#include "python/array_block.h"
#include "python/errors.h"
#include "python/long_work.h"
#include "python/number.h"

#include <fmt/format.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <pybind11/stl.h>
#include <span>
#include <type_traits>
#include <vector>

namespace py = pybind11;
using namespace pybind11::literals;
using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NODE_ITER_RANGE;

namespace {

constexpr std::uint32_t NODES_OF_A_PART = 8192;

/// How many edges nodes have.
struct EDGE_COUNTS {
  std::vector<std::uint16_t> m_of_nodes;
  std::vector<std::uint64_t> m_before_parts; ///< of all parts before a part; the last is that of all
};

/// A range of nodes in parts, which are worked on side by side.
class NODE_PARTS {
public:
  NODE_PARTS(const GRAPH& graph, const NODE_RANGE& range) : m_graph(graph), m_range(range) {}

  std::size_t get_num() const {
    return (std::size_t{m_range.m_end} - m_range.m_first + NODES_OF_A_PART - 1) / NODES_OF_A_PART;
  }
  std::uint32_t get_first(std::size_t part) const {
    return m_range.m_first + static_cast<std::uint32_t>(part) * NODES_OF_A_PART;
  }
  NODE_ITER_RANGE get_nodes(std::size_t part) const {
    const std::uint32_t first = get_first(part);
    const std::uint32_t end = first + std::min(NODES_OF_A_PART, m_range.m_end - first);
    return m_graph.iter_nodes_with_grain(1, first, end);
  }
  /// KEP_CANCELLED if that was asked for meanwhile.
  template <class BODY>
  void for_each(const BODY& body) const {
    tbb::parallel_for(std::size_t{0}, get_num(), body);
    kep_throw_if_cancelled();
  }
  /// What `count` says of each node.
  template <class COUNT>
  EDGE_COUNTS get_counts(const COUNT& count) const {
    EDGE_COUNTS counts{std::vector<std::uint16_t>(m_range.m_end - m_range.m_first),
                       std::vector<std::uint64_t>(get_num() + 1)};
    for_each([&](std::size_t part) {
      std::uint16_t* count_of_node = counts.m_of_nodes.data() + part * NODES_OF_A_PART;
      std::uint64_t sum = 0;
      for (const NODE& node : get_nodes(part))
        sum += * count_of_node++ = count(node);
      counts.m_before_parts[part + 1] = sum;
    });
    for (std::size_t part = 0; part != get_num(); ++part)
      counts.m_before_parts[part + 1] += counts.m_before_parts[part];
    return counts;
  }
  /// Those of a part's nodes.
  std::span<const std::uint16_t> get_counts(const EDGE_COUNTS& counts, std::size_t part) const {
    const std::size_t first = part * NODES_OF_A_PART;
    return std::span(counts.m_of_nodes)
        .subspan(first, std::min<std::size_t>(NODES_OF_A_PART, counts.m_of_nodes.size() - first));
  }

private:
  const GRAPH& m_graph;
  NODE_RANGE m_range;
};

/// Tells of an edge to nowhere, of which an index would lead out of every array.
[[noreturn]] void refuse_damage(const DEVICE& device) {
  throw KEP_DB_ERROR(fmt::format("{}: the graph is damaged: an edge goes to nowhere", device.get_name()));
}

/// Where the edges of a part's nodes stand in the arrays.
struct EDGE_COLUMNS {
  static constexpr std::size_t BYTES_OF_AN_EDGE = 2 * sizeof(std::uint32_t) + sizeof(bool);

  std::uint32_t* m_sources;
  std::uint32_t* m_targets;
  bool* m_redundant;
};

void fill_sources(std::span<const std::uint16_t> counts, std::uint32_t first, std::uint32_t* sources) {
  for (const std::uint16_t count : counts)
    sources = std::fill_n(sources, count, first++);
}

/// False in a damaged graph.
bool fill_targets(const GRAPH& graph, const NODE_ITER_RANGE& nodes, std::uint32_t* targets) {
  std::uint32_t greatest = 0;
  graph.visit_edges(nodes, [&](const NODE&, const NODE& to) {
    const std::uint32_t number = graph.get_index(to);
    greatest = std::max(greatest, number);
    *targets++ = number;
  });
  return greatest < graph.get_num_nodes();
}

void fill_redundant(const NODE_ITER_RANGE& nodes, bool* redundant) {
  for (const NODE& node : nodes) {
    redundant = std::fill_n(redundant, node.get_num_real_edges(), false);
    redundant = std::fill_n(redundant, node.get_num_edges() - node.get_num_real_edges(), true);
  }
}

/// Part by part. False in a damaged graph.
bool fill_columns(const GRAPH& graph, const NODE_PARTS& parts, const EDGE_COUNTS& counts,
                  const EDGE_COLUMNS& columns) {
  const bool has_redundant = graph.get_num_redundant_edges() != 0;
  std::atomic<bool> is_damaged = false;
  parts.for_each([&](std::size_t part) {
    const NODE_ITER_RANGE nodes = parts.get_nodes(part);
    const std::uint64_t begin = counts.m_before_parts[part];
    fill_sources(parts.get_counts(counts, part), parts.get_first(part), columns.m_sources + begin);
    if (!fill_targets(graph, nodes, columns.m_targets + begin)) is_damaged = true;
    if (has_redundant)
      fill_redundant(nodes, columns.m_redundant + begin);
    else
      std::fill_n(columns.m_redundant + begin, counts.m_before_parts[part + 1] - begin, false);
  });
  return !is_damaged;
}

/// (sources, targets, redundant) of the edges of the nodes of a range.
py::tuple get_edges(DEVICE& device, const NUMBER& first, const std::optional<NUMBER>& last) {
  const GRAPH& graph = device.get_graph();
  const NODE_PARTS parts(graph, get_range(device, first, last));
  const int num_threads = get_num_threads(std::nullopt);
  EDGE_COUNTS counts;
  run_long(num_threads,
           [&] { counts = parts.get_counts([](const NODE& node) { return node.get_num_edges(); }); });
  const auto num_edges = static_cast<py::ssize_t>(counts.m_before_parts.back());
  ARRAY_BLOCK* taken =
      ARRAY_BLOCK::take(static_cast<std::size_t>(num_edges) * EDGE_COLUMNS::BYTES_OF_AN_EDGE);
  const py::capsule block = own_block(taken);
  auto* words = static_cast<std::uint32_t*>(taken->get_bytes());
  const EDGE_COLUMNS columns{words, words + num_edges, reinterpret_cast<bool*>(words + 2 * num_edges)};
  bool is_sound = true;
  run_long(num_threads, [&] { is_sound = fill_columns(graph, parts, counts, columns); });
  if (!is_sound) refuse_damage(device);
  return py::make_tuple(py::array_t<std::uint32_t>(num_edges, columns.m_sources, block),
                        py::array_t<std::uint32_t>(num_edges, columns.m_targets, block),
                        py::array_t<bool>(num_edges, columns.m_redundant, block));
}

/// A row of the graph, its real edges or all of them.
template <class VISIT>
void visit_row(const GRAPH& graph, const NODE& node, bool with_redundant, const VISIT& visit) {
  for (const KEP_ROUTING::FWD_EDGE& edge : with_redundant ? node.iter_all_fanout() : node.iter_real_fanout())
    visit(graph.get_index(edge.get_fanout()));
}

/// (indptr, indices) of compressed rows, for numbers of that type.
template <class INDEX>
py::tuple get_rows(DEVICE& device, bool with_redundant) {
  const GRAPH& graph = device.get_graph();
  const NODE_PARTS parts(graph, {0, device.get_num_nodes()});
  const auto num_edges =
      static_cast<py::ssize_t>(with_redundant ? device.get_num_edges() : graph.get_num_real_edges());
  py::array_t<INDEX> starts(static_cast<py::ssize_t>(device.get_num_nodes()) + 1);
  py::array_t<INDEX> targets(num_edges);
  INDEX* start = starts.mutable_data();
  INDEX* target = targets.mutable_data();
  std::atomic<bool> is_damaged = false;
  run_long(get_num_threads(std::nullopt), [&] {
    const EDGE_COUNTS counts = parts.get_counts([with_redundant](const NODE& node) {
      return with_redundant ? node.get_num_edges() : node.get_num_real_edges();
    });
    parts.for_each([&](std::size_t part) {
      auto at = static_cast<INDEX>(counts.m_before_parts[part]);
      INDEX* row = start + parts.get_first(part);
      for (const NODE& node : parts.get_nodes(part)) {
        *row++ = at;
        visit_row(graph, node, with_redundant, [&](std::uint32_t to) {
          if (to >= device.get_num_nodes()) is_damaged = true;
          target[at++] = static_cast<INDEX>(to);
        });
      }
    });
    start[device.get_num_nodes()] = static_cast<INDEX>(counts.m_before_parts.back());
  });
  if (is_damaged) refuse_damage(device);
  return py::make_tuple(starts, targets);
}

py::tuple get_compressed_rows(DEVICE& device, bool with_redundant) {
  constexpr auto MAX = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
  return std::max<std::uint64_t>(device.get_num_nodes(), device.get_num_edges()) <= MAX
             ? get_rows<std::int32_t>(device, with_redundant)
             : get_rows<std::int64_t>(device, with_redundant);
}

/// What `get` says of each node.
template <class GET>
py::array get_by_number(DEVICE& device, const GET& get) {
  using VALUE = std::invoke_result_t<GET, NODE>;
  const NODE_PARTS parts(device.get_graph(), {0, device.get_num_nodes()});
  py::array_t<VALUE> values(static_cast<py::ssize_t>(device.get_num_nodes()));
  VALUE* first = values.mutable_data();
  run_long(get_num_threads(std::nullopt), [&] {
    parts.for_each([&](std::size_t part) {
      VALUE* value = first + parts.get_first(part);
      for (const NODE& node : parts.get_nodes(part))
        *value++ = get(node);
    });
  });
  return values;
}

} // namespace

py::array get_fanout_counts(DEVICE& device) {
  return get_by_number(device, [](const NODE& node) -> std::uint32_t { return node.get_num_edges(); });
}

py::array get_fanin_counts(DEVICE& device) {
  return get_by_number(device, [](const NODE& node) -> std::uint32_t { return node.get_num_fanin(); });
}

py::array get_kinds(DEVICE& device) {
  return get_by_number(device, [](const NODE& node) {
    const NODE_KIND kind = node.is_boundary() ? NODE_KIND::BOUNDARY
                           : node.is_hipi()   ? NODE_KIND::HIPI
                                              : NODE_KIND::UIP;
    return static_cast<std::uint8_t>(kind);
  });
}

void bind_arrays(py::module_& module) {
  module.def("edges", &get_edges, "device"_a, "first"_a = 0, "last"_a = py::none(),
             "(sources, targets, redundant) of the edges of the nodes numbered first to last - 1.");
  module.def("rows", &get_compressed_rows, "device"_a, "redundant"_a = true,
             "(indptr, indices) of the graph in compressed rows, a row a node.");
}
