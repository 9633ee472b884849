// Tables of a graph that lead nowhere where only some ways of reading look.

#include "kep/graph/kep_mux_input_word.h"
#include "kep/persistence/kep_database_lister.h"
#include "kep/persistence/kep_database_restorer.h"
#include "tests/support/graph_text.h"
#include "tests/support/two_tiles.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace damaged_graph_tables_test {

/// In each tile one mux drives the other; no boundary node stands at place 0.
class DamagedGraphTables : public test_model::TwoTiles {
protected:
  DamagedGraphTables() {
    test_model::GRAPH_BUILD build(*m_db);
    for (const char* name : {"t/m:z", "t/k:z", "u/m:z", "u/k:z"})
      build.add(name);
    build.sort();
    build.set(build.find("t/m:z"), {{build.find("t/k:z"), {}}});
    build.set(build.find("u/m:z"), {{build.find("u/k:z"), {}}});
    build.publish();
  }

  KEP_DATABASE_TABLES list() const { return KEP_DATABASE_LISTER(*m_db).list(); }

  /// Why they are refused, "" if they are not.
  static std::string refusal(const KEP_DATABASE_TABLES& tables) {
    try {
      KEP_DATABASE_RESTORER(tables, nullptr).restore();
    } catch (const KEP_DB_ERROR& error) {
      return error.what();
    }
    return "";
  }

  template <class T>
  static void set(KEP_TABLE<T>& table, std::size_t at, T value) {
    std::vector<T> values(table.begin(), table.end());
    values.at(at) = value;
    table = std::move(values);
  }
};

TEST_F(DamagedGraphTables, AreRestoredWhereNothingIsDamaged) {
  const KEP_DATABASE_TABLES tables = list();
  const auto db = KEP_DATABASE_RESTORER(tables, nullptr).restore();
  EXPECT_EQ(test_model::whole_graph(*db), test_model::whole_graph(*m_db));
}

TEST_F(DamagedGraphTables, AreRefusedWhereTheNumberBehindTheLastNodeIsNoShape) {
  KEP_DATABASE_TABLES tables = list();
  KEP_TABLE<unsigned char>& shapes = tables.m_graph.m_shapes_of_nodes;
  const std::size_t behind_last = shapes.size() - 4;
  set<unsigned char>(shapes, behind_last, 0xff);
  EXPECT_EQ(refusal(tables), "graph: a shape is not there") << "whoever visits edges looks one node ahead";
}

TEST_F(DamagedGraphTables, AreRefusedWhereAPlaceWithoutNodesHasAPageThatIsNotThere) {
  KEP_DATABASE_TABLES tables = list();
  ASSERT_EQ(tables.m_graph.m_first_nodes[1], 0U) << "place 0 has no nodes";
  set<std::uint32_t>(tables.m_graph.m_pages, 0, 1000);
  EXPECT_EQ(refusal(tables), "graph: a page is not there");
}

TEST_F(DamagedGraphTables, AreRefusedWhereAListWithoutNumbersTellsTheirWidth) {
  for (const std::uint32_t width : {0U, 5U, 1000000U}) {
    KEP_DATABASE_TABLES tables = list();
    ASSERT_TRUE(tables.m_graph.m_fanins.m_numbers.empty());
    tables.m_graph.m_fanins.m_width = width;
    EXPECT_EQ(refusal(tables), "graph: numbers have no width") << width;
  }
}

TEST_F(DamagedGraphTables, AreRefusedWhereListsOfEdgesOverlap) {
  KEP_DATABASE_TABLES tables = list();
  const KEP_TABLE<KEP_NODE_SHAPE>& shapes = tables.m_graph.m_shapes;
  const std::vector<KEP_SEEN_WORD> words(1000, tables.m_graph.m_fanouts[0]);
  std::vector<KEP_NODE_SHAPE> more(shapes.begin(), shapes.end());
  for (std::uint32_t i = 1; i != 500; ++i)
    more.push_back({i, 0, 0, 500, 0, 0});
  tables.m_graph.m_shapes = more;
  tables.m_graph.m_fanouts = words;
  tables.m_graph.m_mux_inputs = {1, {}, std::vector<KEP_SEEN_WORD>(1000, {KEP_MUX_INPUT_WORD::NONE})};
  EXPECT_EQ(refusal(tables), "graph: lists of edges overlap") << "few words would make many long lists";
}

/// What tests the graph must not go on with half of its loops done when the model is refused meanwhile.
TEST_F(DamagedGraphTables, AreRefusedForTheModelWhereBothAreDamaged) {
  for (int round = 0; round != 300; ++round) {
    KEP_DATABASE_TABLES tables = list();
    tables.m_model.m_top = 1000;
    set<unsigned char>(tables.m_graph.m_shapes_of_nodes, 0, 0xff);
    ASSERT_EQ(refusal(tables), "model: the top is no module") << round;
  }
}

TEST_F(DamagedGraphTables, AreRefusedWhereFewBytesTellMoreNamesThanTheyAre) {
  KEP_DATABASE_TABLES tables = list();
  std::vector<char> names(1 << 20, 'n');
  names.front() = names.back() = '\0';
  tables.m_paths.m_names = names;
  tables.m_paths.m_tables = std::vector<KEP_PATH_TABLES::TABLE>(2, {1, 0});
  EXPECT_EQ(refusal(tables), "paths: so few bytes can't tell so long names")
      << "each table would have a copy";
  tables.m_paths.m_tables = std::vector<KEP_PATH_TABLES::TABLE>(1, {1, 0});
  EXPECT_EQ(refusal(tables), "");
  tables.m_paths.m_tables = std::vector<KEP_PATH_TABLES::TABLE>(1, {2, 0});
  EXPECT_EQ(refusal(tables), "paths: no name begins where one is told");
}

} // namespace damaged_graph_tables_test
