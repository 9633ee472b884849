#include "tests/support/model_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace freeze_test {

using test_model::instance;
using test_model::make_db;
using test_model::module;
using test_model::port;
using test_model::TEXT_MODEL;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Why the model is refused; a model that is not fails the test.
std::string refusal(KEP_DB_BUILDER&& builder) {
  try {
    const std::unique_ptr<KEP_DB> db = KEP_DB_BUILDER::freeze(std::move(builder));
  } catch (const KEP_DB_ERROR& error) {
    const std::string text = error.what();
    EXPECT_THAT(text, Not(HasSubstr("\n"))) << "a reason is one line";
    return text;
  }
  ADD_FAILURE() << "the model was taken";
  return {};
}

std::string refusal(const char* text) {
  TEXT_MODEL model(text);
  return refusal(std::move(model.builder()));
}

KEP_MODULE_PROPERTIES as_top() {
  KEP_MODULE_PROPERTIES properties;
  properties.m_is_designated_top = true;
  return properties;
}

/// The modules 0 ... depth - 1, each with `width` instances of the one before; the last is the top.
KEP_DB_BUILDER nested(unsigned depth, unsigned width) {
  KEP_DB_BUILDER builder;
  KEP_MODULE_ID below{};
  for (unsigned level = 0; level != depth; ++level) {
    const KEP_MODULE_ID here = builder.add_module("L" + std::to_string(level), {});
    if (level)
      for (unsigned i = 0; i != width; ++i)
        builder.add_instance(here, "i" + std::to_string(i), below, {});
    below = here;
  }
  return builder;
}

TEST(Freeze, RefusesAKeyTwice) {
  KEP_DB_BUILDER builder;
  builder.add_module("SAME_KEY", as_top());
  builder.add_module("SAME_KEY", {});
  EXPECT_THAT(refusal(std::move(builder)), HasSubstr("SAME_KEY"));
}

TEST(Freeze, RefusesAPortTwice) {
  EXPECT_THAT(refusal("module TTT \n ports >ppp <ppp"), AllOf(HasSubstr("TTT"), HasSubstr("ppp")));
}

TEST(Freeze, RefusesAnInstanceTwice) {
  EXPECT_THAT(refusal("module AAA \n module TTT top \n inst iii AAA \n inst iii AAA"),
              AllOf(HasSubstr("TTT"), HasSubstr("iii")));
}

TEST(Freeze, TakesEqualNamesOfAPortAnInstanceAndANet) {
  EXPECT_NO_THROW(make_db("module A \n ports >x \n module T top \n ports >x \n inst x A \n net x x x.x"));
}

TEST(Freeze, TakesModulesOfEqualNameUnderDifferentKeys) {
  EXPECT_NO_THROW(make_db("module A name=n \n module T name=n top"));
}

TEST(Freeze, RefusesEmptyNames) {
  {
    KEP_DB_BUILDER builder;
    builder.add_module("", {});
    refusal(std::move(builder));
  }
  {
    KEP_DB_BUILDER builder;
    const KEP_MODULE_ID top = builder.add_module("TTT", {});
    builder.add_port(top, "", KEP_PORT_DIRECTION::INPUT);
    EXPECT_THAT(refusal(std::move(builder)), HasSubstr("TTT"));
  }
  {
    KEP_DB_BUILDER builder;
    const KEP_MODULE_ID master = builder.add_module("MMM", {});
    const KEP_MODULE_ID top = builder.add_module("TTT", {});
    builder.add_instance(top, "", master, {});
    EXPECT_THAT(refusal(std::move(builder)), HasSubstr("TTT"));
  }
}

