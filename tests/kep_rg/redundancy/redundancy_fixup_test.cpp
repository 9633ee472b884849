#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_parse.h"
#include "tests/kep_rg/redundancy/parse_redundancy_fixture.h"
#include "tests/support/build_access.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace redundancy_fixup_test {

using parse_redundancy::quiet_parser;
using parse_redundancy::RANK;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;
using ACCESS = KEP_RG_TEST_ACCESS;

/// OUTER and MUX have arcs. OUTER's p is wired to y and, through WRAP, to x/m; its q to x/m.
const char* const DEVICE = R"(
  module MUX
    ports >a >b <z
  module WRAP
    ports >w <v
    inst m MUX
    net in w m.a
    net out v m.z
  module OUTER
    ports >p >r <q
    inst x WRAP
    inst y MUX
    net n p x.w y.b
    net k q x.v
  module TOP top
    inst t OUTER
    inst u OUTER
)";

class RedundancyFixup : public testing::Test {
protected:
  explicit RedundancyFixup(std::string_view text = DEVICE) : model(text) {}

  void arcs(const std::string& module, const std::vector<std::string>& inputs, const std::string& output,
            bool skip = false) {
    KEP_RG_PARSE parse(model.db());
    for (const std::string& input : inputs)
      parse.add_port_edge(model.port(module + ":" + input), model.port(module + ":" + output), skip);
  }
  void usual_arcs() {
    arcs("MUX", {"a", "b"}, "z");
    arcs("OUTER", {"p", "r"}, "q");
  }
  /// What becomes of the ports of those texts below the module, and behind them how many rewrites it took.
  std::vector<std::string> fixed(const std::vector<std::string>& texts, const char* top = "TOP") {
    KEP_RG_MODULE_RELATIVE_PORTS in;
    for (const std::string& text : texts) {
      KEP_RG_RELATIVE_PORT port;
      EXPECT_TRUE(port.parse(model.module(top), text, RANK, nullptr)) << text;
      in.add(&port);
    }
    KEP_RG_MODULE_RELATIVE_PORTS out;
    const std::size_t count = parser.fixup(&out, &in);
    std::vector<std::string> names = parse_redundancy::names(out);
    names.push_back(std::to_string(count));
    return names;
  }
  void build_tables() {
    const KEP_RG_MODULE_RELATIVE_PORTS none{};
    KEP_RG_MODULE_RELATIVE_PORTS out;
    EXPECT_EQ(parser.fixup(&out, &none), 0U);
    EXPECT_EQ(out.size(), 0U);
  }
  /// The rules of a table in order of arrival, "KEY>VALUE".
  static std::vector<std::string> rules(const KEP_RG_RELATIVE_PORT_TO_PORT* table) {
    std::vector<std::string> result;
    for (const KEP_RG_RELATIVE_PORT* key : table->iter_relative_ports())
      result.push_back(key->get_name() + ">" + table->find(key)->get_plain_name());
    return result;
  }
  std::vector<std::string> inner_to_outer() {
    build_tables();
    return rules(parser.get_inner_to_outer());
  }
  std::vector<std::string> output_to_input() {
    build_tables();
    return rules(parser.get_output_to_input());
  }

  const NAMED_MODEL model;
  KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(model.db());
};

// --- when the tables are built ----------------------------------------------------------------------------

TEST_F(RedundancyFixup, HasNoTablesBeforeItsFirstCall) {
  usual_arcs();
  EXPECT_EQ(parser.get_inner_to_outer(), nullptr);
  EXPECT_EQ(parser.get_output_to_input(), nullptr);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  {
    KEP_REPORT_CAPTURE capture;
    parser.parse(&out, "module_name: TOP 0 t:p");
  }
  EXPECT_EQ(parser.get_inner_to_outer(), nullptr) << "reading does not need them";
}

TEST_F(RedundancyFixup, BuildsTheTablesForAnEmptyGroupToo) {
  usual_arcs();
  build_tables();
  ASSERT_NE(parser.get_inner_to_outer(), nullptr);
  ASSERT_NE(parser.get_output_to_input(), nullptr);
  EXPECT_FALSE(parser.get_inner_to_outer()->iter_relative_ports().empty());
}

TEST_F(RedundancyFixup, KeepsTheTablesThoughTheDescriptionGoesOn) {
  arcs("MUX", {"a"}, "z");
  build_tables();
  const auto* table = parser.get_output_to_input();
  arcs("OUTER", {"p"}, "q");
  EXPECT_THAT(fixed({"q"}, "OUTER"), ElementsAre(":q", "0"));
  {
    KEP_REPORT_CAPTURE capture;
    KEP_RG_MODULE_RELATIVE_PORTS out;
    parser.parse(&out, "module_name: OUTER 0 q");
  }
  EXPECT_EQ(parser.get_output_to_input(), table);
  EXPECT_THAT(rules(table), ElementsAre(":z>a"));
}

