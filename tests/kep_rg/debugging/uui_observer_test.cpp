#include "kep_rg/kep_rg_uui_observer.h"
#include "tests/support/named_model.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace uui_observer_test {

using VISIT_TYPE = KEP_UNFOLD_OBSERVER::VISIT_TYPE;
const KEP_VIEW_TYPE_RANK BLC_FIRST(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL);
const KEP_VIEW_TYPE_RANK LOGICAL_ONLY(KEP_VIEW_TYPE::LOGICAL);

class UuiObserver : public testing::Test {
protected:
  void SetUp() override {
    m_folder = std::filesystem::temp_directory_path() /
               ("kep-rg-log-" + std::to_string(getpid()) + "-" +
                testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(m_folder);
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string path(const std::string& name = "walk.log") const { return (m_folder / name).string(); }
  std::string read(const std::string& name = "walk.log") const {
    std::ostringstream text;
    text << std::ifstream(path(name), std::ios::binary).rdbuf();
    return text.str();
  }
  KEP_UNFOLDED_PORT port(const char* name) const {
    return m_model.uip(name).get_unfolded_port(KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::DEFAULT_VIEW));
  }

  NAMED_MODEL m_model{R"(
    module CELL group=cell
      ports >a <o
    module CELL_BLC view=BLC group=cell
      ports >a <o
    module ONLY_BLC view=BLC
      ports >a
    module TILE
      ports >in
      inst c CELL
      net n in c.a
    module TOP top
      ports >p
      inst t TILE
      inst b ONLY_BLC
      net n p t.in b.a
  )"};

private:
  std::filesystem::path m_folder;
};

TEST_F(UuiObserver, WritesALineForEachPointInTheOrderOfTheVisits) {
  {
    KEP_RG_UUI_OBSERVER observer(path(), BLC_FIRST);
    observer.visit(m_model.uip("t:in"), VISIT_TYPE::START);
    observer.visit(port("t:in"), VISIT_TYPE::CROSS);
    observer.visit(m_model.uip("t/c:a"), VISIT_TYPE::END);
    observer.visit(
        m_model.db()->get_top_unfolded_module(KEP_VIEW_TYPE::DEFAULT_VIEW).get_unfolded_port_by_index(0),
        VISIT_TYPE::END);
  }
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n"
                    "port t:in logical -type cross\n"
                    "inst_port t/c:a blc -type end\n"
                    "port :p logical -type end\n");
}

TEST_F(UuiObserver, TellsTheViewUnderItsRankForAnInstPortAndItsOwnForAPort) {
  {
    KEP_RG_UUI_OBSERVER observer(path(), LOGICAL_ONLY);
    observer.visit(m_model.uip("t/c:a"), VISIT_TYPE::WALK);
    observer.visit(m_model.uip("t/c:a").get_unfolded_port(BLC_FIRST), VISIT_TYPE::WALK);
    observer.visit(port("t/c:a"), VISIT_TYPE::WALK);
  }
  EXPECT_EQ(read(), "inst_port t/c:a logical -type walk\n"
                    "port t/c:a blc -type walk\n"
                    "port t/c:a logical -type walk\n");
}

TEST_F(UuiObserver, LeavesTheViewEmptyWhereTheRankFindsNone) {
  {
    KEP_RG_UUI_OBSERVER observer(path(), LOGICAL_ONLY);
    observer.visit(m_model.uip("b:a"), VISIT_TYPE::FOUND);
  }
  EXPECT_EQ(read(), "inst_port b:a  -type found\n");
}

TEST_F(UuiObserver, NamesEachVisitTypeThatHasAName) {
  const std::vector<std::pair<int, std::string>> names{
      {1, "start"}, {2, "target"},       {3, "walk"}, {4, "found"},   {5, "mux_input"}, {6, "mux_output"},
      {8, "skip"},  {10, "terminating"}, {11, "end"}, {12, "search"}, {13, "cross"}};
  std::string expected;
  {
    KEP_RG_UUI_OBSERVER observer(path(), LOGICAL_ONLY);
    for (const auto& [type, name] : names) {
      observer.visit(m_model.uip("t:in"), static_cast<VISIT_TYPE>(type));
      expected += "inst_port t:in logical -type " + name + "\n";
    }
  }
  EXPECT_EQ(read(), expected);
}

TEST_F(UuiObserver, LeavesOutATypeWithoutAName) {
  {
    KEP_RG_UUI_OBSERVER observer(path(), LOGICAL_ONLY);
    for (const int type : {0, 7, 9, 14, -1}) {
      observer.visit(m_model.uip("t:in"), static_cast<VISIT_TYPE>(type));
      observer.visit(port("t:in"), static_cast<VISIT_TYPE>(type));
    }
  }
  std::string expected;
  for (int i = 0; i != 5; ++i)
    expected += "inst_port t:in logical\nport t:in logical\n";
  EXPECT_EQ(read(), expected);
}