TEST(Freeze, RefusesNamesThatHoldASeparator) {
  for (const char* name : {"a/b", "a:b", "/", ":", "end/", ":begin"}) {
    SCOPED_TRACE(name);
    {
      KEP_DB_BUILDER builder;
      KEP_MODULE_PROPERTIES properties;
      properties.m_name = name;
      builder.add_module("KKK", properties);
      EXPECT_THAT(refusal(std::move(builder)), HasSubstr(name));
    }
    {
      KEP_DB_BUILDER builder;
      builder.add_module(name, {});
      EXPECT_THAT(refusal(std::move(builder)), HasSubstr(name));
    }
    {
      KEP_DB_BUILDER builder;
      const KEP_MODULE_ID top = builder.add_module("TTT", {});
      builder.add_port(top, name, KEP_PORT_DIRECTION::INPUT);
      EXPECT_THAT(refusal(std::move(builder)), AllOf(HasSubstr("TTT"), HasSubstr(name)));
    }
    {
      KEP_DB_BUILDER builder;
      const KEP_MODULE_ID master = builder.add_module("MMM", {});
      const KEP_MODULE_ID top = builder.add_module("TTT", {});
      builder.add_instance(top, name, master, {});
      EXPECT_THAT(refusal(std::move(builder)), AllOf(HasSubstr("TTT"), HasSubstr(name)));
    }
  }
}

TEST(Freeze, RefusesANetWhoseNameIsEmptyOrHoldsASeparator) {
  for (const char* name : {"", "a/b", "a:b"}) {
    KEP_DB_BUILDER builder;
    const KEP_MODULE_ID top = builder.add_module("TTT", {});
    builder.add_port(top, "p", KEP_PORT_DIRECTION::INPUT);
    builder.add_port(top, "q", KEP_PORT_DIRECTION::INPUT);
    const KEP_NET_ID net = builder.add_net(top, name);
    builder.connect(top, 0, net);
    builder.connect(top, 1, net);
    EXPECT_THAT(refusal(std::move(builder)), AllOf(HasSubstr("TTT"), HasSubstr(name)));
  }
}

TEST(Freeze, TakesAnyOtherCharacterInAName) {
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID top = builder.add_module("T \\top[3].x", {});
  builder.add_port(top, "p[0]", KEP_PORT_DIRECTION::INPUT);
  builder.add_port(top, "%s", KEP_PORT_DIRECTION::INPUT);
  const auto db = KEP_DB_BUILDER::freeze(std::move(builder));
  EXPECT_NE(port(*db, "T \\top[3].x", "p[0]"), nullptr);
  EXPECT_NE(port(*db, "T \\top[3].x", "%s"), nullptr);
}

TEST(Freeze, RefusesAHierarchyThatContainsItself) {
  EXPECT_THAT(refusal("module TTT top \n inst iii TTT"), HasSubstr("TTT"));
  EXPECT_THAT(refusal(R"(
    module AAA
      inst bbb BBB
    module BBB
      inst aaa AAA
    module TTT top
      inst aaa AAA
  )"),
              testing::AnyOf(HasSubstr("AAA"), HasSubstr("BBB")));
}

TEST(Freeze, RefusesACycleThatTheTopDoesNotReach) {
  refusal("module A \n inst b B \n module B \n inst a A \n module T top");
}

TEST(Freeze, RefusesAHierarchyThatContainsItselfThroughAView) {
  EXPECT_THAT(refusal(R"(
    module AAA
      inst b BBB
    module BBB group=b
    module BBB_BLC group=b view=BLC
      inst a AAA
    module TTT top
      inst a AAA
  )"),
              testing::AnyOf(HasSubstr("AAA"), HasSubstr("BBB")));
}

TEST(Freeze, RefusesAModuleInsideItsOwnEquivalent) {
  refusal(R"(
    module A group=a
    module A_BLC group=a view=BLC
      inst a A
    module T top
      inst a A
  )");
}

TEST(Freeze, TakesAnEquivalentInsideAModuleThatNoInstanceCanLeadBackTo) {
  // An instance of A2 gives A2 itself in the logical view, and A1 has no other way down.
  const auto db = make_db(R"(
    module A2 group=a view=VIEW_1
    module LEAF
    module A1 group=a
      inst l LEAF
    module T top
      inst a A2
  )");
  EXPECT_EQ(instance(*db, "T", "a")->get_module(KEP_VIEW_TYPE::LOGICAL), module(*db, "A1"));
}

TEST(Freeze, RefusesAModelWithoutATop) {
  refusal(KEP_DB_BUILDER());
}

