// What a reader of descriptions tells though it carries the statement out.

#include "tests/support/routing_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace routing_warning_test {

using testing::ElementsAre;
using testing::IsEmpty;

std::string edge(const std::string& module, const std::string& input, const std::string& output) {
  return R"({"op": "add_port_edge", "module": ")" + module + R"(", "input": ")" + input +
         R"(", "output": ")" + output + "\"}\n";
}

std::vector<std::string> warnings(ROUTED_DEVICE& device, const std::string& text) {
  return kep_read_routing_text(device.db(), device.parse(), text, "r.jsonl");
}

TEST(RoutingWarning, NamesTheLineOfAnArcFromAnOutputToAnInputAndCarriesItOut) {
  ROUTED_DEVICE device;
  EXPECT_THAT(
      warnings(device, "# arcs\n" + edge("MUX", "i[0]", "o") + edge("MUX", "o", "i[1]")),
      ElementsAre("r.jsonl:3: the arc goes from an output to an input of module \"MUX\": from \"o\" to "
                  "\"i[1]\""));
  EXPECT_EQ(device.muxes("MUX"), "( i[0]>o o>i[1] )");
}

TEST(RoutingWarning, TellsWhichEndOfAnArcIsTheWrongOne) {
  ROUTED_DEVICE device;
  EXPECT_THAT(warnings(device, edge("MUX", "i[0]", "i[1]") + edge("MUX", "o", "o")),
              ElementsAre("r.jsonl:1: the arc ends at \"i[1]\", an input of module \"MUX\"",
                          "r.jsonl:2: the arc begins at \"o\", an output of module \"MUX\""));
}

TEST(RoutingWarning, BidirectionalPortsGoBothWays) {
  ROUTED_DEVICE device;
  EXPECT_THAT(warnings(device, edge("TILE", "w", "w") + edge("TILE", "m", "w")), IsEmpty());
  EXPECT_THAT(warnings(device, edge("TILE", "w", "m")),
              ElementsAre("r.jsonl:1: the arc ends at \"m\", an input of module \"TILE\""));
}

TEST(RoutingWarning, OfManyTellsTheFirstFiveAndHowManyMore) {
  ROUTED_DEVICE device;
  std::string text;
  for (int i = 0; i != 5; ++i)
    text += edge("MUX", "o", "i[0]");
  EXPECT_EQ(warnings(device, text).size(), 5U);
  text += edge("MUX", "o", "i[0]");
  const std::vector<std::string> six = warnings(device, text);
  ASSERT_EQ(six.size(), 6U);
  EXPECT_EQ(six[5], "r.jsonl: 1 more arc begins at an output or ends at an input");
  const std::vector<std::string> seven = warnings(device, text + edge("MUX", "o", "i[1]"));
  ASSERT_EQ(seven.size(), 6U);
  EXPECT_EQ(seven[5], "r.jsonl: 2 more arcs begin at an output or end at an input");
}

TEST(RoutingWarning, StaysOnOneLineWhateverTheFileIsCalled) {
  ROUTED_DEVICE device;
  EXPECT_THAT(kep_read_routing_text(device.db(), device.parse(), edge("MUX", "o", "o"), "a\nb"),
              ElementsAre("a\\u000ab:1: the arc begins at \"o\", an output of module \"MUX\""));
}

TEST(RoutingWarning, ARefusalOfTheOperationGivesItsReasonWithoutAPlaceInTheSource) {
  ROUTED_DEVICE device;
  EXPECT_EQ(device.refusal(R"({"op": "set_skip_paths", "module": "MUX", "skip": true})"),
            "r.jsonl:1: No port edges exist for module MUX(logical)");
}

} // namespace routing_warning_test
