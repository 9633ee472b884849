#include "kep_rg/kep_rg_parse_redundancy.h"
#include "kep_rg/kep_rg_post_checks.h"
#include "kep_rg/kep_rg_relative_paths.h"
#include "kep_rg/kep_rg_relative_port.h"
#include "tests/support/build_case.h"
#include "tests/support/failure_text.h"
#include "tests/support/odd_locale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>

namespace locale_test {

using ACCESS = KEP_RG_TEST_ACCESS;
using KEP_REPORT::STREAM;
using testing::HasSubstr;

/// Twelve tiles: d drives twelve inputs of w, one more of them redundant, and w drives d: no node is an
/// input of the graph.
std::string model_text() {
  std::string inputs;
  std::string net;
  for (int i = 0; i != 13; ++i) {
    inputs += " >a" + std::to_string(i);
    net += " w.a" + std::to_string(i);
  }
  std::string tiles;
  for (int i = 0; i != 12; ++i)
    tiles += "inst t" + std::to_string(i) + " TILE\n";
  return "module MUX\n ports >a <o\nmodule WIDE\n ports" + inputs +
         " <o\nmodule TILE\n inst d MUX header\n inst w WIDE header\n net n d.o" + net +
         "\n net q w.o d.a\nmodule ROOT ip_root\n" + tiles + "module TOP top\n inst r ROOT\n";
}

/// All that the library says while it builds, checks and refuses, less the figures of clocks.
std::string everything_said() {
  BUILD_CASE c(model_text());
  c.arcs("MUX", {"a"}, "o");
  for (int i = 0; i != 13; ++i)
    c.arcs("WIDE", {"a" + std::to_string(i)}, "o");
  c.parse().add_routing_root(c.model().module("ROOT"), 0);
  c.mark_redundant("TILE/w:a12");
  KEP_ROUTING_PRIMITIVE& store = *c.store();
  store.add_wire_type(KEP_RELATIVE_PATH::create({}, c.model().port("MUX:o")), "wire", 0);
  const std::string log =
      (std::filesystem::temp_directory_path() / ("kep-rg-locale-" + std::to_string(getpid()))).string();
  std::string said;
  {
    KEP_REPORT_CAPTURE capture;
    c.builder(KEP_RG_BUILD_PARAMS().set_nodes_per_display(1)).build();
    kep_rg_store_relative_routing_wire_paths(c.db());
    KEP_RG_POST_CHECKS checks(c.db(), true);
    EXPECT_FALSE(checks.test_redundant_edges());
    EXPECT_TRUE(checks.test_redundant_edge_count());
    EXPECT_TRUE(checks.test_hipi_api());
    EXPECT_FALSE(checks.test_graph_connectivity());
    c.builder().debug_edges(nullptr, c.model().uip("r/t11/d:o"), false, log.c_str());
    for (const STREAM stream : {STREAM::ERR, STREAM::WARN, STREAM::INFO, STREAM::DEBUG})
      said += capture.text(stream);
  }
  std::ostringstream visits;
  visits << std::ifstream(log).rdbuf();
  std::filesystem::remove(log);
  said += visits.str();
  said += failure_text([&] { kep_rg_store_relative_routing_wire_paths(c.db()); }) + "\n";
  KEP_RG_RELATIVE_PORT lost;
  lost.add(c.model().instance("ROOT/t10"), store.get_view_type_rank());
  said += failure_text([&] { lost.add(c.model().port("WIDE:a11")); }) + "\n";
  said += assertion_text([&] { c.parse().add_port_edge(c.model().port("MUX:a"), c.model().port("WIDE:o")); });
  said = std::regex_replace(said, std::regex(R"([0-9]+\.[0-9]+ seconds)"), "N seconds");
  return std::regex_replace(said, std::regex(R"((inf|nan|[0-9]+)(?=h:|m:|s\s| nodes/s| calls/s))"), "N");
}

TEST(Locale, ChangesNoTextOfTheLibrary) {
  const std::string said = everything_said();
  for (const char* text :
       {"Counted n_nodes = 24\n", "n_edges = 156\n", "n_redundant_edges = 12\n",
        "get_leaf: ", " of 24 nodes in ", "12 real edges lead from one node to the same fanout r/t0/w:o",
        "input nodes do not reach: 24\n",
        "a total of 0 input nodes, representing a 0.000 % of the total nodes ('24')",
        "Adding 12 wire paths for ROOT\n", "inst_port r/t11/d:o logical -type start\n",
        "Mismatched top level with instances t10 (TILE) adding port a11 (WIDE)"})
    EXPECT_THAT(said, HasSubstr(text));
  const ODD_LOCALE locale;
  EXPECT_EQ(everything_said(), said);
}

TEST(Locale, ChangesNoTime) {
  const ODD_LOCALE locale;
  EXPECT_EQ(KEP_RG::format_time(1234 * 3600 + 56 * 60 + 42), "1234h:56m:42s");
}

} // namespace locale_test
