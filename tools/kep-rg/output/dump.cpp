#include "tools/kep-rg/output/dump.h"

#include "kep/common/kep_loop.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/files/kep_atomic_file.h"
#include "kep_report/kep_report_progress.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;

constexpr std::size_t BLOCKS_OF_A_THREAD = 4;
constexpr std::uint32_t NODES_OF_A_BLOCK = 1 << 14;
constexpr std::size_t EDGES_OF_A_BLOCK = 1 << 13; // and those of one node more

constexpr std::string_view NODE_HEAD = "node\tkind\n";
constexpr std::string_view EDGE_HEAD = "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n";

void append_node(const NODE& node, std::string& line) {
  node.append_name(NAME_STYLE, line);
  line += '\t';
  line += get_kind_text(node);
}

void append_edges(std::string_view from,
                  const boost::iterator_range<KEP_ROUTING::EDGE_ITER<KEP_ROUTING::FWD_EDGE>>& edges,
                  std::string_view edge_class, std::string& text) {
  for (const KEP_ROUTING::FWD_EDGE& edge : edges) {
    text += from;
    text += '\t';
    append_node(edge.get_fanout(), text);
    text += edge_class;
    edge.get_mux_input().append_name(NAME_STYLE, text);
    text += '\n';
  }
}

/// The text of some nodes in a row.
struct BLOCK {
  std::uint32_t m_first = 0;
  std::uint32_t m_end = 0;
  std::string m_nodes;
  std::string m_edges;

  void write(const GRAPH& graph) {
    m_nodes.clear();
    m_edges.clear();
    std::string from;
    for (const NODE& node : graph.iter_nodes_with_grain(1, m_first, m_end)) {
      from.clear();
      append_node(node, from);
      m_nodes += from;
      m_nodes += '\n';
      append_edges(from, node.iter_real_fanout(), "\treal\t", m_edges);
      append_edges(from, node.iter_redundant_fanout(), "\tredundant\t", m_edges);
    }
  }
};

/// Gives out the nodes of a graph block by block, each with about as many edges.
class BLOCK_CUTTER {
public:
  BLOCK_CUTTER(const GRAPH& graph, std::size_t num_blocks) : m_numbers(graph), m_blocks(num_blocks) {}

  /// Null at the end. Blocks come again; a block must be done with when as many others were given out.
  BLOCK* next() {
    if (m_node == m_numbers.get_num_nodes()) return nullptr;
    BLOCK& block = m_blocks[m_num_given++ % m_blocks.size()];
    block.m_first = m_node;
    std::size_t num_edges = 0;
    while (m_node != m_numbers.get_num_nodes() && m_node - block.m_first != NODES_OF_A_BLOCK &&
           num_edges < EDGES_OF_A_BLOCK)
      num_edges += m_numbers.get_num_edges(m_node++);
    block.m_end = m_node;
    return &block;
  }

private:
  KEP_ROUTING::NUMBERED_GRAPH m_numbers;
  std::vector<BLOCK> m_blocks;
  std::size_t m_num_given = 0;
  std::uint32_t m_node = 0;
};

/// A file that grows. What is large needs no buffer.
class GROWING_FILE {
public:
  GROWING_FILE(const std::string& path, std::string_view head) : m_file(path, true) { append(head); }
  void append(std::string_view text) {
    m_file.write_at(m_size, text);
    m_size += text.size();
  }
  KEP_ATOMIC_FILE* get_file() { return &m_file; }

private:
  KEP_ATOMIC_FILE m_file;
  std::uint64_t m_size = 0;
};

} // namespace

std::vector<std::string> get_dump_files(const std::string& folder) {
  const std::filesystem::path path(folder);
  return {(path / "nodes.tsv").string(), (path / "edges.tsv").string()};
}

void write_dump(const GRAPH& graph, const std::string& folder) {
  const std::vector<std::string> paths = get_dump_files(folder);
  GROWING_FILE nodes(paths[0], NODE_HEAD);
  GROWING_FILE edges(paths[1], EDGE_HEAD);
  KEP_REPORT_PROGRESS progress("dump", graph.get_num_nodes());
  const std::size_t num_blocks =
      BLOCKS_OF_A_THREAD * static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
  BLOCK_CUTTER cutter(graph, num_blocks);
  // All threads make text, one at a time writes it in the order of the graph.
  const auto cut =
      tbb::make_filter<void, BLOCK*>(tbb::filter_mode::serial_in_order, [&](tbb::flow_control& end) {
        BLOCK* block = cutter.next();
        if (!block) end.stop();
        return block;
      });
  const auto make_text = tbb::make_filter<BLOCK*, BLOCK*>(tbb::filter_mode::parallel, [&](BLOCK* block) {
    block->write(graph);
    return block;
  });
  const auto write =
      tbb::make_filter<BLOCK*, void>(tbb::filter_mode::serial_in_order, [&](const BLOCK* block) {
        nodes.append(block->m_nodes);
        edges.append(block->m_edges);
        progress.add(block->m_end - block->m_first);
      });
  kep_run_loop([&](tbb::task_group_context& context) {
    tbb::parallel_pipeline(num_blocks, cut & make_text & write, context);
  });
  kep_commit_together({nodes.get_file(), edges.get_file()});
}
