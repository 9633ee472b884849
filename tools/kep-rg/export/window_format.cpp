#include "tools/kep-rg/export/window_format.h"

#include "kep/kep_cancelled.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/text/kep_json_text.h"
#include "tools/kep-rg/output/plain_output.h"
#include "tools/kep-rg/output/table_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace {

using KEP_ROUTING::GRAPH;
using KEP_ROUTING::NODE;
using KEP_ROUTING::NUMBERED_FWD_EDGE;
using KEP_ROUTING::NUMBERED_GRAPH;

/// What is told of a node, and of an edge.
struct NODE_FACTS {
  std::uint32_t m_number;
  std::string m_name;
  const char* m_kind;
  std::string m_module;
  std::uint32_t m_distance;
};
struct EDGE_FACTS {
  const NODE_FACTS& m_from;
  const NODE_FACTS& m_to;
  const char* m_class;
  std::string m_mux_input; // empty without a mux
};

NODE_FACTS get_facts(const GRAPH& graph, const WINDOW_NODE& at) {
  const NODE node = graph.get_node(at.m_number);
  return {at.m_number, node.get_name(NAME_STYLE), get_kind_text(node), get_module(node)->get_plain_name(),
          at.m_distance};
}

/// How a window is written in one format: head, nodes, edges, end.
class WINDOW_WRITER {
public:
  explicit WINDOW_WRITER(std::ostream& out) : m_out(out) {}
  virtual ~WINDOW_WRITER() = default;
  virtual void begin() = 0;
  virtual void add(const NODE_FACTS& node) = 0;
  virtual void begin_edges() {}
  virtual void add(const EDGE_FACTS& edge) = 0;
  virtual void end() {}

protected:
  std::ostream& m_out;
};

/// The text with another in the place of each of some characters.
std::string replace(std::string_view text, std::initializer_list<std::pair<char, const char*>> others) {
  std::string replaced;
  for (const char c : text) {
    const auto* const other =
        std::find_if(others.begin(), others.end(), [c](const auto& each) { return each.first == c; });
    if (other == others.end())
      replaced += c;
    else
      replaced += other->second;
  }
  return replaced;
}

class DOT_WRITER : public WINDOW_WRITER {
public:
  using WINDOW_WRITER::WINDOW_WRITER;
  void begin() override { m_out << "digraph window {\n  rankdir=LR\n  node [shape=box]\n"; }
  void add(const NODE_FACTS& node) override {
    m_out << fmt::format("  {} [label={}, kind={}, module={}, distance={}{}]\n", node.m_number,
                         quote(node.m_name), quote(node.m_kind), quote(node.m_module), node.m_distance,
                         node.m_distance == 0 ? ", penwidth=3" : "");
  }
  void add(const EDGE_FACTS& edge) override {
    const bool is_redundant = edge.m_class == std::string_view("redundant");
    m_out << fmt::format("  {} -> {} [class={}, mux_input={}{}]\n", edge.m_from.m_number, edge.m_to.m_number,
                         quote(edge.m_class), quote(edge.m_mux_input), is_redundant ? ", style=dashed" : "");
  }
  void end() override { m_out << "}\n"; }

private:
  static std::string quote(std::string_view text) {
    return '"' + replace(text, {{'"', "\\\""}, {'\\', "\\\\"}}) + '"';
  }
};

class GRAPHML_WRITER : public WINDOW_WRITER {
public:
  using WINDOW_WRITER::WINDOW_WRITER;
  void begin() override {
    m_out << R"(<?xml version="1.0" encoding="UTF-8"?>
<graphml xmlns="http://graphml.graphdrawing.org/xmlns">
  <key id="name" for="node" attr.name="name" attr.type="string"/>
  <key id="kind" for="node" attr.name="kind" attr.type="string"/>
  <key id="module" for="node" attr.name="module" attr.type="string"/>
  <key id="distance" for="node" attr.name="distance" attr.type="int"/>
  <key id="class" for="edge" attr.name="class" attr.type="string"/>
  <key id="mux_input" for="edge" attr.name="mux_input" attr.type="string"/>
  <graph id="window" edgedefault="directed">
)";
  }
  void add(const NODE_FACTS& node) override {
    m_out << fmt::format(R"(    <node id="n{}"><data key="name">{}</data><data key="kind">{}</data>)"
                         R"(<data key="module">{}</data><data key="distance">{}</data></node>)"
                         "\n",
                         node.m_number, quote(node.m_name), node.m_kind, quote(node.m_module),
                         node.m_distance);
  }
  void add(const EDGE_FACTS& edge) override {
    m_out << fmt::format(R"(    <edge id="e{}" source="n{}" target="n{}"><data key="class">{}</data>)"
                         R"(<data key="mux_input">{}</data></edge>)"
                         "\n",
                         m_num_edges++, edge.m_from.m_number, edge.m_to.m_number, edge.m_class,
                         quote(edge.m_mux_input));
  }
  void end() override { m_out << "  </graph>\n</graphml>\n"; }

