#include "tools/kep-rg/export/csr.h"

#include "kep/common/kep_loop.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/files/kep_atomic_file.h"
#include "kep_io/text/kep_json_text.h"
#include "kep_report/kep_report_progress.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <numeric>
#include <string_view>

namespace {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

static_assert(std::endian::native == std::endian::little, "numbers are written as they stand in memory");

// Files are written in parts of 256 kB at multiples of that, for which a file system takes memory at once.
constexpr std::uint32_t NODES_OF_A_PART = 1 << 15;
constexpr std::uint64_t EDGES_OF_A_PART = 1 << 16;
constexpr std::uint32_t NODES_OF_A_COUNT = 1 << 9;
constexpr std::uint64_t MAX_EDGES_OF_A_NODE = std::numeric_limits<std::uint16_t>::max();

constexpr std::string_view HEADER = R"({{
  "format": "kep-rg csr",
  "version": 1,
  "device": {device},
  "byte_order": "little",
  "num_nodes": {num_nodes},
  "num_edges": {num_edges},
  "num_real_edges": {num_real},
  "num_redundant_edges": {num_redundant},
  "nodes": "Node i is row i of nodes.tsv of kep-rg build --dump, the first row below the head line being row 0.",
  "arrays": [
    {{"name": "offsets", "file": "offsets.u64", "dtype": "<u8", "shape": [{num_offsets}],
     "meaning": "Edges offsets[i] to offsets[i + 1] - 1 go out from node i, the real ones first."}},
    {{"name": "targets", "file": "targets.u32", "dtype": "<u4", "shape": [{num_edges}],
     "meaning": "The node that the edge goes to."}},
    {{"name": "classes", "file": "classes.u8", "dtype": "|u1", "shape": [{num_edges}],
     "meaning": "0 for a real edge, 1 for a redundant one."}}
  ]
}}
)";

/// The three arrays, written by all threads.
class CSR_ARRAYS {
public:
  CSR_ARRAYS(const NUMBERED_GRAPH& graph, KEP_ATOMIC_FILE& offsets, KEP_ATOMIC_FILE& targets,
             KEP_ATOMIC_FILE& classes)
      : m_graph(graph),
        m_num_edges(graph.get_graph().get_num_real_edges() + graph.get_graph().get_num_redundant_edges()),
        m_offsets(offsets), m_targets(targets), m_classes(classes) {}

  void write() {
    m_classes.set_size(m_num_edges); // zeros, which is all where all edges are real
    count_edges();
    for_each_part(std::size_t{m_graph.get_num_nodes()} + 1, NODES_OF_A_PART,
                  [this](std::size_t first, std::size_t end) { write_offsets(first, end); });
    KEP_REPORT_PROGRESS progress("csr", m_num_edges);
    for_each_part(m_num_edges, EDGES_OF_A_PART, [&](std::uint64_t first, std::uint64_t end) {
      write_edges(first, end);
      progress.add(end - first);
    });
  }

private:
  /// A node and the first of its edges.
  struct ROW {
    std::uint32_t m_node;
    std::uint64_t m_edge;
  };
  /// For the edges of a part, and those that its first and last node have beside it.
  struct BUFFERS {
    template <class NUMBER>
    using BUFFER = std::unique_ptr<NUMBER[]>;
    static constexpr std::size_t SIZE = EDGES_OF_A_PART + 2 * MAX_EDGES_OF_A_NODE;

    BUFFER<std::uint32_t> m_targets = std::make_unique_for_overwrite<std::uint32_t[]>(SIZE);
    BUFFER<unsigned char> m_classes = std::make_unique_for_overwrite<unsigned char[]>(SIZE);
  };

  /// Calls `work(first, end)` for parts of a size, on all threads.
  template <class WORK>
  static void for_each_part(std::uint64_t num, std::uint64_t size, const WORK& work) {
    kep_run_loop([&](tbb::task_group_context& context) {
      tbb::parallel_for(
          std::uint64_t{0}, (num + size - 1) / size,
          [&](std::uint64_t part) { work(part * size, std::min(part * size + size, num)); }, context);
    });
  }

  /// How many edges stand before each 512th node.
  void count_edges() {
    m_num_before.assign(m_graph.get_num_nodes() / NODES_OF_A_COUNT + std::size_t{2}, 0);
    for_each_part(m_graph.get_num_nodes(), NODES_OF_A_COUNT, [this](std::size_t first, std::size_t end) {
      std::uint64_t sum = 0;
      visit_nodes(first, end, [&](std::uint32_t, unsigned, unsigned num_edges) { sum += num_edges; });
      m_num_before[first / NODES_OF_A_COUNT + 1] = sum;
    });
    std::partial_sum(m_num_before.begin(), m_num_before.end(), m_num_before.begin());
  }
  template <class VISIT>
  void visit_nodes(std::size_t first, std::size_t end, const VISIT& visit) const {
    const std::size_t num_nodes = m_graph.get_num_nodes();
    m_graph.visit_nodes(static_cast<std::uint32_t>(first),
                        static_cast<std::uint32_t>(std::min(end, num_nodes)), visit);
  }

