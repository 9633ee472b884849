#include "kep/kep_routing_graph.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_relative_paths.h"
#include "tests/support/failure_text.h"
#include "tests/support/named_model.h"
#include "tests/support/ports_below.h"
#include "tests/support/random_model.h"
#include "tests/support/seeds.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace wire_paths_test {

using test_model::for_each_port_below;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;
using testing::ElementsAre;
using testing::IsEmpty;

const KEP_VIEW_TYPE_RANK RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);

std::string name_of(const KEP_DB& db, const KEP_RELATIVE_PATH& path) {
  std::string name;
  for (const KEP_INSTANCE* instance : path.get_instances(&db))
    name += (name.empty() ? "" : "/") + std::string(instance->get_plain_name());
  return name + ":" + path.get_port(&db)->get_plain_name();
}

/// The paths that a table stores for a module, in order.
std::vector<std::string> stored(const KEP_DB& db, const char* table, const KEP_MODULE* module) {
  std::vector<std::string> names;
  const KEP_INDEXED_RELATIVE_PATHS paths = db.get_relative_paths(table);
  if (!paths.valid()) return {"no table"};
  const KEP_MODULE_RELATIVE_PATH_MAP map = paths.find_path_mappings_for_module(module);
  if (!map.exists()) return {"no entry"};
  for (std::size_t i = 0; i != map.size(); ++i)
    names.push_back(name_of(db, map.get_path(i)->get_path()));
  return names;
}

/// ROOT holds two cells, each of two leaves; the ports of all three are of all directions.
std::string device(const std::string& type) {
  return R"(
  module LEAF
    ports >i <o =b
  module CELL
    ports >i <o =b
    inst l LEAF
    inst k LEAF
  module ROOT ip_root
    ports >i <o =b
    inst c CELL
    inst d CELL
  module ROOT_2 ip_root
    ports <o
  module ROOT_BLC view=BLC ip_root name=ROOT
    ports <o
  module LOOSE
    ports <o
  module TOP top type=)" +
         type + R"(
    inst r ROOT
  )";
}

class WirePaths : public testing::Test {
protected:
  explicit WirePaths(const std::string& text = device("2")) : m_model(text) {}

  KEP_ROUTING_PRIMITIVE* store() const {
    return m_model.db()->get_routing_template_graph()->get_routing_primitive();
  }
  void root(const char* key) const { store()->add_routing_root(m_model.module(key)); }
  /// A wire type for the port of that text below the module.
  void wire(const char* module, const std::string& text) const {
    KEP_RG_RELATIVE_PORT port;
    ASSERT_TRUE(port.parse(m_model.module(module), text, RANK, nullptr)) << text;
    store()->add_wire_type(KEP_RELATIVE_PATH::create(*port.get_instances(), port.get_port()), "w", 0);
  }
  /// What the store reports.
  std::string report() const {
    KEP_REPORT_CAPTURE capture;
    kep_rg_store_relative_routing_wire_paths(m_model.db());
    return capture.text(KEP_REPORT::STREAM::INFO);
  }
  /// What it reports before it fails, and the failure.
  std::string failed_report(std::string& failure) const {
    KEP_REPORT_CAPTURE capture;
    failure = failure_text([&] { kep_rg_store_relative_routing_wire_paths(m_model.db()); });
    return capture.text(KEP_REPORT::STREAM::INFO);
  }
  std::vector<std::string> paths(const char* module) const {
    return stored(*m_model.db(), "routing_crf", m_model.module(module));
  }

  const NAMED_MODEL m_model;
};

class WirePathsWithoutRedundancy : public WirePaths {
protected:
  WirePathsWithoutRedundancy() : WirePaths(device("0")) {}
};

const char* const ADDED_TO_DB =
    "Routing wires relative paths have already been added to the DB from function "
    "kep_rg_store_relative_routing_wire_paths in kep_rg/kep_rg_parse.cpp@LINE";
const char* const ADDED_FOR_ROOT =
    "Routing wires relative paths have already been added for routing root ROOT from function "
    "kep_rg_store_relative_routing_wire_paths in kep_rg/kep_rg_parse.cpp@LINE";

