#include "kep/kep_routing_graph.h"
#include "kep_io/kep_model_reader.h"
#include "kep_io/kep_redundancy_reader.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_report/kep_report_capture.h"
#include "kep_rg/kep_rg_build.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_parse_redundancy.h"
#include "tests/support/example_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <memory>
#include <string>
#include <vector>

namespace redundancy_reader_threads_test {

using testing::IsEmpty;

TEST(RedundancyReaderThreads, LeadFromTheTextToTheRedundantEdgesWorkedOutByHand) {
  const std::string folder = test_model::folder_of_example("redundant_inputs");
  const tbb::global_control eight(tbb::global_control::max_allowed_parallelism, 8);
  for (const int threads : {1, 2, 8}) {
    KEP_REPORT_CAPTURE capture;
    const std::unique_ptr<KEP_DB> db = kep_read_model(folder + "model.json");
    KEP_RG_PARSE parse(db.get());
    kep_read_routing(db.get(), parse, folder + "routing.jsonl");
    KEP_RG_PARSE_REDUNDANCY redundancy(db.get(), static_cast<int>(KEP_VIEW_TYPE::LOGICAL),
                                       KEP_ROUTING_PRIMITIVE::s_standard_view_type_rank, threads);
    EXPECT_THAT(kep_read_redundancy(db.get(), redundancy, folder + "redundancy.txt"), IsEmpty());
    KEP_RG_BUILD(db.get(), KEP_RG_BUILD_PARAMS().set_num_threads(threads)).build();
    EXPECT_EQ(test_model::edge_table(*db), test_model::sorted_lines_of_file(folder + "expected/edges.tsv"));
  }
}

} // namespace redundancy_reader_threads_test