  /// One more than there are nodes.
  void write_offsets(std::size_t first, std::size_t end) {
    std::vector<std::uint64_t> offsets(end - first + 1);
    std::uint64_t* offset = offsets.data();
    *offset = m_num_before[first / NODES_OF_A_COUNT];
    visit_nodes(first, end, [&](std::uint32_t, unsigned, unsigned num_edges) {
      offset[1] = offset[0] + num_edges;
      ++offset;
    });
    write_numbers(m_offsets, first, offsets.data(), end - first);
  }

  /// The node that an edge goes out from.
  ROW find_row(std::uint64_t edge) const {
    const auto count = std::upper_bound(m_num_before.begin(), m_num_before.end(), edge) - 1;
    const auto first = static_cast<std::size_t>(count - m_num_before.begin()) * NODES_OF_A_COUNT;
    ROW row{};
    std::uint64_t at = *count;
    visit_nodes(first, first + NODES_OF_A_COUNT, [&](std::uint32_t node, unsigned, unsigned num_edges) {
      if (at <= edge) row = {node, at};
      at += num_edges;
    });
    return row;
  }

  void write_edges(std::uint64_t first, std::uint64_t end) {
    BUFFERS& buffers = m_buffers.local();
    const ROW row = find_row(first);
    const std::uint32_t last_node = find_row(end - 1).m_node;
    std::uint32_t* target = buffers.m_targets.get();
    m_graph.visit_edges(row.m_node, last_node + 1,
                        [&](std::uint32_t, const NUMBERED_FWD_EDGE& edge) { *target++ = edge.get_fanout(); });
    write_numbers(m_targets, first, buffers.m_targets.get() + (first - row.m_edge), end - first);
    if (m_graph.get_graph().get_num_redundant_edges() == 0) return;
    unsigned char* edge_class = buffers.m_classes.get();
    m_graph.visit_edges(row.m_node, last_node + 1, [&](std::uint32_t, const NUMBERED_FWD_EDGE& edge) {
      *edge_class++ = edge.is_redundant();
    });
    write_numbers(m_classes, first, buffers.m_classes.get() + (first - row.m_edge), end - first);
  }

  template <class NUMBER>
  static void write_numbers(KEP_ATOMIC_FILE& file, std::uint64_t index, const NUMBER* numbers,
                            std::size_t count) {
    file.write_at(index * sizeof(NUMBER), {reinterpret_cast<const char*>(numbers), count * sizeof(NUMBER)});
  }

  NUMBERED_GRAPH m_graph;
  std::uint64_t m_num_edges;
  KEP_ATOMIC_FILE& m_offsets;
  KEP_ATOMIC_FILE& m_targets;
  KEP_ATOMIC_FILE& m_classes;
  std::vector<std::uint64_t> m_num_before; // edges, by every 512th node
  tbb::enumerable_thread_specific<BUFFERS> m_buffers;
};

} // namespace

std::vector<std::string> get_csr_files(const std::string& folder) {
  const std::filesystem::path path(folder);
  return {(path / "csr.json").string(), (path / "offsets.u64").string(), (path / "targets.u32").string(),
          (path / "classes.u8").string()};
}

void write_csr(const GRAPH& graph, const std::string& device, const std::string& folder) {
  const std::vector<std::string> paths = get_csr_files(folder);
  KEP_ATOMIC_FILE header(paths[0], true);
  KEP_ATOMIC_FILE offsets(paths[1], true);
  KEP_ATOMIC_FILE targets(paths[2], true);
  KEP_ATOMIC_FILE classes(paths[3], true);
  CSR_ARRAYS(NUMBERED_GRAPH(graph), offsets, targets, classes).write();
  fmt::print(header.out(), HEADER, fmt::arg("device", kep_get_json_text(device)),
             fmt::arg("num_nodes", graph.get_num_nodes()),
             fmt::arg("num_edges", graph.get_num_real_edges() + graph.get_num_redundant_edges()),
             fmt::arg("num_real", graph.get_num_real_edges()),
             fmt::arg("num_redundant", graph.get_num_redundant_edges()),
             fmt::arg("num_offsets", graph.get_num_nodes() + 1));
  kep_commit_together({&header, &offsets, &targets, &classes});
}