TEST_F(WirePaths, StoreAWireThatHasItsTypeFromTheRoot) {
  root("ROOT");
  wire("ROOT", "c/k:o");
  EXPECT_EQ(report(), "Adding 1 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre("c/k:o"));
}

TEST_F(WirePaths, StoreAWireThatHasItsTypeInTheModuleOfANestedInstanceAtEveryPlaceWithItsFullChain) {
  root("ROOT");
  wire("LEAF", "o");
  EXPECT_EQ(report(), "Adding 4 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre("c/l:o", "c/k:o", "d/l:o", "d/k:o"));
}

TEST_F(WirePaths, DoNotStoreAWireThatHasItsTypeFromAModuleInBetween) {
  root("ROOT");
  wire("CELL", "l:o");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
}

TEST_F(WirePaths, NeverStoreAnInput) {
  root("ROOT");
  for (const char* text : {"i", "c:i", "c/k:i"})
    wire("ROOT", text);
  wire("LEAF", "i");
  wire("CELL", "i");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre("no entry"));
}

TEST_F(WirePaths, StandPortsBeforeInstancesAndEachInTheOrderOfTheModel) {
  root("ROOT");
  for (const char* module : {"LEAF", "CELL", "ROOT"})
    for (const char* port : {"b", "o", "i"})
      wire(module, port);
  EXPECT_EQ(report(), "Adding 14 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o", ":b", "c:o", "c:b", "c/l:o", "c/l:b", "c/k:o", "c/k:b", "d:o",
                                         "d:b", "d/l:o", "d/l:b", "d/k:o", "d/k:b"));
}

TEST_F(WirePaths, AreStoredOnceWhereBothTheRootAndTheModuleGiveAType) {
  root("ROOT");
  wire("LEAF", "o");
  wire("ROOT", "c/l:o");
  wire("ROOT", "o");
  EXPECT_EQ(report(), "Adding 5 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o", "c/l:o", "c/k:o", "d/l:o", "d/k:o"));
}

TEST_F(WirePaths, AreToldForARootWithoutWiresTooWhichGetsNoEntry) {
  root("ROOT");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre("no entry"));
  EXPECT_THAT(m_model.db()->get_relative_paths("routing_crf").get_modules(), IsEmpty());
}

TEST_F(WirePaths, PassOverARootOfTheBlcViewSilently) {
  root("ROOT_BLC");
  root("ROOT");
  wire("ROOT_BLC", "o");
  wire("ROOT", "o");
  EXPECT_EQ(report(), "Adding 1 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT_BLC"), ElementsAre("no entry"));
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o"));
}

TEST_F(WirePaths, GoFromRootToRootInTheirOrderAndStartAfreshAtEach) {
  root("ROOT_2");
  root("ROOT");
  wire("ROOT_2", "o");
  wire("ROOT", "c:o");
  wire("ROOT", "b");
  EXPECT_EQ(report(), "Adding 1 wire paths for ROOT_2\nAdding 2 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT_2"), ElementsAre(":o"));
  EXPECT_THAT(paths("ROOT"), ElementsAre(":b", "c:o"));
  EXPECT_THAT(m_model.db()->get_relative_paths("routing_crf").get_modules(),
              ElementsAre(m_model.module("ROOT_2"), m_model.module("ROOT")));
}

TEST_F(WirePaths, MakeTheTableEvenWithoutARoot) {
  EXPECT_EQ(report(), "");
  EXPECT_TRUE(m_model.db()->get_relative_paths("routing_crf").valid());
}

TEST_F(WirePaths, AreRefusedASecondTimeWhateverTheFirstTimeStored) {
  root("ROOT");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
  std::string failure;
  EXPECT_EQ(failed_report(failure), "");
  EXPECT_EQ(failure, ADDED_TO_DB);
}

TEST_F(WirePaths, AreRefusedWhereTheTableIsThereAlready) {
  root("ROOT");
  wire("ROOT", "o");
  m_model.db()->find_or_create_relative_paths("routing_crf");
  std::string failure;
  failed_report(failure);
  EXPECT_EQ(failure, ADDED_TO_DB);
  EXPECT_THAT(paths("ROOT"), ElementsAre("no entry"));
}