TEST_F(RedundancyFixup, GathersInAGroupThatIsNotCleared) {
  usual_arcs();
  KEP_RG_RELATIVE_PORT port;
  ASSERT_TRUE(port.parse(model.module("TOP"), "t/y:z", RANK, nullptr));
  KEP_RG_MODULE_RELATIVE_PORTS in;
  in.add(&port);
  KEP_RG_MODULE_RELATIVE_PORTS out;
  EXPECT_EQ(parser.fixup(&out, &in), 1U);
  EXPECT_EQ(parser.fixup(&out, &in), 1U);
  EXPECT_EQ(out.size(), 2U);
  EXPECT_EQ(in.size(), 1U);
}

// --- rules ------------------------------------------------------------------------------------------------

TEST_F(RedundancyFixup, LeadsFromANestedModuleWithArcsToTheEnclosingOneThroughLevelsWithout) {
  usual_arcs();
  EXPECT_THAT(inner_to_outer(), ElementsAre("x/m:a>p", "y:b>p", "x/m:z>q"));
}

TEST_F(RedundancyFixup, StepsBackFromAnOutputToItsFirstInput) {
  arcs("MUX", {"b", "a"}, "z");
  arcs("OUTER", {"r", "p"}, "q");
  EXPECT_THAT(output_to_input(), ElementsAre(":z>b", ":z>b", ":q>r", ":q>r"));
}

TEST_F(RedundancyFixup, HasNoRulesWithoutArcs) {
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), IsEmpty());
  EXPECT_THAT(fixed({"t/x/m:z", "t:q", "u/y:a"}), ElementsAre("t/x/m:z", "t:q", "u/y:a", "0"));
}

TEST_F(RedundancyFixup, DoesNotEndAtAModuleWhoseArcsAreSkipPathsNorBeginAtIt) {
  arcs("MUX", {"a", "b"}, "z", true);
  arcs("OUTER", {"p", "r"}, "q");
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":z>a", ":z>a", ":q>p", ":q>p")) << "skip paths too";
}

TEST_F(RedundancyFixup, TakesNoNoticeOfAMuxWithExceptionInstances) {
  usual_arcs();
  KEP_RG_PARSE(model.db()).set_skip_paths(model.instance("WRAP/m"), true);
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":z>a", ":z>a", ":q>p", ":q>p"));
}

TEST_F(RedundancyFixup, TakesNoNoticeOfASkipMuxWithExceptionInstances) {
  arcs("MUX", {"a", "b"}, "z", true);
  arcs("OUTER", {"p", "r"}, "q");
  KEP_RG_PARSE(model.db()).set_skip_paths(model.instance("WRAP/m"), false);
  EXPECT_THAT(inner_to_outer(), IsEmpty());
}

TEST_F(RedundancyFixup, TakesNoNoticeOfAnArcWithoutAMux) {
  KEP_ROUTING_ARC::allocate(model.db(), model.port("MUX:a"), model.port("MUX:z"), nullptr);
  arcs("OUTER", {"p"}, "q");
  EXPECT_THAT(inner_to_outer(), IsEmpty());
  EXPECT_THAT(output_to_input(), ElementsAre(":q>p"));
}

class RedundancyFixupNested : public RedundancyFixup {
protected:
  RedundancyFixupNested()
      : RedundancyFixup(R"(
    module OUTER
      ports >p >s =q
      inst g MIDDLE
      net n p s g.i g.j
    module MIDDLE
      ports >i >j <o
      inst e MUX
      inst f MUX
      net n i e.a f.z
      net k j e.a f.b
    module MUX
      ports >a >b <z
    module TOP top
      inst t OUTER
  )") {}
};

TEST_F(RedundancyFixupNested, StopsAtTheFirstModuleWithArcs) {
  arcs("MUX", {"a"}, "z");
  arcs("OUTER", {"p"}, "q");
  arcs("MIDDLE", {"i"}, "o");
  // OUTER's only as far as g, though g is wired on; the connection of e.a is that of the net named last.
  EXPECT_THAT(inner_to_outer(), ElementsAre("g:i>p", "g:j>p", "g:i>p", "g:j>p", "f:z>i", "e:a>j", "f:b>j"));
}

TEST_F(RedundancyFixupNested, KeepsTheFirstOfSeveralPortsOnOneNetAndFollowsAnyDirection) {
  arcs("MUX", {"a"}, "z");
  arcs("OUTER", {"s"}, "q");
  EXPECT_THAT(inner_to_outer(),
              ElementsAre("g/f:z>p", "g/e:a>p", "g/f:b>p", "g/f:z>p", "g/e:a>p", "g/f:b>p"));
}

