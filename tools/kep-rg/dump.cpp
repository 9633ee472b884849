#include "tools/kep-rg/dump.h"

#include "tools/kep-rg/atomic_file.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr KEP_NAME_STYLE NAME_STYLE{};
constexpr std::size_t BUFFER_BYTES = 1 << 20;

void append_node(const KEP_ROUTING::NODE& node, std::string& line) {
  if (node.is_boundary()) {
    line += NAME_STYLE.m_port_separator;
    line += node.get_port()->get_plain_name();
    line += "\tboundary";
  } else {
    node.get_unfolded_inst_port().append_name(NAME_STYLE, line);
    line += node.is_hipi() ? "\thipi" : "\tuip";
  }
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

void write_dump(const KEP_ROUTING::GRAPH& graph, const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw std::runtime_error(folder + ": cannot make the folder: " + error.message());
  ATOMIC_FILE nodes((std::filesystem::path(folder) / "nodes.tsv").string());
  ATOMIC_FILE edges((std::filesystem::path(folder) / "edges.tsv").string());
  std::string node_text = "node\tkind\n";
  std::string edge_text = "from\tfrom_kind\tto\tto_kind\tclass\tmux_input\n";
  const auto flush = [](ATOMIC_FILE& file, std::string& text) {
    file.out().write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
  };
  std::string from;
  for (const KEP_ROUTING::NODE& node : graph.iter_nodes()) {
    from.clear();
    append_node(node, from);
    node_text += from;
    node_text += '\n';
    append_edges(from, node.iter_real_fanout(), "\treal\t", edge_text);
    append_edges(from, node.iter_redundant_fanout(), "\tredundant\t", edge_text);
    if (node_text.size() > BUFFER_BYTES) flush(nodes, node_text);
    if (edge_text.size() > BUFFER_BYTES) flush(edges, edge_text);
  }
  flush(nodes, node_text);
  flush(edges, edge_text);
  nodes.close();
  edges.close();
  nodes.commit();
  edges.commit();
}
