// Options that can't be met and files that can't be written leave what was there.

#include "tests/tool/generate/generate_fixture.h"

#include <gmock/gmock.h>

#include <functional>

namespace generate_refusal_test {

using testing::HasSubstr;
using testing::UnorderedElementsAre;

struct BAD_OPTIONS {
  std::function<void(GENERATE_OPTIONS&)> m_spoil;
  std::string m_reason;
};

void PrintTo(const BAD_OPTIONS& bad, std::ostream* out) {
  *out << bad.m_reason;
}

class RefusedOptions : public Generate, public testing::WithParamInterface<BAD_OPTIONS> {};

TEST_P(RefusedOptions, AreToldInOneLineAndLeaveTheOldFiles) {
  write("model.json", "old model");
  write("routing.jsonl", "old routing");
  GENERATE_OPTIONS options = small();
  GetParam().m_spoil(options);
  const std::string line = failure(options);
  EXPECT_THAT(line, HasSubstr(GetParam().m_reason));
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(read("model.json"), "old model");
  EXPECT_EQ(read("routing.jsonl"), "old routing");
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "routing.jsonl"));
}

INSTANTIATE_TEST_SUITE_P(
    options, RefusedOptions,
    testing::Values(
        BAD_OPTIONS{[](auto& o) { o.m_levels = 0; }, "--levels is 0, but must be from 1 to 16"},
        BAD_OPTIONS{[](auto& o) { o.m_columns = {}; }, "--columns is empty"},
        BAD_OPTIONS{[](auto& o) {
                      o.m_columns = {2, 0}, o.m_levels = 2;
                    },
                    "--columns is 0"},
        BAD_OPTIONS{[](auto& o) {
                      o.m_rows = {2, 3}, o.m_levels = 3;
                    },
                    "--rows gives 2 numbers for 3 levels"},
        BAD_OPTIONS{[](auto& o) { o.m_rows = {1025}; }, "--rows is 1025, but must be from 1 to 1024"},
        BAD_OPTIONS{[](auto& o) { o.m_width = 1; }, "--width is 1, but must be from 2"},
        BAD_OPTIONS{[](auto& o) {
                      o.m_lengths = {1, 0};
                    },
                    "--lengths is 0"},
        BAD_OPTIONS{[](auto& o) { o.m_switch_inputs = 3; }, "--switch-inputs is 3"},
        BAD_OPTIONS{[](auto& o) { o.m_luts = 0; }, "--luts is 0"},
        BAD_OPTIONS{[](auto& o) { o.m_redundant = 34; }, "--redundant is 34, but must be from 0 to 33"},
        BAD_OPTIONS{[](auto& o) { o.m_hipi = 101; }, "--hipi is 101"},
        BAD_OPTIONS{[](auto& o) { o.m_skip = 101; }, "--skip is 101"},
        BAD_OPTIONS{[](auto& o) { o.m_connect_inputs = 7; },
                    "--connect-inputs 7 is more than --width 6 gives"},
        BAD_OPTIONS{[](auto& o) { o.m_switch_inputs = 20; }, "--switch-inputs 20 needs 15 tracks"},
        BAD_OPTIONS{[](auto& o) { o.m_switch_inputs = 12, o.m_luts = 1; },
                    "needs 3 outputs of the logic block"},
        BAD_OPTIONS{[](auto& o) { o.m_switch_inputs = 4, o.m_luts = 13; }, "can't take the 26 outputs"},
        BAD_OPTIONS{[](auto& o) { o.m_spare_rows = 3; }, "3 spare rows don't fit among 3 rows"},
        BAD_OPTIONS{[](auto& o) { o.m_columns = o.m_rows = {1024}, o.m_levels = 2; }, "use more levels"},
        BAD_OPTIONS{[](auto& o) {
                      o = small(GENERATE_FORM::GRIDS), o.m_rows = {2, 2};
                    },
                    "--rows gives 2 numbers for 1 levels"},
        BAD_OPTIONS{
            [](auto& o) { o = small(GENERATE_FORM::GRIDS), o.m_columns = o.m_rows = {1024}, o.m_width = 64; },
            "the top would have"},
        BAD_OPTIONS{[](auto& o) { o = small(GENERATE_FORM::RANDOM), o.m_nodes = 999; },
                    "--nodes is 999, but must be from 1000"},
        BAD_OPTIONS{[](auto& o) { o = small(GENERATE_FORM::NEAR), o.m_inputs = 257; },
                    "--inputs is 257, but must be from 1 to 256"},
        BAD_OPTIONS{[](auto& o) { o = small(GENERATE_FORM::RANDOM), o.m_nodes = 20'000'000; },
                    "the module would have 220000000 bits"},
        BAD_OPTIONS{[](auto& o) { o = small(GENERATE_FORM::NET), o.m_nodes = 1; },
                    "--nodes is 1, but must be from 2"}));

TEST_F(Generate, AFileThatCannotBeWrittenLeavesTheOtherAsItWas) {
  write("model.json", "old model");
  std::filesystem::create_directory(path("folder"));
  KEP_REPORT_CAPTURE capture;
  GENERATE_OPTIONS options = small();
  options.m_model = path("model.json");
  for (const char* routing : {"folder", "missing/routing.jsonl", "model.json"}) {
    options.m_routing = path(routing);
    EXPECT_THROW(generate(options), std::runtime_error) << routing;
  }
  EXPECT_EQ(read("model.json"), "old model");
  EXPECT_THAT(files(), UnorderedElementsAre("model.json", "folder"));
}

} // namespace generate_refusal_test
