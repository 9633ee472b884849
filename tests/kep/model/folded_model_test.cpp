#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace folded_model_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using testing::ElementsAre;
using testing::IsEmpty;

using enum KEP_VIEW_TYPE;

/// The plain names of what a range yields.
template <class RANGE>
std::vector<std::string> names(const RANGE& range) {
  std::vector<std::string> found;
  for (const auto* element : range)
    found.emplace_back(element->get_plain_name());
  return found;
}

std::vector<std::string> keys(const std::vector<KEP_MODULE*>& modules) {
  std::vector<std::string> found;
  for (const KEP_MODULE* element : modules)
    found.emplace_back(element->get_key());
  return found;
}

const char* const DEVICE = R"(
  module MUX group=mux name=mux
    ports >a >b <z
  module MUX_BLC view=BLC group=mux name=mux trait_0
    ports >a >b <z
    inst x ATOM atom trait_0
    net n a x.i
  module MUX_TWIN view=LOGICAL_TWIN group=mux name=mux
    ports >a >b <z
  module MUX_BLC_2 view=BLC group=mux name=other bidir_buffer
    ports >a >b <z
  module ATOM
    ports >i
  module EMPTY
  module TILE ip_root
    ports >in =io <out
    inst m MUX header
    inst k MUX buffer
    net w in m.a k.b
    net o m.z out
  module TOP top device_top type=1
    ports >p
    inst t TILE
    inst u TILE
    net n u.in p t.out t.in
)";

class FoldedModel : public testing::Test {
protected:
  const std::unique_ptr<KEP_DB> m_db = make_db(DEVICE);
  const KEP_NAME_STYLE m_style{};
};

TEST_F(FoldedModel, TheDefaultTopIsTheDesignatedOneAndOtherViewsHaveNoTop) {
  EXPECT_EQ(m_db->get_top_module(DEFAULT_VIEW), module(*m_db, "TOP"));
  EXPECT_EQ(m_db->get_top_module(LOGICAL), module(*m_db, "TOP"));
  EXPECT_EQ(m_db->get_top_module(BLC), nullptr);
  EXPECT_EQ(m_db->get_top_module(VIEW_1), nullptr);
  EXPECT_EQ(m_db->get_db_type(), KEP_DB_TYPE::TOP_PORTS_ROUTED);
  EXPECT_TRUE(m_db->is_device_top());
}

TEST(Top, InAViewIsTheTopItselfOrItsFirstEquivalentThere) {
  const auto db = make_db(R"(
    module A_BLC_1 view=BLC group=a
    module A view=VIEW_1 group=a top
    module A_BLC_2 view=BLC group=a
  )");
  EXPECT_EQ(db->get_top_module(DEFAULT_VIEW), module(*db, "A"));
  EXPECT_EQ(db->get_top_module(VIEW_1), module(*db, "A"));
  EXPECT_EQ(db->get_top_module(BLC), module(*db, "A_BLC_1"));
  EXPECT_EQ(db->get_top_module(LOGICAL), nullptr);
  EXPECT_TRUE(module(*db, "A")->is_top_module_or_equiv());
  EXPECT_TRUE(module(*db, "A_BLC_1")->is_top_module_or_equiv());
}

TEST(Top, PropertiesAreReadOnTheTopModuleAlone) {
  const auto db = make_db(R"(
    module A device_top type=0
    module T top
      inst a A
  )");
  EXPECT_EQ(db->get_db_type(), KEP_DB_TYPE::REDUNDANCY);
  EXPECT_FALSE(db->is_device_top());
  EXPECT_FALSE(module(*db, "A")->is_top_module_or_equiv());
}

TEST_F(FoldedModel, ModulesComeInTheOrderInWhichTheyWereAdded) {
  EXPECT_THAT(names(m_db->iter_modules(true)),
              ElementsAre("mux", "mux", "mux", "other", "ATOM", "EMPTY", "TILE", "TOP"));
  unsigned number = 0;
  for (const KEP_MODULE* each : m_db->iter_modules(true))
    EXPECT_EQ(each->get_number(), number++);
}

TEST_F(FoldedModel, ModulesAreFoundByNameAndView) {
  EXPECT_THAT(keys(m_db->find_modules("mux", LOGICAL, true)), ElementsAre("MUX"));
  EXPECT_THAT(keys(m_db->find_modules("mux", BLC, true)), ElementsAre("MUX_BLC"));
  EXPECT_THAT(keys(m_db->find_modules("other", BLC, true)), ElementsAre("MUX_BLC_2"));
  EXPECT_THAT(m_db->find_modules("mux", VIEW_1, true), IsEmpty());
  EXPECT_THAT(m_db->find_modules("MUX", LOGICAL, true), IsEmpty()) << "a key is not a name";
  EXPECT_THAT(m_db->find_modules("nothing", LOGICAL, true), IsEmpty());
  EXPECT_THAT(m_db->find_modules("", LOGICAL, true), IsEmpty());
  EXPECT_THAT(m_db->find_modules("mux", DEFAULT_VIEW, true), IsEmpty());
}

