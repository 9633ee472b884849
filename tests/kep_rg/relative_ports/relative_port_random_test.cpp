#include "kep_rg/kep_rg_relative_port.h"
#include "tests/support/naive_hierarchy.h"
#include "tests/support/named_model.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace relative_port_random_test {

/// Relative ports against a naive reader, in random hierarchies and on random texts.

using test_model::RANDOM_SOURCE;
using test_model::SEEDS;

KEP_MODULE* inside(KEP_MODULE* module, const KEP_VIEW_TYPE_RANK& rank) {
  return module->has_trait(KEP_MODULE::TRAIT::IP_ROOT) ? test_model::naive_view(module, rank) : module;
}

const KEP_VIEW_TYPE_RANK RANKS[] = {
    KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL),
    KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL),
    KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::VIEW_1, KEP_VIEW_TYPE::BLC),
    KEP_VIEW_TYPE_RANK(),
};

/// Calls `visit(chain, port)` for every port that can be named below `top`.
void each_port(KEP_MODULE* top, const KEP_VIEW_TYPE_RANK& rank, const auto& visit) {
  std::vector<KEP_INSTANCE*> chain;
  const std::function<void(KEP_MODULE*)> descend = [&](KEP_MODULE* plain) {
    KEP_MODULE* const module = inside(plain, rank);
    KEP_MODULE* const owner = chain.empty() ? module : plain;
    if (owner)
      for (KEP_PORT* port : owner->iter_ports())
        visit(chain, port);
    if (!module) return; // the rank has no view of this IP root: no instance can be named in it
    for (KEP_INSTANCE* instance : module->iter_instances()) {
      chain.push_back(instance);
      descend(instance->get_module());
      chain.pop_back();
    }
  };
  descend(top);
}

