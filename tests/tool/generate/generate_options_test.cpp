// The options of a fabric on the command line.

#include "tools/kep-rg/generate/generate_check.h"
#include "tools/kep-rg/generate/generate_options.h"

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace generate_options_test {

GENERATE_OPTIONS parse(const std::string& arguments) {
  CLI::App app;
  GENERATE_OPTIONS options;
  add_generate_options(app, options);
  app.parse("--model m --routing r " + arguments);
  return options;
}

TEST(GenerateOptions, AreReadFromTheCommandLine) {
  const GENERATE_OPTIONS options = parse(
      "--levels 3 --columns 8,4,2 --rows 5 --width 10 --lengths 1,6 --switch-inputs 9 --connect-inputs 7 "
      "--form tiles --luts 3 --redundant 11 --hipi 12 --skip 13 --tunnels 2 --spare-rows 4 --top-ports "
      "--seed 77");
  EXPECT_EQ(options.m_model, "m");
  EXPECT_EQ(options.m_routing, "r");
  EXPECT_EQ(options.m_form, GENERATE_FORM::TILES);
  EXPECT_EQ(options.m_nodes, 0U);
  EXPECT_EQ(options.m_levels, 3U);
  EXPECT_THAT(options.m_columns, testing::ElementsAre(8, 4, 2));
  EXPECT_THAT(options.m_rows, testing::ElementsAre(5));
  EXPECT_EQ(options.m_width, 10U);
  EXPECT_THAT(options.m_lengths, testing::ElementsAre(1, 6));
  EXPECT_EQ(options.m_switch_inputs, 9U);
  EXPECT_EQ(options.m_connect_inputs, 7U);
  EXPECT_EQ(options.m_luts, 3U);
  EXPECT_EQ(options.m_redundant, 11U);
  EXPECT_EQ(options.m_hipi, 12U);
  EXPECT_EQ(options.m_skip, 13U);
  EXPECT_EQ(options.m_tunnels, 2U);
  EXPECT_EQ(options.m_spare_rows, 4U);
  EXPECT_TRUE(options.m_top_ports);
  EXPECT_EQ(options.m_seed, 77U);
  EXPECT_NO_THROW(check_generate_options(options));
}

TEST(GenerateOptions, NameTheFormAndTheOrder) {
  for (std::size_t i = 0; i != GENERATE_FORM_NAMES.size(); ++i)
    EXPECT_EQ(parse(std::string("--nodes 1000 --form ") + GENERATE_FORM_NAMES[i]).m_form,
              static_cast<GENERATE_FORM>(i));
  for (std::size_t i = 0; i != GENERATE_ORDER_NAMES.size(); ++i)
    EXPECT_EQ(parse(std::string("--form grids --order ") + GENERATE_ORDER_NAMES[i]).m_order,
              static_cast<GENERATE_ORDER>(i));
  EXPECT_EQ(parse("--form near --nodes 2000 --inputs 7").m_inputs, 7U);
}

TEST(GenerateOptions, HaveDefaultsThatCanBeMet) {
  const GENERATE_OPTIONS options = parse("");
  EXPECT_EQ(options.m_levels, 1U);
  EXPECT_EQ(options.m_redundant + options.m_hipi + options.m_skip + options.m_tunnels + options.m_spare_rows,
            0U);
  EXPECT_NO_THROW(check_generate_options(options));
}

TEST(GenerateOptions, OutOfRangeOrInConflictAreRefused) {
  for (const char* arguments : {"--levels 0",
                                "--columns 0",
                                "--columns 1,2000",
                                "--columns 1 2",
                                "--width 1",
                                "--width -1",
                                "--width 4294967300",
                                "--hipi 101",
                                "--redundant 34",
                                "--lengths 17",
                                "--nodes 0",
                                "--nodes 1000 --columns 2",
                                "--nodes 1000 --levels 2",
                                "--seed x",
                                "--unknown 1",
                                "--form cubes",
                                "--form 1",
                                "--order number",
                                "--inputs 4",
                                "--form grids --levels 2",
                                "--form grids --hipi 0",
                                "--form grids --redundancy d",
                                "--form grids --top-ports",
                                "--form grids --order by_chance",
                                "--form random",
                                "--form random --nodes 1000 --width 8",
                                "--form near --nodes 1000 --columns 2",
                                "--form net --nodes 1000 --inputs 2",
                                "--form chain --nodes 1000 --seed 2"})
    EXPECT_THROW(parse(arguments), CLI::ParseError) << arguments;
  CLI::App app;
  GENERATE_OPTIONS options;
  add_generate_options(app, options);
  EXPECT_THROW(app.parse("--model m"), CLI::ParseError);
}

} // namespace generate_options_test