TEST_F(UuiObserver, WritesNothingForUipsAndNets) {
  {
    KEP_RG_UUI_OBSERVER observer(path(), BLC_FIRST);
    observer.start_uip(m_model.uip("t:in"));
    observer.start_net(m_model.uip("t:in").get_unfolded_net());
    observer.finish_uip();
  }
  EXPECT_TRUE(std::filesystem::exists(path()));
  EXPECT_EQ(read(), "");
}

TEST_F(UuiObserver, FlushesAtTheEndOfAUip) {
  KEP_RG_UUI_OBSERVER observer(path(), BLC_FIRST);
  observer.visit(m_model.uip("t:in"), VISIT_TYPE::START);
  EXPECT_EQ(read(), "") << "a visit alone does not flush";
  observer.finish_uip();
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n");
  observer.visit(m_model.uip("t:in"), VISIT_TYPE::WALK);
  observer.close();
  EXPECT_EQ(read(), "inst_port t:in logical -type start\ninst_port t:in logical -type walk\n");
}

TEST_F(UuiObserver, WritesNothingAfterItWasClosed) {
  KEP_RG_UUI_OBSERVER observer(path(), BLC_FIRST);
  observer.visit(m_model.uip("t:in"), VISIT_TYPE::START);
  observer.close();
  EXPECT_NO_THROW(observer.visit(m_model.uip("t:in"), VISIT_TYPE::WALK));
  EXPECT_NO_THROW(observer.visit(port("t:in"), VISIT_TYPE::WALK));
  EXPECT_NO_THROW(observer.finish_uip());
  EXPECT_NO_THROW(observer.close());
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n");
}

TEST_F(UuiObserver, WorksAndWritesNothingInAFolderThatDoesNotExist) {
  {
    KEP_RG_UUI_OBSERVER observer(path("none/walk.log"), BLC_FIRST);
    EXPECT_NO_THROW(observer.visit(m_model.uip("t:in"), VISIT_TYPE::START));
    EXPECT_NO_THROW(observer.visit(port("t:in"), VISIT_TYPE::START));
    EXPECT_NO_THROW(observer.finish_uip());
    EXPECT_NO_THROW(observer.close());
  }
  EXPECT_FALSE(std::filesystem::exists(path("none")));
}

TEST_F(UuiObserver, ReplacesAFileThatIsThere) {
  std::ofstream(path()) << "what stood there before, and was longer than a line of the log is\n";
  {
    KEP_RG_UUI_OBSERVER observer(path(), BLC_FIRST);
    observer.visit(m_model.uip("t:in"), VISIT_TYPE::START);
  }
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n");
}

TEST_F(UuiObserver, ReplacesTheFileOfAnEarlierOneOfTheSameName) {
  {
    KEP_RG_UUI_OBSERVER first(path(), BLC_FIRST);
    first.visit(m_model.uip("t:in"), VISIT_TYPE::START);
    first.visit(m_model.uip("t/c:a"), VISIT_TYPE::END);
    first.close();
    KEP_RG_UUI_OBSERVER second(path(), BLC_FIRST);
    EXPECT_EQ(read(), "");
    second.visit(port("t:in"), VISIT_TYPE::CROSS);
  }
  EXPECT_EQ(read(), "port t:in logical -type cross\n");
}

TEST_F(UuiObserver, ReplacesTheFileOfOneThatIsStillOpen) {
  KEP_RG_UUI_OBSERVER first(path(), BLC_FIRST);
  first.visit(m_model.uip("t:in"), VISIT_TYPE::START);
  first.finish_uip();
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n");
  KEP_RG_UUI_OBSERVER second(path(), BLC_FIRST);
  EXPECT_EQ(read(), "") << "replaced as soon as it is opened";
  second.visit(m_model.uip("t/c:a"), VISIT_TYPE::END);
  second.finish_uip();
  EXPECT_EQ(read(), "inst_port t/c:a blc -type end\n");
  first.close();
  EXPECT_EQ(read(), "inst_port t/c:a blc -type end\n") << "the first has nothing left to write";
  second.close();
  EXPECT_EQ(read(), "inst_port t/c:a blc -type end\n");
}

TEST_F(UuiObserver, KeepsACopyOfTheRank) {
  auto rank = std::make_unique<KEP_VIEW_TYPE_RANK>(BLC_FIRST);
  {
    KEP_RG_UUI_OBSERVER observer(path(), *rank);
    *rank = LOGICAL_ONLY;
    rank.reset();
    observer.visit(m_model.uip("t/c:a"), VISIT_TYPE::WALK);
  }
  EXPECT_EQ(read(), "inst_port t/c:a blc -type walk\n");
}

TEST_F(UuiObserver, IsClosedThroughItsBaseClass) {
  const std::unique_ptr<KEP_UNFOLD_OBSERVER> observer =
      std::make_unique<KEP_RG_UUI_OBSERVER>(path(), BLC_FIRST);
  observer->visit(m_model.uip("t:in"), VISIT_TYPE::START);
  observer->close();
  EXPECT_EQ(read(), "inst_port t:in logical -type start\n");
}

} // namespace uui_observer_test
