#include "support/leaf_search_case.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// Leaf searches whose predicate tells in advance what a search does at an inst port.

using test_model::uip;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using SEARCH = test_model::LEAF_SEARCH_CASE;

namespace {

class KNOWING_PREDICATE : public test_model::SCRIPTED_PREDICATE {
public:
  using KINDS = std::map<const KEP_MODULE*, std::vector<KEP_LEAF_KIND>>;
  KNOWING_PREDICATE(test_model::SCRIPT* script, const KINDS* kinds)
      : SCRIPTED_PREDICATE(script), m_kinds(kinds) {}
  const KEP_LEAF_KIND* find_leaf_kinds(const KEP_MODULE& module) const {
    const auto found = m_kinds->find(&module);
    return found == m_kinds->end() ? nullptr : found->second.data();
  }

private:
  const KINDS* m_kinds;
};

// The driver is a; its net holds a leaf, a block to go down into, an output and a mux with a way through.
const char* const MODEL = R"(
  module LEAF
    ports >i <o
  module BLOCK
    ports >i
    inst x LEAF
    inst y LEAF
    net in i x.i y.i
  module TOP top
    inst a LEAF
    inst l LEAF
    inst b BLOCK
    inst r LEAF
    inst m LEAF
    inst z LEAF
    net n a.o l.i b.i r.o m.i
    net w m.o z.i
)";

class LeafSearchKinds : public testing::Test {
protected:
  LeafSearchKinds() {
    search.script.m_leaf = {"l:i", "b/x:i", "b/y:i", "z:i"};
    search.script.m_through["m:i"] = {"m:o"};
    tell("l:i", KEP_LEAF_KIND::LEAF);
    tell("b:i", KEP_LEAF_KIND::DESCEND);
    tell("a:o", KEP_LEAF_KIND::NOTHING);
    tell("r:o", KEP_LEAF_KIND::NOTHING);
  }
  /// Other inst ports of the module are those of which the predicate must be asked.
  void tell(const char* name, KEP_LEAF_KIND kind) {
    const KEP_INST_PORT* inst_port = uip(*search.db, name).m_object;
    const KEP_MODULE* module = inst_port->get_inst()->get_parent();
    m_kinds[module].resize(module->get_num_inst_ports(), KEP_LEAF_KIND::ASK);
    m_kinds[module][inst_port->get_number()] = kind;
  }
  std::vector<std::string> find(const char* start, const char* exclude = nullptr) {
    const KEP_LEAF_SEARCH<KNOWING_PREDICATE> walk(KNOWING_PREDICATE(&search.script, &m_kinds), m_observer);
    search.results.clear();
    walk.find_leaves(uip(*search.db, start), {}, search.results, search.params,
                     exclude ? uip(*search.db, exclude) : KEP_UNFOLDED_INST_PORT(), {});
    return search.found();
  }

  SEARCH search{MODEL};
  KNOWING_PREDICATE::KINDS m_kinds;
  KEP_UNFOLD_OBSERVER m_silent;
  KEP_UNFOLD_OBSERVER* m_observer = &m_silent;
};

} // namespace

TEST_F(LeafSearchKinds, spare_the_questions_and_lead_to_the_same_leaves_in_the_same_order) {
  EXPECT_THAT(find("a:o"), ElementsAre("l:i", "b/x:i", "b/y:i", "z:i"));
  EXPECT_THAT(search.script.m_asked_through, ElementsAre("b/x:i", "b/y:i", "m:i", "z:i"));
  search.script.m_asked_through.clear();
  m_kinds.clear();
  EXPECT_THAT(find("a:o"), ElementsAre("l:i", "b/x:i", "b/y:i", "z:i"));
  EXPECT_THAT(search.script.m_asked_through, testing::Contains("l:i")) << "nothing is known now";
}

TEST_F(LeafSearchKinds, pass_over_the_point_on_which_the_caller_stands_and_that_of_the_start) {
  EXPECT_THAT(find("a:o", "l:i"), ElementsAre("b/x:i", "b/y:i", "z:i"));
  EXPECT_THAT(find("l:i"), ElementsAre("b/x:i", "b/y:i", "z:i"));
  EXPECT_THAT(find("b:i"), ElementsAre("l:i", "z:i"));
}

TEST_F(LeafSearchKinds, leave_it_to_the_predicate_whether_a_way_begins_at_the_point_of_the_start) {
  EXPECT_THAT(find("m:i"), ElementsAre("l:i", "b/x:i", "b/y:i", "z:i"));
}

TEST_F(LeafSearchKinds, are_not_used_while_somebody_observes) {
  m_observer = &search.observer;
  EXPECT_THAT(find("a:o"), ElementsAre("l:i", "b/x:i", "b/y:i", "z:i"));
  EXPECT_THAT(search.log(), testing::Contains("11 l:i"));
  EXPECT_THAT(search.script.m_asked_through, testing::Contains("l:i"));
}

TEST_F(LeafSearchKinds, hold_for_searches_from_drivers_that_do_not_honour_tunnels) {
  search.params.m_honour_tunnels = true;
  find("a:o");
  EXPECT_THAT(search.script.m_asked_through, testing::Contains("l:i"));
  search.script.m_asked_through.clear();
  search.params.m_honour_tunnels = false;
  search.params.m_direction = KEP_LEAF_DIRECTION::LOAD_TO_DRIVERS;
  find("l:i");
  EXPECT_THAT(search.script.m_asked_through, Not(IsEmpty()));
}