TEST(RelativePortRandom, ReadsEveryPortBelowEveryModuleBackFromItsName) {
  std::size_t read = 0;
  std::size_t through_ip_root = 0;
  for (const std::uint64_t seed : SEEDS(1, 150)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    for (KEP_MODULE* top : db->iter_modules(true))
      for (const KEP_VIEW_TYPE_RANK& rank : RANKS)
        each_port(top, rank, [&](const std::vector<KEP_INSTANCE*>& chain, KEP_PORT* port) {
          KEP_RG_RELATIVE_PORT made;
          for (KEP_INSTANCE* instance : chain)
            made.add(instance, rank);
          made.add(port);
          KEP_RG_RELATIVE_PORT back;
          ASSERT_TRUE(back.parse(top, made.get_name(), rank, nullptr)) << made.get_name();
          ASSERT_EQ(back, made) << made.get_name();
          ASSERT_EQ(back.hash(), made.hash());
          ASSERT_EQ(back.get_name(), made.get_name());
          ASSERT_EQ(back.get_top(), inside(top, rank));
          ++read;
          through_ip_root += chain.size() > 1 && chain[0]->get_module() != chain[1]->get_parent();
        });
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(read, 20000U);
  EXPECT_GT(through_ip_root, 500U);
}

/// What a text says below `top`: all segments but the last name instances, the last a port and no instance.
bool naive_parse(KEP_MODULE* top, const std::string& text, const KEP_VIEW_TYPE_RANK& rank,
                 std::vector<KEP_INSTANCE*>& chain, KEP_PORT*& port) {
  std::vector<std::string> segments(1);
  for (const char each : text)
    if (each == '/' || each == ':')
      segments.emplace_back();
    else
      segments.back() += each;
  std::erase(segments, "");
  if (segments.empty()) return false;
  KEP_MODULE* plain = top;
  for (std::size_t i = 0; i + 1 != segments.size(); ++i) {
    KEP_MODULE* const module = inside(plain, rank);
    KEP_INSTANCE* const found = module ? module->find_instance(segments[i]) : nullptr;
    if (!found) return false;
    chain.push_back(found);
    plain = found->get_module();
  }
  KEP_MODULE* const module = inside(plain, rank);
  if (module && module->find_instance(segments.back())) return false;
  KEP_MODULE* const owner = chain.empty() ? module : plain;
  port = owner ? owner->find_port(segments.back()) : nullptr;
  return port != nullptr;
}

/// Instances, ports and others in a row, joined by separators.
std::string any_text(RANDOM_SOURCE& random) {
  static const std::vector<std::string> PARTS{"i0", "i1", "i2", "p0",   "p1", "p2",
                                              "i0", "i1", "i",  "i0\r", "\""};
  std::string text;
  for (unsigned left = random.below(5); left != 0; --left) {
    text += random.percent(10) ? "" : random.pick(PARTS);
    text += random.percent(5) ? "//:" : random.percent(50) ? ":" : "/";
  }
  if (random.percent(80)) text += "p" + std::to_string(random.below(3));
  return text;
}

TEST(RelativePortRandom, ReadsWhatANaiveReaderReadsFromTextsThatAreMostlyWrong) {
  std::size_t good = 0;
  std::size_t bad = 0;
  for (const std::uint64_t seed : SEEDS(1, 150)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    const auto modules = db->iter_modules(true);
    const std::vector<KEP_MODULE*> tops(modules.begin(), modules.end());
    KEP_RG_RELATIVE_PORT port;
    for (unsigned i = 0; i != 300; ++i) {
      const std::string text = any_text(random);
      KEP_MODULE* const top = random.pick(tops);
      const KEP_VIEW_TYPE_RANK& rank = RANKS[random.below(std::size(RANKS))];
      std::vector<KEP_INSTANCE*> chain;
      KEP_PORT* wanted = nullptr;
      const bool is_good = naive_parse(top, text, rank, chain, wanted);
      EXPECT_EQ(port.parse(top, text, rank, nullptr), is_good) << text;
      EXPECT_EQ(port.get_port(), wanted) << text;
      if (is_good) {
        EXPECT_EQ(*port.get_instances(), chain) << text;
      }
      ++(is_good ? good : bad);
    }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(good, 5000U);
  EXPECT_GT(bad, 5000U);
}

TEST(RelativePortRandom, ReadsRandomBytesWithoutHarm) {
  const NAMED_MODEL model(R"(
    module LEAF
      ports >p <q
    module MID
      ports >p <q =x
      inst x LEAF
    module IP ip_root group=ip
      ports >p
    module IP_BLC view=BLC group=ip ip_root
      ports >p
      inst u LEAF
    module TOP top
      ports >a >p
      inst a MID
      inst l LEAF
      inst i IP
  )");
  RANDOM_SOURCE random(7);
  const std::string favoured("/::a/xpq\0iul ", 13);
  KEP_RG_RELATIVE_PORT port;
  std::size_t good = 0;
  for (unsigned i = 0; i != 20000; ++i) {
    std::string text(random.below(12), ' ');
    for (char& each : text)
      each =
          random.percent(70) ? favoured[random.below(favoured.size())] : static_cast<char>(random.below(256));
    std::vector<KEP_INSTANCE*> chain;
    KEP_PORT* wanted = nullptr;
    const bool is_good = naive_parse(model.module("TOP"), text, RANKS[0], chain, wanted);
    ASSERT_EQ(port.parse(model.module("TOP"), text, RANKS[0], nullptr), is_good)
        << testing::PrintToString(text);
    ASSERT_EQ(port.get_port(), wanted);
    good += is_good;
  }
  EXPECT_GT(good, 100U);
}

TEST(RelativePortRandom, ReadsAVeryLongText) {
  const NAMED_MODEL model("module TOP top\n ports >p\n inst a LEAF\nmodule LEAF\n ports >p\n");
  KEP_RG_RELATIVE_PORT port;
  const std::string separators(1 << 20, '/');
  EXPECT_TRUE(
      port.parse(model.module("TOP"), separators + "a" + separators + "p" + separators, RANKS[0], nullptr));
  EXPECT_EQ(port.get_name(), "a:p");
  EXPECT_FALSE(port.parse(model.module("TOP"), std::string(1 << 20, 'a'), RANKS[0], nullptr));
}

} // namespace relative_port_random_test