TEST(Modules, OfOneNameAndViewAreAllFoundInOrder) {
  const auto db = make_db(R"(
    module B name=x
    module T top
    module A name=x
  )");
  EXPECT_THAT(keys(db->find_modules("x", LOGICAL, true)), ElementsAre("B", "A"));
}

TEST_F(FoldedModel, AModuleTellsItsNameViewAndMarks) {
  const KEP_MODULE* blc = module(*m_db, "MUX_BLC");
  EXPECT_EQ(blc->get_name(m_style), "mux");
  std::string name = "before";
  blc->get_name(name, m_style);
  EXPECT_EQ(name, "mux");
  EXPECT_EQ(module(*m_db, "TILE")->get_name(m_style), "TILE")
      << "without a name of its own the key is the name";
  EXPECT_EQ(blc->get_view_type(), BLC);
  EXPECT_EQ(module(*m_db, "TILE")->get_view_type(), LOGICAL);
  EXPECT_TRUE(blc->has_trait(KEP_MODULE::TRAIT::TRAIT_0));
  EXPECT_FALSE(blc->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
  EXPECT_FALSE(module(*m_db, "TILE")->has_trait(KEP_MODULE::TRAIT::TRAIT_0));
  EXPECT_TRUE(module(*m_db, "TILE")->has_trait(KEP_MODULE::TRAIT::IP_ROOT));
  EXPECT_FALSE(blc->get_is_blc_bidir_buffer());
  EXPECT_TRUE(module(*m_db, "MUX_BLC_2")->get_is_blc_bidir_buffer());
  EXPECT_FALSE(blc->is_top_module_or_equiv());
  EXPECT_TRUE(module(*m_db, "TOP")->is_top_module_or_equiv());
  EXPECT_EQ(blc->get_db(), m_db.get());
}

TEST_F(FoldedModel, AnEmptyModuleGivesEmptyRanges) {
  const KEP_MODULE* empty = module(*m_db, "EMPTY");
  EXPECT_EQ(empty->get_num_ports(), 0U);
  EXPECT_EQ(empty->get_num_instances(), 0U);
  EXPECT_EQ(empty->iter_ports().begin(), empty->iter_ports().end());
  EXPECT_EQ(empty->iter_instances().begin(), empty->iter_instances().end());
  EXPECT_EQ(empty->iter_nets().begin(), empty->iter_nets().end());
  EXPECT_EQ(empty->find_port("a"), nullptr);
  EXPECT_EQ(empty->find_instance("a"), nullptr);
  EXPECT_EQ(empty->get_port_by_index(0), nullptr);
}

TEST_F(FoldedModel, PortsAreFoundByNameAndIndexInOrder) {
  const KEP_MODULE* tile = module(*m_db, "TILE");
  EXPECT_EQ(tile->get_num_ports(), 3U);
  EXPECT_THAT(names(tile->iter_ports()), ElementsAre("in", "io", "out"));
  for (unsigned i = 0; i != 3; ++i) {
    KEP_PORT* each = tile->get_port_by_index(i);
    EXPECT_EQ(each->get_index(), i);
    EXPECT_EQ(each->get_parent(), tile);
    EXPECT_EQ(tile->find_port(each->get_plain_name()), each);
    EXPECT_EQ(each->get_name(m_style), each->get_plain_name());
  }
  EXPECT_EQ(tile->get_port_by_index(3), nullptr);
  EXPECT_EQ(tile->find_port("m"), nullptr);
  EXPECT_EQ(tile->find_port(""), nullptr);
}

TEST(Names, ThatAreAbsentAreNotFoundWhateverTheSizeOfTheModule) {
  for (unsigned size = 0; size != 70; ++size) {
    SCOPED_TRACE(size);
    KEP_DB_BUILDER builder;
    const KEP_MODULE_ID master = builder.add_module("A", {});
    const KEP_MODULE_ID top = builder.add_module("T", {});
    builder.add_instance(top, "x", master, {});
    for (unsigned i = 0; i != size; ++i) {
      builder.add_port(top, "p" + std::to_string(i), KEP_PORT_DIRECTION::INPUT);
      builder.add_instance(top, "i" + std::to_string(i), master, {});
      builder.add_port(master, "q" + std::to_string(i), KEP_PORT_DIRECTION::INPUT);
    }
    const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
    const KEP_MODULE* module_t = module(*db, "T");
    for (unsigned i = 0; i != size; ++i) {
      EXPECT_EQ(module_t->find_port(("p" + std::to_string(i)).c_str()), module_t->get_port_by_index(i));
      EXPECT_EQ(module_t->find_instance(("i" + std::to_string(i)).c_str()),
                module_t->get_instance_by_index(i + 1));
    }
    for (unsigned i = 0; i != 100; ++i) {
      EXPECT_EQ(module_t->find_port(("absent" + std::to_string(i)).c_str()), nullptr);
      EXPECT_EQ(module_t->find_instance(("absent" + std::to_string(i)).c_str()), nullptr);
    }
  }
}

TEST_F(FoldedModel, PortsHaveExactlyOneDirection) {
  const KEP_PORT* in = port(*m_db, "TILE", "in");
  const KEP_PORT* io = port(*m_db, "TILE", "io");
  const KEP_PORT* out = port(*m_db, "TILE", "out");
  EXPECT_TRUE(in->is_input() && !in->is_output() && !in->is_bidir());
  EXPECT_TRUE(!io->is_input() && !io->is_output() && io->is_bidir());
  EXPECT_TRUE(!out->is_input() && out->is_output() && !out->is_bidir());
}

TEST_F(FoldedModel, AnOrdinaryPortHasNoBlcIndexAndNoIcdName) {
  EXPECT_EQ(port(*m_db, "TILE", "in")->get_blc_re_index(), -1);
  EXPECT_EQ(port(*m_db, "TILE", "in")->get_blc_icd_port_name(), "");
}

TEST(Ports, KeepTheBlcIndexAndIcdNameThatTheyWereGiven) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID top = builder.add_module("T", {});
  EXPECT_EQ(builder.add_port(top, "p", KEP_PORT_DIRECTION::INPUT, 7, "icd"), 0U);
  EXPECT_EQ(builder.add_port(top, "q", KEP_PORT_DIRECTION::INPUT), 1U);
  EXPECT_EQ(builder.add_port(top, "r", KEP_PORT_DIRECTION::INPUT, 0), 2U);
  builder.set_port_blc(top, 1, 12, "later");
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  EXPECT_EQ(port(*db, "T", "p")->get_blc_re_index(), 7);
  EXPECT_EQ(port(*db, "T", "p")->get_blc_icd_port_name(), "icd");
  EXPECT_EQ(port(*db, "T", "q")->get_blc_re_index(), 12);
  EXPECT_EQ(port(*db, "T", "q")->get_blc_icd_port_name(), "later");
  EXPECT_EQ(port(*db, "T", "r")->get_blc_re_index(), 0);
}

