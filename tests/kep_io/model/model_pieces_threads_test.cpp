#include "tests/support/io_test_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <random>
#include <string>
#include <vector>

namespace model_pieces_threads_test {

/// Models with lists so long that they are read in several pieces, which must not show.

constexpr int NUM_CELLS = 4000; // some 270 kB of text

using testing::ElementsAre;

std::string model_of(const std::string& cells, const std::string& netnames = "") {
  return R"({"modules": {"M": {"ports": {"i": {"direction": "input", "bits": [2, 3]},
                                         "o": {"direction": "output", "bits": [4]}}},
    "T": {"attributes": {"top": 1}, "cells": {)" +
         cells + "}, \"netnames\": {" + netnames + "}}}}";
}

/// Its connections may be given; a cell without any is as long as the others.
std::string cell_of(int number, const std::string& connections = "") {
  return (number ? ",\n\"c" : "\"c") + std::to_string(number) +
         R"(": {"type": "M", "attributes": {"src": "file.v"}, "connections": {)" + connections + "}}";
}

std::string plain_cells() {
  std::string cells;
  for (int i = 0; i != NUM_CELLS; ++i)
    cells += cell_of(i);
  return cells;
}

/// A model, and for each of its cells the nets on which its ports should be.
struct RANDOM_MODEL {
  RANDOM_MODEL() {
    std::mt19937 random(5);
    const auto net = [&random] { return random() % NUM_CELLS; };
    std::string cells;
    std::string netnames;
    for (int i = 0; i != NUM_CELLS; ++i) {
      const std::vector<unsigned long> bits{net(), net(), net()};
      cells += cell_of(i, "\"i\": [" + std::to_string(bits[0]) + ", " + std::to_string(bits[1]) +
                              "], \"o\": [" + std::to_string(bits[2]) + "]");
      netnames += (i ? ",\n\"n" : "\"n") + std::to_string(i) + "\": {\"bits\": [" + std::to_string(i) +
                  "], \"attributes\": {\"src\": \"file.v\"}}";
      std::string line = "c" + std::to_string(i) + ":";
      for (const unsigned long bit : bits)
        line += " n" + std::to_string(bit);
      m_expected.push_back(line);
    }
    m_text = model_of(cells, netnames);
  }

  std::string m_text;
  std::vector<std::string> m_expected;
};

std::vector<std::string> cells_of(const KEP_MODULE& module) {
  std::vector<std::string> lines;
  for (const KEP_INSTANCE* instance : module.iter_instances()) {
    lines.push_back(std::string(instance->get_plain_name()) + ":");
    for (unsigned i = 0; i != instance->get_module()->get_num_ports(); ++i)
      lines.back() += std::string(" ") + instance->get_inst_port_by_index(i)->get_net()->get_plain_name();
  }
  return lines;
}

std::vector<std::string> nets_of(const KEP_MODULE& module) {
  std::vector<std::string> lines;
  for (const KEP_NET* net : module.iter_nets())
    lines.push_back(std::string(net->get_plain_name()) + ": " + members_of(net));
  return lines;
}

TEST(ModelPiecesThreads, NoNumberOfThreadsChangesAModel) {
  const RANDOM_MODEL model;
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  std::vector<std::string> nets;
  for (const int threads : {1, 2, 8}) {
    tbb::task_arena arena(threads);
    const auto db = arena.execute([&] { return kep_read_model_text(model.m_text, "m.json"); });
    EXPECT_EQ(cells_of(*top_of(db)), model.m_expected);
    if (threads == 1) nets = nets_of(*top_of(db));
    EXPECT_EQ(nets_of(*top_of(db)), nets);
  }
}