TEST_F(RedundancyFixupNested, WalksModulesInTheOrderOfTheDesign) {
  arcs("MUX", {"a"}, "z"); // described from the bottom up, which counts for nothing
  arcs("MIDDLE", {"i"}, "o");
  arcs("OUTER", {"p"}, "q");
  const std::vector<std::string> found = inner_to_outer();
  ASSERT_FALSE(found.empty());
  EXPECT_EQ(found.front(), "g:i>p");
  EXPECT_EQ(found.back(), "f:b>j");
}

// --- what becomes of a group ------------------------------------------------------------------------------

TEST_F(RedundancyFixup, MovesAPortOfANestedMuxToTheEnclosingOne) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/x/m:a", "u/y:b"}), ElementsAre("t:p", "u:p", "2"));
}

TEST_F(RedundancyFixup, StepsBackOverAMuxOnTheSameLevelUnlessTheChainHasOneInstance) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/y:z"}), ElementsAre("t/y:a", "1"));
  EXPECT_THAT(fixed({"t:q"}), ElementsAre("t:q", "0"));
  EXPECT_THAT(fixed({"q"}, "OUTER"), ElementsAre(":p", "1"));
  EXPECT_THAT(fixed({"y:z"}, "OUTER"), ElementsAre("y:z", "0"));
}

TEST_F(RedundancyFixup, CountsAnEntryTwiceThatBothTablesRewrite) {
  usual_arcs();
  EXPECT_THAT(fixed({"x/m:z"}, "OUTER"), ElementsAre(":p", "2")) << "x/m:z, then :q, then :p";
  EXPECT_THAT(fixed({"t/x/m:z"}), ElementsAre("t:q", "1")) << "a chain of one is left";
}

TEST_F(RedundancyFixup, CarriesOverWhatNoRuleFitsAndKeepsTheOrder) {
  usual_arcs();
  EXPECT_THAT(fixed({"t/x/m:b", "t/y:z", "t:r", "t/x:w", "u/x/m:a", "t:r"}),
              ElementsAre("t/x/m:b", "t/y:a", "t:r", "t/x:w", "u:p", "t:r", "2"));
}

TEST_F(RedundancyFixup, SharesItsTablesWithACopy) {
  usual_arcs();
  build_tables();
  // A copy made now may not be destroyed beside its source, so it lies in storage that just
  // ends. It holds no failures, hence no memory of its own.
  alignas(KEP_RG_PARSE_REDUNDANCY) std::byte place[sizeof(KEP_RG_PARSE_REDUNDANCY)];
  const auto* const copy = new (place) KEP_RG_PARSE_REDUNDANCY(parser);
  EXPECT_EQ(copy->get_inner_to_outer(), parser.get_inner_to_outer());
  EXPECT_EQ(copy->get_output_to_input(), parser.get_output_to_input());
}

// --- random models ----------------------------------------------------------------------------------------

using KEY = std::pair<std::vector<KEP_INSTANCE*>, KEP_PORT*>;
using TABLE = std::map<KEY, KEP_PORT*>;

/// Random muxes, some of them skipped, some with exceptions, and arcs without a mux.
void describe_at_random(KEP_DB* db, RANDOM_SOURCE& random) {
  std::vector<KEP_INSTANCE*> instances;
  for (KEP_MODULE* module : db->iter_modules(true))
    for (KEP_INSTANCE* instance : module->iter_instances())
      instances.push_back(instance);
  for (KEP_MODULE* module : db->iter_modules(true)) {
    if (module->get_num_ports() == 0 || random.percent(50)) continue;
    for (unsigned left = 1 + random.below(2); left != 0; --left) {
      KEP_ROUTING_MUX* const mux =
          random.percent(10) ? nullptr : KEP_ROUTING_MUX::allocate(db, module, random.percent(25));
      const auto any_port = [&] { return module->get_port_by_index(random.below(module->get_num_ports())); };
      for (unsigned arcs = 1 + random.below(3); arcs != 0; --arcs)
        KEP_ROUTING_ARC::allocate(db, any_port(), any_port(), mux);
      if (mux && !instances.empty() && random.percent(20))
        mux->add_skip_exception_instance(random.pick(instances));
    }
  }
}

/// Both tables by search: inner ports are followed upward, and not the outer ones down.
class NAIVE_TABLES {
public:
  explicit NAIVE_TABLES(const KEP_DB& db) {
    for (const KEP_ROUTING_ARC* arc :
         db.get_routing_template_graph()->get_routing_primitive()->iter_routing_arcs(false)) {
      const KEP_ROUTING_MUX* mux = arc->get_parent();
      if (!mux) continue;
      m_output_to_input.emplace(KEY{{}, arc->get_output()}, arc->get_input());
      if (!mux->get_skip() && mux->get_num_skip_exception_instance() == 0)
        m_live.insert(arc->get_input()->get_parent());
    }
    for (KEP_MODULE* module : m_live)
      search(module);
  }