TEST_F(FoldedModel, AnInstanceTellsItsPlaceMasterAndMarks) {
  const KEP_INSTANCE* m = instance(*m_db, "TILE", "m");
  EXPECT_EQ(m->get_name(m_style), "m");
  EXPECT_EQ(m->get_parent(), module(*m_db, "TILE"));
  EXPECT_EQ(m->get_module(), module(*m_db, "MUX"));
  EXPECT_EQ(m->get_index(), 0U);
  EXPECT_EQ(instance(*m_db, "TILE", "k")->get_index(), 1U);
  EXPECT_TRUE(m->module_in_same_db());
  EXPECT_NE(m->get_inst_header(), nullptr);
  EXPECT_FALSE(m->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0));
  EXPECT_FALSE(m->is_blc_atom());
  EXPECT_FALSE(m->get_blc_is_inserted_buffer());

  const KEP_INSTANCE* x = instance(*m_db, "MUX_BLC", "x");
  EXPECT_EQ(x->get_inst_header(), nullptr);
  EXPECT_TRUE(x->has_trait(KEP_INSTANCE::TRAIT::TRAIT_0));
  EXPECT_TRUE(x->is_blc_atom());
  EXPECT_TRUE(instance(*m_db, "TILE", "k")->get_blc_is_inserted_buffer());
  EXPECT_THAT(names(module(*m_db, "TILE")->iter_instances()), ElementsAre("m", "k"));
  EXPECT_EQ(module(*m_db, "TILE")->find_instance("w"), nullptr);
}

