// What `kep-rg info` prints of what a database says.

#include "tools/kep-rg/device/database_info.h"

#include <gtest/gtest.h>

#include <string>

namespace database_info_test {

KEP_DATABASE_INFO get_info() {
  KEP_DATABASE_INFO info;
  info.m_version = 3;
  info.m_num_bytes = 12345678;
  info.m_checksum = 0xABCDEF;
  info.m_sections = {{"model", 12000000, 1}, {"graph", 345678, 0xFEDCBA9876543210}};
  info.m_counts = {{"modules", 17}, {"nodes", 123456}};
  info.m_origin.m_made_by = "kep-rg 9.9";
  info.m_origin.m_inputs = {{"model", "8k.json", 98765, 2}, {"redundancy", "standard input", 0, 0}};
  info.m_origin.m_options = {{"wire_paths", "stored"}};
  info.m_origin.m_counters = {{"n_edges", 1000}};
  return info;
}

TEST(DatabaseInfo, IsAlignedForAReader) {
  EXPECT_EQ(format_text(get_info(), "d/x.kdb"), R"(device    d/x.kdb
format    device database, version 3
size      12.3 MB (12,345,678 bytes)
checksum  0000000000abcdef
made by   kep-rg 9.9

made from
  model       8k.json         98,765 bytes  0000000000000002
  redundancy  standard input     not known

with options
  wire_paths  stored

sections
  model  12,000,000 bytes  0000000000000001
  graph     345,678 bytes  fedcba9876543210

counts
  modules       17
  nodes    123,456

counters of the build
  n_edges  1,000
)");
}

TEST(DatabaseInfo, IsOneJsonObject) {
  EXPECT_EQ(format_json(get_info(), "d/x.kdb"), R"({
  "file": "d/x.kdb",
  "version": 3,
  "bytes": 12345678,
  "checksum": "0000000000abcdef",
  "made_by": "kep-rg 9.9",
  "inputs": [
    {"role": "model", "name": "8k.json", "bytes": 98765, "checksum": "0000000000000002"},
    {"role": "redundancy", "name": "standard input", "bytes": null, "checksum": null}
  ],
  "options": {
    "wire_paths": "stored"
  },
  "sections": [
    {"name": "model", "bytes": 12000000, "checksum": "0000000000000001"},
    {"name": "graph", "bytes": 345678, "checksum": "fedcba9876543210"}
  ],
  "counts": {
    "modules": 17,
    "nodes": 123456
  },
  "counters": {
    "n_edges": 1000
  }
}
)");
}

TEST(DatabaseInfo, LeavesOutWhatThereIsNoneOf) {
  KEP_DATABASE_INFO info;
  info.m_num_bytes = 500;
  EXPECT_EQ(format_text(info, "x"), "device    x\n"
                                    "format    device database, version 0\n"
                                    "size      500 bytes\n"
                                    "checksum  0000000000000000\n"
                                    "made by   \n");
  EXPECT_EQ(format_json(info, "x"),
            "{\n  \"file\": \"x\",\n  \"version\": 0,\n  \"bytes\": 500,\n"
            "  \"checksum\": \"0000000000000000\",\n  \"made_by\": \"\",\n  \"inputs\": [],\n"
            "  \"options\": {},\n  \"sections\": [],\n  \"counts\": {},\n  \"counters\": {}\n}\n");
}

TEST(DatabaseInfo, KeepsItsLinesWhateverANameHolds) {
  KEP_DATABASE_INFO info;
  info.m_origin.m_made_by = "a\nb\033[31m\"";
  info.m_origin.m_inputs = {{"model\n", "x\x7F", 1, 1}};
  EXPECT_NE(format_text(info, "x").find("made by   a\\u000ab\\u001b[31m\"\n"), std::string::npos);
  EXPECT_NE(format_text(info, "x").find("  model\\u000a  x\\u007f  1 bytes  0000000000000001\n"),
            std::string::npos)
      << format_text(info, "x");
  EXPECT_NE(format_json(info, "x").find(R"("made_by": "a\u000ab\u001b[31m\"",)"), std::string::npos);
}

} // namespace database_info_test