TEST_F(WirePathsWithoutRedundancy, AreRefusedASecondTimeForARootWithWires) {
  root("ROOT_2");
  root("ROOT");
  wire("ROOT", "o");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT_2\nAdding 1 wire paths for ROOT\n");
  std::string failure;
  EXPECT_EQ(failed_report(failure), "Adding 0 wire paths for ROOT_2\nAdding 1 wire paths for ROOT\n");
  EXPECT_EQ(failure, ADDED_FOR_ROOT);
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o"));
}

TEST_F(WirePathsWithoutRedundancy, MayBeStoredAgainForRootsWithoutWires) {
  root("ROOT");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
  EXPECT_EQ(report(), "Adding 0 wire paths for ROOT\n");
  wire("ROOT", "o");
  EXPECT_EQ(report(), "Adding 1 wire paths for ROOT\n");
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o"));
}

TEST_F(WirePaths, AreRefusedForARootThatIsNoIpRootAndKeepWhatCameBefore) {
  root("ROOT");
  root("LOOSE");
  root("ROOT_2");
  for (const char* module : {"ROOT", "LOOSE", "ROOT_2"})
    wire(module, "o");
  std::string failure;
  EXPECT_EQ(failed_report(failure), "Adding 1 wire paths for ROOT\n");
  EXPECT_EQ(failure, "Expecting routing root logical module from function "
                     "PARSE_UTILS::BUILD_MODULE_RELATIVE_PORTS::add_wires in kep_rg/kep_rg_parse.cpp@LINE");
  EXPECT_THAT(paths("ROOT"), ElementsAre(":o"));
  EXPECT_THAT(paths("ROOT_2"), ElementsAre("no entry"));
}

TEST(WirePathsOfViews, GoThroughPlainMastersAtIpRootsToo) {
  const NAMED_MODEL model(R"(
    module LEAF
      ports <o
    module INNER ip_root group=inner
      ports <o
      inst plain LEAF
    module INNER_BLC view=BLC group=inner ip_root
      ports <o
      inst u LEAF
    module ROOT ip_root
      inst n INNER
    module TOP top
      inst r ROOT
  )");
  KEP_ROUTING_PRIMITIVE* const store = model.db()->get_routing_template_graph()->get_routing_primitive();
  store->add_routing_root(model.module("ROOT"));
  for (const char* port : {"LEAF:o", "INNER:o", "INNER_BLC:o"})
    store->add_wire_type(KEP_RELATIVE_PATH::create({}, model.port(port)), "w", 0);
  KEP_REPORT_CAPTURE capture;
  kep_rg_store_relative_routing_wire_paths(model.db());
  EXPECT_THAT(stored(*model.db(), "routing_crf", model.module("ROOT")), ElementsAre("n:o", "n/plain:o"));
}

// --- groups -----------------------------------------------------------------------------------------------

class IndexedRelativePaths : public WirePaths {
protected:
  KEP_RG_MODULE_RELATIVE_PORTS group(const char* module, const std::vector<std::string>& texts) const {
    KEP_RG_MODULE_RELATIVE_PORTS ports;
    for (const std::string& text : texts) {
      KEP_RG_RELATIVE_PORT port;
      EXPECT_TRUE(port.parse(m_model.module(module), text, RANK, nullptr)) << text;
      ports.add(&port);
    }
    return ports;
  }
  KEP_INDEXED_RELATIVE_PATHS table() const {
    return m_model.db()->find_or_create_relative_paths("redundancy");
  }
  std::vector<std::string> redundant(const char* module) const {
    return stored(*m_model.db(), "redundancy", m_model.module(module));
  }
};

TEST_F(IndexedRelativePaths, TakeAGroupInItsOrderForItsTop) {
  KEP_INDEXED_RELATIVE_PATHS paths = table();
  KEP_RG_MODULE_RELATIVE_PORTS ports = group("ROOT", {"d/k:i", "c:o", "b", "c/l:i"});
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  EXPECT_THAT(redundant("ROOT"), ElementsAre("d/k:i", "c:o", ":b", "c/l:i"));
  EXPECT_THAT(redundant("CELL"), ElementsAre("no entry"));
  EXPECT_EQ(ports.size(), 4U);
}