TEST_F(FoldedModel, AMasterInAViewIsThePlainOneOrTheFirstEquivalentOrNull) {
  const KEP_INSTANCE* m = instance(*m_db, "TILE", "m");
  EXPECT_EQ(m->get_module(LOGICAL), module(*m_db, "MUX"));
  EXPECT_EQ(m->get_module(BLC), module(*m_db, "MUX_BLC"));
  EXPECT_EQ(m->get_module(LOGICAL_TWIN), module(*m_db, "MUX_TWIN"));
  EXPECT_EQ(m->get_module(VIEW_1), nullptr);
  EXPECT_EQ(m->get_module(DEFAULT_VIEW), module(*m_db, "MUX"));
}

TEST(Masters, OfTheSecondModuleInAViewStayThemselves) {
  const auto db = make_db(R"(
    module A group=g
    module B group=g
    module A_BLC view=BLC group=g
    module T top
      inst b B
  )");
  EXPECT_EQ(instance(*db, "T", "b")->get_module(LOGICAL), module(*db, "B"));
  EXPECT_EQ(instance(*db, "T", "b")->get_module(DEFAULT_VIEW), module(*db, "B"));
  EXPECT_EQ(module(*db, "A_BLC")->find_view(LOGICAL), module(*db, "A"));
}

TEST_F(FoldedModel, InstPortsMirrorThePortsOfTheMasterByIndex) {
  const KEP_INSTANCE* m = instance(*m_db, "TILE", "m");
  for (unsigned i = 0; i != 3; ++i) {
    KEP_INST_PORT* each = m->get_inst_port_by_index(i);
    KEP_PORT* mirrored = m->get_module()->get_port_by_index(i);
    EXPECT_EQ(each->get_inst(), m);
    EXPECT_EQ(each->get_port(), mirrored);
    EXPECT_EQ(each->get_index(), i);
    EXPECT_EQ(m->get_inst_port_for_port(mirrored), each);
    EXPECT_EQ(each->is_input(), mirrored->is_input());
    EXPECT_EQ(each->is_output(), mirrored->is_output());
    EXPECT_EQ(each->is_bidir(), mirrored->is_bidir());
    EXPECT_EQ(m->get_parent()->get_inst_port_by_number(each->get_number()), each);
  }
  EXPECT_EQ(m->get_inst_port_for_port(port(*m_db, "MUX_BLC", "b")), m->get_inst_port_by_index(1))
      << "the port of an equivalent is mirrored by the same inst port";
  EXPECT_EQ(instance(*m_db, "TILE", "k")->get_inst_port_by_index(0)->get_number(), 3U);
  EXPECT_EQ(module(*m_db, "TILE")->get_num_inst_ports(), 6U);
}

TEST_F(FoldedModel, TheNetOfAPortHoldsItAndNothingBehindAPortIsNull) {
  const KEP_NET* w = port(*m_db, "TILE", "in")->get_net();
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->get_name(m_style), "w");
  EXPECT_EQ(w->get_parent(), module(*m_db, "TILE"));
  EXPECT_EQ(port(*m_db, "TILE", "io")->get_net(), nullptr);
  EXPECT_EQ(port(*m_db, "MUX", "a")->get_net(), nullptr);
  EXPECT_EQ(instance(*m_db, "TILE", "m")->get_inst_port_by_index(0)->get_net(), w);
  EXPECT_EQ(instance(*m_db, "TILE", "m")->get_inst_port_by_index(1)->get_net(), nullptr);
  EXPECT_THAT(names(module(*m_db, "TILE")->iter_nets()), ElementsAre("w", "o"));
}

TEST_F(FoldedModel, MembersOfANetStandInTheOrderOfTheModel) {
  const KEP_NET* n = port(*m_db, "TOP", "p")->get_net();
  EXPECT_THAT(names(n->iter_ports()), ElementsAre("p"));
  std::vector<std::string> members;
  for (const KEP_INST_PORT* each : n->iter_inst_ports())
    members.push_back(each->get_inst()->get_name(m_style) + "." + each->get_port()->get_name(m_style));
  EXPECT_THAT(members, ElementsAre("t.in", "t.out", "u.in"));
  EXPECT_EQ(n->get_num_ports(), 1U);
  EXPECT_EQ(n->get_num_inst_ports(), 3U);
}

