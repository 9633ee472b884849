#pragma once

#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/support/build_access.h"
#include "tests/support/graph_text.h"
#include "tests/support/named_model.h"

#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

/// A model, its description and one builder. Facts are stated first; the builder is made at its first use.
/// What goes to the streams of kep_report stays inside.
class BUILD_CASE {
public:
  explicit BUILD_CASE(std::string_view text) : m_model(text), m_parse(m_model.db()) {}
  explicit BUILD_CASE(std::unique_ptr<KEP_DB> db) : m_model(std::move(db)), m_parse(m_model.db()) {}
  virtual ~BUILD_CASE() = default; // cases of several kinds stand in one list

  const NAMED_MODEL& model() const { return m_model; }
  KEP_DB* db() const { return m_model.db(); }
  KEP_RG_PARSE& parse() { return m_parse; }
  KEP_ROUTING_PRIMITIVE* store() const { return db()->get_routing_template_graph()->get_routing_primitive(); }

  /// Arcs from each of the ports of the module to `output`.
  void arcs(const std::string& module, const std::vector<std::string>& inputs, const std::string& output,
            bool skip = false, KEP_ROUTING_PRIMITIVE_HIPI hipi = KEP_ROUTING_PRIMITIVE_HIPI::NONE) {
    for (const std::string& input : inputs)
      m_parse.add_port_edge(m_model.port(module + ":" + input), m_model.port(module + ":" + output), hipi,
                            skip);
  }
  void insert(const std::string& port) { m_parse.add_inserted_node("", m_model.port(port)); }
  /// Redundancy data: the inst port "MODULE/instance:port" at every occurrence of the module.
  void mark_redundant(const std::string& text) {
    const std::size_t slash = text.find('/');
    const std::size_t colon = text.find(':');
    KEP_INSTANCE* instance = m_model.instance(text.substr(0, colon));
    db()->find_or_create_relative_paths("redundancy")
        .find_or_create_paths_for_module(m_model.module(text.substr(0, slash)))
        .add_path({instance}, instance->get_module()->find_port(text.substr(colon + 1).c_str()));
  }

  KEP_RG_BUILD& builder(const KEP_RG_BUILD_PARAMS& params = {}) {
    if (!m_builder) m_builder = std::make_unique<KEP_RG_BUILD>(db(), params);
    return *m_builder;
  }
  void drop_builder() { m_builder.reset(); }

  // Each gives the lines that went to the information stream.
  std::vector<std::string> build(const KEP_RG_BUILD_PARAMS& params = {}) {
    return report([&] { builder(params).build(); });
  }
  std::vector<std::string> build_nodes() {
    return report([&] { builder().build_nodes(); });
  }
  std::vector<std::string> report(const auto& body) {
    m_debug_lines.clear();
    KEP_REPORT_CAPTURE capture;
    body();
    m_debug_lines = lines(capture.text(KEP_REPORT::STREAM::DEBUG));
    return lines(capture.text(KEP_REPORT::STREAM::INFO));
  }
  /// What went to the debug stream in the last of these calls.
  const std::vector<std::string>& debug_lines() const { return m_debug_lines; }

  std::vector<std::string> nodes() const { return test_model::nodes_of(*db()); }
  std::vector<std::string> edges() const { return test_model::edges_of(*db()); }
  std::vector<std::string> built_nodes() { return test_model::nodes_of(*builder().get_builder_graph()); }

private:
  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
      result.push_back(line);
    return result;
  }

  NAMED_MODEL m_model;
  KEP_RG_PARSE m_parse;
  std::unique_ptr<KEP_RG_BUILD> m_builder;
  std::vector<std::string> m_debug_lines;
};