TEST(Freeze, RefusesSeveralTops) {
  EXPECT_THAT(refusal("module AAA top \n module BBB top"), AllOf(HasSubstr("AAA"), HasSubstr("BBB")));
  refusal("module A \n module B");
}

TEST(Freeze, TakesTheOneModuleThatNothingInstantiatesAsTheTop) {
  const auto db = make_db("module A \n module T \n inst b B \n inst a A \n module B \n inst a A");
  EXPECT_EQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW), module(*db, "T"));
}

TEST(Freeze, TakesADesignatedTopThatIsInstantiatedOrOneOfSeveralRoots) {
  const auto db = make_db("module A \n module T top \n inst a A \n module OTHER \n inst t T");
  EXPECT_EQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW), module(*db, "T"));
}

TEST(Freeze, RefusesEquivalentsWhosePortsDiffer) {
  const auto group = [](const std::string& ports, const char* view) {
    return "module T top \n module AAA group=ggg \n ports >x <y \n module BBB group=ggg view=" +
           std::string(view) + " \n ports " + ports;
  };
  for (const char* view : {"BLC", "LOGICAL_TWIN", "LOGICAL"})
    for (const char* ports : {">x", ">x <y >z", ">x <z", "<y >x", ">x >y", ">x =y"}) {
      SCOPED_TRACE(std::string(view) + " " + ports);
      EXPECT_THAT(refusal(group(ports, view).c_str()),
                  testing::AnyOf(HasSubstr("AAA"), HasSubstr("BBB"), HasSubstr("ggg")));
    }
  EXPECT_NO_THROW(make_db(group(">x <y", "BLC")));
  EXPECT_NO_THROW(make_db(group(">x <y", "LOGICAL")));
}

TEST(Freeze, RefusesADoublingHierarchyInWordsAndAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(refusal(nested(71, 2)), Not(testing::IsEmpty()));
  EXPECT_THAT(refusal(nested(65, 2)), Not(testing::IsEmpty())); // just past 64 bits
  EXPECT_THAT(refusal(nested(45, 2)), Not(testing::IsEmpty())); // numbers would do, memory would not
  EXPECT_THAT(refusal(nested(2000, 3)), Not(testing::IsEmpty()));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Freeze, RefusesWhatDoublesThroughViewsAndNotThroughInstances) {
  KEP_DB_BUILDER builder;
  KEP_MODULE_ID below{};
  for (unsigned level = 0; level != 70; ++level) {
    const std::string name = "L" + std::to_string(level);
    KEP_MODULE_PROPERTIES properties;
    properties.m_equivalents = name;
    properties.m_is_designated_top = level == 69;
    const KEP_MODULE_ID here = builder.add_module(name, properties);
    properties.m_view_type = KEP_VIEW_TYPE::BLC;
    properties.m_is_designated_top = false;
    const KEP_MODULE_ID blc = builder.add_module(name + "_BLC", properties);
    if (level)
      for (const KEP_MODULE_ID parent : {here, blc})
        builder.add_instance(parent, "i", below, {});
    below = here;
  }
  EXPECT_THAT(refusal(std::move(builder)), Not(testing::IsEmpty()));
}

TEST(Freeze, TakesAHierarchyOf2048LevelsAndRefusesADeeperOne) {
  const auto db = KEP_DB_BUILDER::freeze(nested(2048, 1));
  EXPECT_EQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW)->get_size(), 2048U);
  EXPECT_EQ(refusal(nested(2049, 1)),
            "modules.L2048: the hierarchy from here down has 2049 levels, more than "
            "the 2048 that a model can have");
  EXPECT_EQ(refusal(nested(200000, 1)),
            "modules.L199999: the hierarchy from here down has 200000 levels, more "
            "than the 2048 that a model can have");
}

TEST(Freeze, TellsHowManyOccurrencesAreTooMany) {
  // 31 levels with contents, each twice in the one above, and one entry above the top.
  EXPECT_THAT(refusal(nested(32, 2)),
              testing::MatchesRegex(
                  "modules: the unfolded hierarchy has 2147483648 occurrences of modules with contents, "
                  "more than the (2147483647 that can be numbered|[0-9]+ that the memory of this "
                  "machine holds)"));
  EXPECT_THAT(refusal(nested(70, 2)), HasSubstr("has more than 2^64 occurrences"));
}