TEST_F(FoldedModel, EquivalentsLeaveOutTheModuleAndTheViewOfAModuleGivesIt) {
  const KEP_MODULE* mux = module(*m_db, "MUX");
  EXPECT_EQ(mux->find_view(LOGICAL), mux);
  EXPECT_EQ(mux->find_view(BLC), module(*m_db, "MUX_BLC"));
  EXPECT_EQ(mux->find_view(VIEW_1), nullptr);
  EXPECT_EQ(mux->find_view(DEFAULT_VIEW), mux);
  EXPECT_EQ(module(*m_db, "MUX_BLC_2")->find_view(BLC), module(*m_db, "MUX_BLC_2"));
  EXPECT_THAT(mux->get_equivalent_modules(LOGICAL), IsEmpty());
  EXPECT_EQ(mux->get_num_equivalent_modules(LOGICAL), 0U);
  EXPECT_THAT(keys(mux->get_equivalent_modules(BLC)), ElementsAre("MUX_BLC", "MUX_BLC_2"));
  EXPECT_EQ(mux->get_num_equivalent_modules(BLC), 2U);
  EXPECT_THAT(keys(module(*m_db, "MUX_BLC")->get_equivalent_modules(BLC)), ElementsAre("MUX_BLC_2"));
  EXPECT_EQ(module(*m_db, "MUX_BLC")->get_num_equivalent_modules(BLC), 1U);
  EXPECT_THAT(mux->get_equivalent_modules(VIEW_1), IsEmpty());
  EXPECT_THAT(module(*m_db, "TILE")->get_equivalent_modules(BLC), IsEmpty()) << "a module without a group";
  EXPECT_EQ(module(*m_db, "TILE")->get_num_equivalent_modules(BLC), 0U);
}

TEST_F(FoldedModel, EqualIndicesLeadFromViewToView) {
  for (const KEP_PORT* each : module(*m_db, "MUX")->iter_ports()) {
    const KEP_PORT* like = module(*m_db, "MUX_BLC")->get_port_by_index(each->get_index());
    EXPECT_EQ(like->get_name(m_style), each->get_name(m_style));
    EXPECT_EQ(like->is_input(), each->is_input());
  }
}

TEST_F(FoldedModel, SlotsStandInstanceByInstanceWithThePlainMasterFirst) {
  const KEP_MODULE* tile = module(*m_db, "TILE");
  std::vector<std::string> found;
  for (unsigned i = 0; i != tile->get_num_slots(); ++i)
    found.push_back(std::to_string(tile->get_slots()[i].m_instance) +
                    tile->get_slots()[i].m_module->get_key());
  ASSERT_EQ(found.size(), 6U);
  EXPECT_EQ(found[0], "0MUX");
  EXPECT_EQ(found[3], "1MUX");
  EXPECT_THAT(
      found, testing::UnorderedElementsAre("0MUX", "0MUX_BLC", "0MUX_TWIN", "1MUX", "1MUX_BLC", "1MUX_TWIN"));
  EXPECT_EQ(module(*m_db, "ATOM")->get_size(), 1U);
  EXPECT_EQ(module(*m_db, "MUX_BLC")->get_size(), 2U);
  EXPECT_EQ(tile->get_size(), 1U + 2 * (1 + 2 + 1));
  EXPECT_TRUE(tile->is_inner());
  EXPECT_TRUE(module(*m_db, "MUX_BLC")->is_inner());
  EXPECT_FALSE(module(*m_db, "MUX")->is_inner());
}

TEST(ForeignModules, LieInADatabaseOfTheirOwn) {
  const auto db = make_db(R"(
    module LOCAL
    module FAR foreign name=far
      ports >a
      inst l DEEP
    module DEEP foreign
    module T top
      inst f FAR
      inst l LOCAL
  )");
  KEP_DB* far = module(*db, "FAR")->get_db();
  EXPECT_NE(far, db.get());
  ASSERT_NE(far, nullptr);
  EXPECT_EQ(module(*db, "DEEP")->get_db(), far);
  EXPECT_EQ(module(*db, "LOCAL")->get_db(), db.get());
  EXPECT_FALSE(instance(*db, "T", "f")->module_in_same_db());
  EXPECT_TRUE(instance(*db, "T", "l")->module_in_same_db());
  EXPECT_TRUE(instance(*db, "FAR", "l")->module_in_same_db()) << "the databases of the two are compared";
  EXPECT_THAT(names(db->iter_modules(true)), ElementsAre("LOCAL", "far", "DEEP", "T"));
  EXPECT_THAT(names(db->iter_modules(false)), ElementsAre("LOCAL", "T"));
  EXPECT_THAT(keys(db->find_modules("far", LOGICAL, true)), ElementsAre("FAR"));
  EXPECT_THAT(db->find_modules("far", LOGICAL, false), IsEmpty());
  EXPECT_THAT(keys(db->find_modules("LOCAL", LOGICAL, false)), ElementsAre("LOCAL"));
  EXPECT_EQ(far->get_routing_template_graph(), db->get_routing_template_graph());
  EXPECT_EQ(&far->get_unfolding(), &db->get_unfolding());
}

} // namespace folded_model_test