TEST(ModelPiecesThreads, ListsAreReadAlikeInWhateverOrderAndSpellingTheyStand) {
  const std::string netnames = R"(, "netnames": {"n": {"bits": [7]}})";
  const std::string cells = R"(, "\u0063ells": {)" + plain_cells() + cell_of(NUM_CELLS, R"("o": [7])") + "}";
  for (const std::string& lists : {netnames + cells, cells + netnames}) {
    const auto db = kep_read_model_text(
        R"({"modul\u0065s": {"M": {"ports": {"o": {"direction": "output", "bits": [2]}}},
            "T": {"ports": {})" +
            lists + "}}}",
        "m.json");
    EXPECT_EQ(top_of(db)->get_num_instances(), NUM_CELLS + 1U);
    EXPECT_THAT(nets_of(*top_of(db)), ElementsAre("n: c4000:o "));
  }
}

TEST(ModelPiecesThreads, TheFirstThingThatIsWrongInTheFileIsTold) {
  const std::string wrong = R"("i": [1])";
  const std::string told =
      "m.json: modules.T.cells.c4000.connections.i: the width is 1, that of the master's port 2";
  const std::string first =
      model_of(plain_cells() + cell_of(NUM_CELLS, wrong) + cell_of(9999, R"("x": [1])"));
  EXPECT_EQ(model_refusal(first), told);
  EXPECT_EQ(model_refusal(model_of(plain_cells() + cell_of(NUM_CELLS, wrong), R"("n": {})")), told);
}

TEST(ModelPiecesThreads, AFaultOfTheTextIsToldBeforeWhatIsWrongBeforeIt) {
  const std::string model = model_of(cell_of(0, R"("x": [1])") + "," + plain_cells() + ",");
  EXPECT_THAT(model_refusal(model), testing::EndsWith("no JSON: a key is expected"));
  EXPECT_THAT(model_refusal(model_of(plain_cells() + ", \"c\": [1 2]")),
              testing::EndsWith("no JSON: \",\" or \"]\" is expected"));
}

TEST(ModelPiecesThreads, ACellMayBeNestedAsDeepAsAnythingElse) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + "1" + std::string(depth, ']');
  };
  const auto refusal = [&](std::size_t depth) {
    return model_refusal(model_of(R"("c": {"type": "M", "x": )" + nested(depth) + "}"));
  };
  std::size_t deepest = 1000; // in a model of which all is parsed at once
  while (model_refusal(R"({"modules": {"M": {"x": {"y": {"z": )" + nested(deepest + 1) + "}}}}}").empty())
    ++deepest;
  EXPECT_EQ(refusal(deepest), "");
  EXPECT_THAT(refusal(deepest + 1), testing::EndsWith("nested deeper than 1024"));
}

TEST(ModelPiecesThreads, NamesThatBecomeAlikeFarFromEachOtherAreRefused) {
  const std::string changed = R"("a/b": {"type": "M"},)";
  EXPECT_EQ(model_refusal(model_of(changed + plain_cells() + R"(, "a:b": {"type": "M"})")),
            "m.json: modules.T.cells.a:b: \"/\" and \":\" become \".\", and so \"a.b\" is the name of "
            "\"a/b\", too");
  EXPECT_EQ(
      model_refusal(model_of(changed + plain_cells() + R"(, "a.\u0062": {"type": "M"})")),
      "m.json: modules.T.cells.a/b: \"/\" and \":\" become \".\", and another one is named \"a.b\" already");
}

TEST(ModelPiecesThreads, AnOddAttributeIsToldOnceForAllPieces) {
  const std::string odd = R"("y": {"type": "M", "attributes": {"kep_x": 1}})";
  std::vector<std::string> warnings;
  kep_read_model_text(model_of(odd + "," + plain_cells() + ", \"z" + odd.substr(2)), "m.json", &warnings);
  EXPECT_THAT(warnings,
              ElementsAre("m.json: modules.T.cells.y.attributes.kep_x: there is no attribute of that "
                          "name, the closest one is \"kep_name\", which counts on a module (and 1 "
                          "more)"));
}

} // namespace model_pieces_threads_test