TEST(Freeze, NamesThatHoldANulAreRefusedAtOnce) {
  using namespace std::string_view_literals;
  KEP_DB_BUILDER builder;
  const KEP_MODULE_ID top = builder.add_module("TOP", as_top());
  const auto refusal_of = [](const auto& add) -> std::string {
    try {
      add();
    } catch (const KEP_DB_ERROR& error) {
      return error.what();
    }
    return "taken";
  };
  const std::string refused = "the name that begins \"x\" holds a NUL";
  EXPECT_EQ(refusal_of([&] { builder.add_module("x\0y"sv, {}); }), refused);
  EXPECT_EQ(refusal_of([&] { builder.add_port(top, "x\0y"sv, KEP_PORT_DIRECTION::INPUT); }), refused);
  EXPECT_EQ(refusal_of([&] { builder.add_instance(top, "x\0y"sv, top, {}); }), refused);
  EXPECT_EQ(refusal_of([&] { builder.add_net(top, "x\0"sv); }), refused);
  EXPECT_EQ(refusal_of([&] { builder.add_net(top, "x"); }), "taken");
}

TEST(Freeze, RefusesControlCharactersInNames) {
  for (const std::string bad : {"a\tb", "a\nb", "a\rb", "\x1b[1m", "a\x7f", "a\xc2\x85"}) {
    const std::string reason = "the name \"" + bad + "\" holds a control character";
    const auto refuses = [&](const char* place, const auto& name_one) {
      KEP_DB_BUILDER builder;
      const KEP_MODULE_ID leaf = builder.add_module("LEAF", {});
      builder.add_port(leaf, "p", KEP_PORT_DIRECTION::INPUT);
      const KEP_MODULE_ID top = builder.add_module("TOP", as_top());
      name_one(builder, leaf, top);
      try {
        KEP_DB_BUILDER::freeze(std::move(builder));
        ADD_FAILURE() << place << " was taken";
      } catch (const KEP_DB_ERROR& error) {
        EXPECT_EQ(error.what(), std::string("modules.") + place + ": " + reason);
      }
    };
    refuses("LEAF.ports", [&](KEP_DB_BUILDER& builder, KEP_MODULE_ID leaf, KEP_MODULE_ID) {
      builder.add_port(leaf, bad, KEP_PORT_DIRECTION::INPUT);
    });
    refuses("TOP.cells", [&](KEP_DB_BUILDER& builder, KEP_MODULE_ID leaf, KEP_MODULE_ID top) {
      builder.add_instance(top, bad, leaf, {});
    });
    refuses("TOP.netnames", [&](KEP_DB_BUILDER& builder, KEP_MODULE_ID leaf, KEP_MODULE_ID top) {
      builder.connect(top, builder.add_instance(top, "i", leaf, {}), 0, builder.add_net(top, bad));
    });
    refuses("KEY", [&](KEP_DB_BUILDER& builder, KEP_MODULE_ID, KEP_MODULE_ID) {
      KEP_MODULE_PROPERTIES properties;
      properties.m_name = bad;
      builder.add_module("KEY", properties);
    });
  }
  EXPECT_NO_THROW(make_db("module \xc3\xa4\xe2\x82\xac top")) << "what lies beyond ASCII is a letter";
}

TEST(Freeze, NeedsADesignatedTopWhereAnEquivalentIsTheMasterOfNothing) {
  const std::string model = R"(
    module A group=a
    module A_BLC group=a view=BLC
    module T %
      inst a A
  )";
  std::string designated = model;
  designated.replace(model.find('%'), 1, "top");
  std::string undesignated = model;
  undesignated.replace(model.find('%'), 1, "");
  EXPECT_THAT(refusal(undesignated.c_str()), AllOf(HasSubstr("A_BLC"), HasSubstr("T")));
  const auto db = make_db(designated);
  EXPECT_EQ(db->get_top_module(KEP_VIEW_TYPE::DEFAULT_VIEW), module(*db, "T"));
}

} // namespace freeze_test
