#include "tools/kep-rg/output/dump.h"

#include "kep_io/files/kep_atomic_file.h"
#include "kep_report/kep_report_progress.h"
#include "tools/kep-rg/output/plain_output.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t BUFFER_BYTES = 1 << 20;
constexpr std::uint64_t NODES_PER_STEP = 10000; // of the progress

void append_node(const KEP_ROUTING::NODE& node, std::string& line) {
  node.append_name(NAME_STYLE, line);
  line += node.is_boundary() ? "\tboundary" : node.is_hipi() ? "\thipi" : "\tuip";
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

} // namespace

std::vector<std::string> get_dump_files(const std::string& folder) {
  const std::filesystem::path path(folder);
  return {(path / "nodes.tsv").string(), (path / "edges.tsv").string()};
}

void write_dump(const KEP_ROUTING::GRAPH& graph, const std::string& folder) {
  const std::vector<std::string> paths = get_dump_files(folder);
  KEP_ATOMIC_FILE nodes(paths[0], true);
  KEP_ATOMIC_FILE edges(paths[1], true);
  std::string node_text = "node\tkind\n";
  std::string edge_text = "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n";
  const auto flush = [](KEP_ATOMIC_FILE& file, std::string& text) {
    file.out().write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
  };
  KEP_REPORT_PROGRESS progress("dump", graph.get_num_nodes());
  std::uint64_t num_nodes = 0;
  std::string from;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    from.clear();
    append_node(node, from);
    node_text += from;
    node_text += '\n';
    append_edges(from, node.iter_real_fanout(), "\treal\t", edge_text);
    append_edges(from, node.iter_redundant_fanout(), "\tredundant\t", edge_text);
    if (++num_nodes % NODES_PER_STEP == 0) progress.add(NODES_PER_STEP);
    if (node_text.size() > BUFFER_BYTES) flush(nodes, node_text);
    if (edge_text.size() > BUFFER_BYTES) flush(edges, edge_text);
  }
  flush(nodes, node_text);
  flush(edges, edge_text);
  kep_commit_together({&nodes, &edges});
}