  TABLE m_inner_to_outer;
  TABLE m_output_to_input;

private:
  /// All chains below the module that end at the first module with live arcs.
  void search(KEP_MODULE* module) {
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      m_chain.push_back(instance);
      if (!m_live.contains(instance->get_module()))
        search(instance->get_module());
      else
        for (KEP_PORT* port : instance->get_module()->iter_ports()) {
          const std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> outer = wired(m_chain.size(), port);
          if (!outer.empty()) m_inner_to_outer[{m_chain, port}] = *outer.begin();
        }
      m_chain.pop_back();
    }
  }
  /// The ports of the outermost module that are wired down to the port below the first `depth` instances.
  std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> wired(std::size_t depth, const KEP_PORT* port) const {
    std::set<KEP_PORT*, KEP_PORT_INDEX_COMPARE> found;
    const KEP_NET* net = m_chain[depth - 1]->get_inst_port_for_port(port)->get_net();
    if (!net) return found;
    for (KEP_PORT* above : net->iter_ports())
      if (depth == 1)
        found.insert(above);
      else
        found.merge(wired(depth - 1, above));
    return found;
  }

  std::set<KEP_MODULE*> m_live;
  std::vector<KEP_INSTANCE*> m_chain;
};

TABLE as_map(const KEP_RG_RELATIVE_PORT_TO_PORT& table) {
  TABLE found;
  for (const KEP_RG_RELATIVE_PORT* key : table.iter_relative_ports())
    found[{*key->get_instances(), key->get_port()}] = table.find(key);
  return found;
}

TEST(RedundancyFixupRandom, HasTheRulesThatASearchUpwardFinds) {
  std::size_t rules[4] = {};
  for (const std::uint64_t seed : SEEDS(1, 1500)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    describe_at_random(db.get(), random);
    KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(db.get());
    const KEP_RG_MODULE_RELATIVE_PORTS none{};
    KEP_RG_MODULE_RELATIVE_PORTS out;
    parser.fixup(&out, &none);
    const NAIVE_TABLES naive(*db);
    ASSERT_EQ(as_map(*parser.get_inner_to_outer()), naive.m_inner_to_outer) << test_model::describe(*db);
    ASSERT_EQ(as_map(*parser.get_output_to_input()), naive.m_output_to_input) << test_model::describe(*db);
    for (const auto& [key, value] : naive.m_inner_to_outer)
      ++rules[std::min<std::size_t>(key.first.size(), 3)];
  }
  EXPECT_GT(rules[1], 500U);
  EXPECT_GT(rules[2], 100U);
  EXPECT_GT(rules[3], 5U);
}

TEST(RedundancyFixupRandom, AppliesOneTableAfterTheOther) {
  std::size_t rewritten = 0;
  for (const std::uint64_t seed : SEEDS(1, 300)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    describe_at_random(db.get(), random);
    KEP_RG_PARSE_REDUNDANCY parser = quiet_parser(db.get());
    for (KEP_MODULE* top : db->iter_modules(true)) {
      KEP_RG_MODULE_RELATIVE_PORTS in;
      std::vector<KEP_INSTANCE*> chain;
      const std::function<void(KEP_MODULE*)> descend = [&](KEP_MODULE* module) {
        for (KEP_PORT* port : module->iter_ports())
          in.add(ACCESS::relative_port(chain, port));
        for (KEP_INSTANCE* instance : module->iter_instances()) {
          chain.push_back(instance);
          descend(instance->get_module());
          chain.pop_back();
        }
      };
      descend(top);
      KEP_RG_MODULE_RELATIVE_PORTS out;
      const std::size_t count = parser.fixup(&out, &in);
      ASSERT_EQ(out.size(), in.size());
      std::size_t wanted_count = 0;
      auto at = out.iter_relative_ports().begin();
      for (const KEP_RG_RELATIVE_PORT* each : in.iter_relative_ports()) {
        KEP_RG_RELATIVE_PORT middle = *each;
        wanted_count += parser.get_inner_to_outer()->apply(&middle, each);
        KEP_RG_RELATIVE_PORT last = middle;
        wanted_count += parser.get_output_to_input()->apply(&last, &middle);
        ASSERT_EQ(**at, last) << each->get_name();
        ++at;
      }
      ASSERT_EQ(count, wanted_count);
      rewritten += count;
    }
  }
  EXPECT_GT(rewritten, 2000U);
}

} // namespace redundancy_fixup_test
