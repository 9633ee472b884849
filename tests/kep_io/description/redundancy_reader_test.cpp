#include "kep_io/kep_redundancy_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tests/support/folder_fixture.h"
#include "tests/support/io_test_support.h"
#include "tests/support/named_model.h"
#include "tests/support/random_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace redundancy_reader_test {

using testing::ElementsAre;
using testing::IsEmpty;

KEP_RG_PARSE_REDUNDANCY quiet_parser(KEP_DB* db) {
  KEP_REPORT_CAPTURE capture;
  return {db, static_cast<int>(KEP_VIEW_TYPE::LOGICAL), KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, 1};
}

/// TILE's two muxes have arcs from a and b to z.
class RedundancyReader : public Folder {
protected:
  RedundancyReader() {
    KEP_RG_PARSE parse(m_model.db());
    for (const char* input : {"MUX:a", "MUX:b"})
      parse.add_port_edge(m_model.port(input), m_model.port("MUX:z"));
  }

  /// The lines that could not be read, "LINE: TEXT".
  std::vector<std::string> faults(std::string_view text) {
    return as_texts(kep_read_redundancy_text(m_model.db(), m_parser, text, "r.txt"));
  }
  static std::vector<std::string> as_texts(const std::vector<KEP_REDUNDANCY_FAULT>& faults) {
    std::vector<std::string> texts;
    for (const KEP_REDUNDANCY_FAULT& fault : faults)
      texts.push_back(std::to_string(fault.m_line) + ": " + fault.m_text);
    return texts;
  }
  std::string refusal(std::string_view text) {
    return refusal_of([&] { faults(text); });
  }
  /// What the table "redundancy" holds for a module, in order.
  std::vector<std::string> stored(const char* module = "TILE") const {
    const KEP_INDEXED_RELATIVE_PATHS table = m_model.db()->get_relative_paths("redundancy");
    if (!table.valid()) return {"no table"};
    const KEP_MODULE_RELATIVE_PATH_MAP map = table.find_path_mappings_for_module(m_model.module(module));
    std::vector<std::string> names;
    for (std::size_t i = 0; map.exists() && i != map.size(); ++i) {
      const KEP_RELATIVE_PATH& path = map.get_path(i)->get_path();
      names.emplace_back();
      for (const KEP_INSTANCE* instance : path.get_instances(m_model.db()))
        names.back() += std::string(instance->get_plain_name()) + "/";
      names.back() += path.get_port(m_model.db())->get_plain_name();
    }
    return names;
  }

  const NAMED_MODEL m_model{R"(
    module MUX
      ports >a >b <z
    module SUB
      inst n MUX
    module TILE
      inst m MUX
      inst k MUX
      inst s SUB
    module TOP top
      inst t TILE
  )"};
  KEP_RG_PARSE_REDUNDANCY m_parser = quiet_parser(m_model.db());
};

TEST_F(RedundancyReader, StoresWhatItReadsAtTheLevelThatTheGraphNeeds) {
  EXPECT_THAT(faults("module_name: TILE\n0 m:b\n1 s/n:z\n2 k:a\n"), IsEmpty());
  EXPECT_THAT(stored(), ElementsAre("m/b", "s/n/a", "k/a")) << "s/n:z is an output, so its first input";
}

TEST_F(RedundancyReader, TellsWhatItCannotReadWithItsLineAndUsesTheRest) {
  EXPECT_THAT(faults("module_name: TILE\n0 m:b\n\n1 nothing:z 2 k:q\n3 k:a\n\n\n4\n s\n"),
              ElementsAre("4: nothing:z", "4: k:q", "9: s"));
  EXPECT_THAT(stored(), ElementsAre("m/b", "k/a"));
}

TEST_F(RedundancyReader, TellsTheLinesOfATextWhoseLinesEndInCarriageReturns) {
  EXPECT_THAT(faults("\nmodule_name:\nTILE\n0 m:b\r\n1 k:a\r\n"), ElementsAre("4: m:b\r", "5: k:a\r"));
}

TEST_F(RedundancyReader, StoresNothingWhenNothingCouldBeRead) {
  EXPECT_THAT(faults("module_name: TILE\n0 x:y\n"), ElementsAre("2: x:y"));
  EXPECT_THAT(stored(), ElementsAre("no table"));
  EXPECT_THAT(faults("module_name: TILE\n"), IsEmpty());
  EXPECT_THAT(stored(), ElementsAre("no table"));
}

TEST_F(RedundancyReader, AddsOneTextToTheOther) {
  faults("module_name: TILE\n0 m:b\n");
  faults("module_name: SUB\n0 n:a\n");
  faults("module_name: TILE\n0 k:b\n0 m:b\n");
  EXPECT_THAT(stored(), ElementsAre("m/b", "k/b"));
  EXPECT_THAT(stored("SUB"), ElementsAre("n/a"));
}

