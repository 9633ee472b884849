// `kep-rg check --prove`: every edge held against the model.

#include "tool/tool_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;

class ProveCommand : public TOOL_TEST {
protected:
  static std::string example(const std::string& name) {
    const std::string folder = KEP_TEST_DATA_DIR "/examples/" + name + "/";
    return folder + "model.json " + folder + "routing.jsonl" +
           (name == "redundant_inputs" ? " --redundancy " + folder + "redundancy.txt" : "");
  }
};

TEST_F(ProveCommand, finds_every_edge_of_the_worked_examples_where_the_model_has_it) {
  for (const char* name : {"blc_root", "hipi_twin", "inserted_node", "plain_mux_chain", "redundant_inputs",
                           "skip_mux", "top_ports_routed"}) {
    const int status = run("check --prove " + example(name));
    EXPECT_THAT(m_out, HasSubstr("against the model: 0 missing, 0 surplus")) << name;
    EXPECT_THAT(m_err, Not(HasSubstr("Missing"))) << name;
    EXPECT_THAT(m_out, Not(HasSubstr("Traced"))) << name << ": edges are proved instead of traced";
    EXPECT_TRUE(status == 0 || m_err.find("RG-") != std::string::npos) << name << ": " << m_err;
  }
}

TEST_F(ProveCommand, proves_a_fabric_with_everything_in_it_with_any_number_of_threads) {
  ASSERT_EQ(run("generate --columns 6 --rows 6 --redundant 20 --hipi 20 --skip 20 --tunnels 2 --spare-rows 2 "
                "--top-ports --model m.json --routing r.jsonl --redundancy s.txt"),
            0)
      << m_err;
  std::string first;
  for (const char* threads : {"1", "2", "5"}) {
    EXPECT_EQ(run(std::string("check --prove m.json r.jsonl --redundancy s.txt -j ") + threads), 0) << m_err;
    const std::size_t at = m_out.find("Held ");
    ASSERT_NE(at, std::string::npos);
    const std::string line = m_out.substr(at, m_out.find('\n', at) - at);
    if (first.empty()) first = line;
    EXPECT_EQ(line, first);
  }
  EXPECT_THAT(first, HasSubstr("0 missing, 0 surplus"));
}

TEST_F(ProveCommand, is_an_option_of_check_alone) {
  EXPECT_EQ(run("build --prove " + example("skip_mux")), 2);
}

} // namespace