TEST_F(IndexedRelativePaths, AddUpAndStoreAPathOnceThatComesAgain) {
  KEP_INDEXED_RELATIVE_PATHS paths = table();
  KEP_RG_MODULE_RELATIVE_PORTS ports = group("ROOT", {"c:o", "c:o", "d:o"});
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  EXPECT_THAT(redundant("ROOT"), ElementsAre("c:o", "d:o"));
  ports = group("ROOT", {"d:o", "c:b"});
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  EXPECT_THAT(redundant("ROOT"), ElementsAre("c:o", "d:o", "c:b"));
}

TEST_F(IndexedRelativePaths, KeepModulesApart) {
  KEP_INDEXED_RELATIVE_PATHS paths = table();
  KEP_RG_MODULE_RELATIVE_PORTS ports = group("ROOT", {"c:o"});
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  ports = group("CELL", {"l:i"});
  kep_rg_indexed_relative_paths_add_to(&paths, &ports);
  EXPECT_THAT(redundant("ROOT"), ElementsAre("c:o"));
  EXPECT_THAT(redundant("CELL"), ElementsAre("l:i"));
}

// --- random models ----------------------------------------------------------------------------------------

using CHAIN = std::vector<KEP_INSTANCE*>;
using WIRE_TYPES = std::vector<std::pair<CHAIN, KEP_PORT*>>;

WIRE_TYPES add_types_at_random(KEP_DB& db, RANDOM_SOURCE& random) {
  KEP_ROUTING_PRIMITIVE* const store = db.get_routing_template_graph()->get_routing_primitive();
  WIRE_TYPES types;
  for (KEP_MODULE* module : db.iter_modules(true))
    for_each_port_below(module, [&](const CHAIN& chain, KEP_PORT* port) {
      if (!random.percent(15)) return;
      types.emplace_back(chain, port);
      store->add_wire_type(KEP_RELATIVE_PATH::create(chain, port), "w", 0);
    });
  return types;
}

/// The paths that a root must have, each port below it held against all types.
std::vector<std::string> naive_paths(const KEP_DB& db, KEP_MODULE* root, const WIRE_TYPES& types,
                                     std::size_t& num_from_root) {
  std::vector<std::string> names;
  if (root->get_view_type() == KEP_VIEW_TYPE::BLC) return names;
  for_each_port_below(root, [&](const CHAIN& chain, KEP_PORT* port) {
    if (port->is_input()) return;
    bool is_wire = false;
    bool is_from_root = false;
    for (const auto& [type_chain, type_port] : types) {
      if (type_port != port) continue;
      is_wire |= type_chain.empty() || type_chain == chain;
      is_from_root |= !chain.empty() && type_chain == chain;
    }
    if (!is_wire) return;
    names.push_back(name_of(db, KEP_RELATIVE_PATH::create(chain, port)));
    num_from_root += is_from_root;
  });
  return names;
}

TEST(WirePathsRandom, AreThoseThatACheckOfEveryPlaceFinds) {
  std::size_t num_found = 0;
  std::size_t num_from_root = 0;
  for (const std::uint64_t seed : SEEDS(1, 400)) {
    const std::unique_ptr<KEP_DB> db = test_model::make_random_db(seed);
    RANDOM_SOURCE random(seed);
    const WIRE_TYPES types = add_types_at_random(*db, random); // first all of them, then what they come to
    std::vector<std::pair<KEP_MODULE*, std::vector<std::string>>> expected;
    for (KEP_MODULE* module : db->iter_modules(true)) {
      if (!module->has_trait(KEP_MODULE::TRAIT::IP_ROOT)) continue;
      db->get_routing_template_graph()->get_routing_primitive()->add_routing_root(module);
      expected.emplace_back(module, naive_paths(*db, module, types, num_from_root));
    }
    {
      KEP_REPORT_CAPTURE capture;
      kep_rg_store_relative_routing_wire_paths(db.get());
    }
    for (auto& [root, names] : expected) {
      num_found += names.size();
      if (names.empty()) names = {"no entry"};
      EXPECT_EQ(stored(*db, "routing_crf", root), names);
    }
    if (HasFailure()) FAIL() << test_model::describe(*db);
  }
  EXPECT_GT(num_found, 300U);
  EXPECT_GT(num_from_root, 50U);
}

} // namespace wire_paths_test