// --- refusals ---------------------------------------------------------------------------------------------

TEST_F(RedundancyReader, RefusesATextWithoutTheKeyword) {
  for (const char* text :
       {"", " \n", "module_name", "module_name:TILE 0 m:b", "TILE 0 m:b", "0 m:b\nmodule_name: TILE"})
    EXPECT_EQ(refusal(text), "r.txt: the keyword \"module_name:\" is missing") << text;
  EXPECT_THAT(stored(), ElementsAre("no table"));
}

TEST_F(RedundancyReader, RefusesATextThatEndsBehindTheKeyword) {
  EXPECT_EQ(refusal("module_name:"), "r.txt: the text ends behind the keyword");
  EXPECT_EQ(refusal("module_name:\n\"\"\n"), "r.txt: the text ends behind the keyword");
}

TEST_F(RedundancyReader, RefusesATextThatEndsInTheMiddleOfAPairAndUsesNothingOfIt) {
  EXPECT_EQ(refusal("module_name: TILE 0 m:b 1"), "r.txt: the text ends in the middle of a pair");
  EXPECT_EQ(refusal("module_name: TILE\n0 m:b\n1 k:a 2\n"), "r.txt: the text ends in the middle of a pair");
  EXPECT_THAT(stored(), ElementsAre("no table"));
}

TEST_F(RedundancyReader, RefusesAnUnknownModule) {
  EXPECT_EQ(refusal("module_name: ELSEWHERE\n0 m:b\n"), "r.txt: no module \"ELSEWHERE\"");
  EXPECT_EQ(refusal("module_name: ELSEWHERE"), "r.txt: no module \"ELSEWHERE\"");
  EXPECT_EQ(refusal("module_name: TILE\r\n0 m:b\r\n"), "r.txt: no module \"TILE\\u000d\"");
  EXPECT_THAT(stored(), ElementsAre("no table"));
}

TEST_F(RedundancyReader, RefusesExactlyWhatIsCutOffOrNamesNoModule) {
  const std::string good = "\"module_name:\" TILE\n0 m:b\n1 \"s/n:z\"\n\t2 k:q\n3 k:a\r\n";
  std::size_t refused = 0;
  std::size_t used = 0;
  for (std::size_t length = 0; length <= good.size(); ++length) {
    const std::string text = good.substr(0, length);
    const std::string cut_off = KEP_RG_PARSE_REDUNDANCY::find_cut_off(text);
    const std::string told = refusal(text);
    if (!cut_off.empty())
      ASSERT_EQ(told, "r.txt: " + cut_off) << text;
    else
      ASSERT_TRUE(told.empty() || told.starts_with("r.txt: no module \"T")) << text << told;
    ++(told.empty() ? used : refused);
  }
  EXPECT_GT(refused, 20U);
  EXPECT_GT(used, 10U);
}

TEST_F(RedundancyReader, ReadsOrRefusesRandomBytesAndDoesNothingElse) {
  test_model::RANDOM_SOURCE random(11);
  const std::vector<std::string> parts{"m",        "k:a",         "s/n:z", ":",  "/",  " ",
                                       "\n",       "\t",          "\"",    "\r", "0 ", std::string(1, '\0'),
                                       "\xc2\x85", "module_name:"};
  std::size_t refused = 0;
  for (unsigned i = 0; i != 3000; ++i) {
    std::string text = random.percent(85) ? "module_name: TILE " : "";
    for (unsigned left = random.below(20); left != 0; --left)
      text += random.percent(90) ? random.pick(parts) : std::string(1, static_cast<char>(random.below(256)));
    const std::string told = refusal(text);
    refused += !told.empty();
    EXPECT_EQ(told.find('\n'), std::string::npos);
  }
  EXPECT_GT(refused, 300U);
  EXPECT_LT(refused, 2700U);
}

// --- files ------------------------------------------------------------------------------------------------

TEST_F(RedundancyReader, ReadsAFile) {
  const std::string file = write("data.txt", "module_name: TILE\n0 m:b\n1 x:y\n");
  EXPECT_THAT(as_texts(kep_read_redundancy(m_model.db(), m_parser, file)), ElementsAre("3: x:y"));
  write("data.txt", "");
  EXPECT_EQ(refusal_of([&] { kep_read_redundancy(m_model.db(), m_parser, file); }),
            file + ": the keyword \"module_name:\" is missing");
  std::filesystem::remove(file);
  EXPECT_TRUE(refusal_of([&] { kep_read_redundancy(m_model.db(), m_parser, file); }).starts_with(file));
  EXPECT_THAT(stored(), ElementsAre("m/b"));
}

} // namespace redundancy_reader_test