private:
  static std::string quote(std::string_view text) {
    return replace(text, {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}});
  }
  std::uint64_t m_num_edges = 0;
};

/// In the node-link form of networkx.
class JSON_WRITER : public WINDOW_WRITER {
public:
  using WINDOW_WRITER::WINDOW_WRITER;
  void begin() override { m_out << R"({"directed": true, "multigraph": true, "graph": {}, "nodes": [)"; }
  void add(const NODE_FACTS& node) override {
    m_out << get_separator()
          << fmt::format(R"({{"id": {}, "name": {}, "kind": "{}", "module": {}, "distance": {}}})",
                         node.m_number, kep_get_json_text(node.m_name), node.m_kind,
                         kep_get_json_text(node.m_module), node.m_distance);
  }
  void begin_edges() override {
    m_out << "\n], \"links\": [";
    m_is_first = true;
  }
  void add(const EDGE_FACTS& edge) override {
    m_out << get_separator()
          << fmt::format(R"({{"source": {}, "target": {}, "class": "{}", "mux_input": {}}})",
                         edge.m_from.m_number, edge.m_to.m_number, edge.m_class,
                         kep_get_json_text(edge.m_mux_input));
  }
  void end() override { m_out << "\n]}\n"; }

private:
  const char* get_separator() { return std::exchange(m_is_first, false) ? "\n" : ",\n"; }
  bool m_is_first = true;
};

/// A line an edge. Nodes stand in the edges: each but one in the middle has an edge by which it was reached.
class CSV_WRITER : public WINDOW_WRITER {
public:
  using WINDOW_WRITER::WINDOW_WRITER;
  void begin() override {
    m_out << "from,from_kind,from_module,from_distance,to,to_kind,to_module,to_distance,class,mux_input\n";
  }
  void add(const NODE_FACTS&) override {}
  void add(const EDGE_FACTS& edge) override {
    for (const NODE_FACTS* node : {&edge.m_from, &edge.m_to})
      m_out << fmt::format("{},{},{},{},", quote(node->m_name), node->m_kind, quote(node->m_module),
                           node->m_distance);
    m_out << edge.m_class << ',' << quote(edge.m_mux_input) << '\n';
  }

private:
  static std::string quote(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    return '"' + replace(text, {{'"', "\"\""}}) + '"';
  }
};

std::unique_ptr<WINDOW_WRITER> make_writer(WINDOW_FORMAT format, std::ostream& out) {
  switch (format) {
  case WINDOW_FORMAT::DOT:
    return std::make_unique<DOT_WRITER>(out);
  case WINDOW_FORMAT::GRAPHML:
    return std::make_unique<GRAPHML_WRITER>(out);
  case WINDOW_FORMAT::JSON:
    return std::make_unique<JSON_WRITER>(out);
  case WINDOW_FORMAT::CSV:
    break;
  }
  return std::make_unique<CSV_WRITER>(out);
}

} // namespace

void write_window(const GRAPH& graph, const std::vector<WINDOW_NODE>& nodes, WINDOW_FORMAT format,
                  std::ostream& out) {
  const NUMBERED_GRAPH numbers(graph);
  const std::unique_ptr<WINDOW_WRITER> writer = make_writer(format, out);
  writer->begin();
  for (const WINDOW_NODE& node : nodes)
    writer->add(get_facts(graph, node));
  writer->begin_edges();
  for (const WINDOW_NODE& node : nodes) {
    kep_throw_if_cancelled();
    const NODE_FACTS from = get_facts(graph, node);
    for (const NUMBERED_FWD_EDGE& edge : numbers.iter_all_fanout(node.m_number)) {
      const auto to = std::lower_bound(
          nodes.begin(), nodes.end(), edge.get_fanout(),
          [](const WINDOW_NODE& each, std::uint32_t number) { return each.m_number < number; });
      if (to == nodes.end() || to->m_number != edge.get_fanout()) continue;
      writer->add({from, get_facts(graph, *to), edge.is_redundant() ? "redundant" : "real",
                   edge.get_mux_input().get_name(NAME_STYLE)});
    }
  }
  writer->end();
}
