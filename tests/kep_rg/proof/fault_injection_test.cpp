#include "kep_rg/kep_rg_proof.h"
#include "tests/kep_rg/proof/damage_kinds.h"
#include "tests/support/check_report.h"
#include "tests/support/damaged_graph.h"
#include "tests/support/example_device.h"
#include "tests/support/fabric_case.h"
#include "tests/support/random_model.h"
#include "tests/support/random_source.h"
#include "tests/support/seeds.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fault_injection_test {

/// Single damages to sound graphs: which of them does which check find?
///
///   KEP_RG_DAMAGES=1000        damages of each kind, 60 without it
///   KEP_RG_DAMAGE_TABLE=FILE   where the table of all shares goes, "-" for the standard output

using test_model::DAMAGE_KIND;
using test_model::DAMAGE_KINDS;
using test_model::EDITED_GRAPH;
using test_model::FABRIC_CASE;
using test_model::RANDOM_SOURCE;
using test_model::SEEDS;

/// Something that may find that the graph of a database is damaged. A further one is a line in this list.
struct DETECTOR {
  const char* m_name;
  std::function<bool(KEP_DB&)> m_finds;
};

bool check_finds(KEP_DB& db, test_model::POST_CHECK check) {
  return !test_model::run_check(db, check).m_result;
}

bool trace_finds(KEP_DB& db) {
  const KEP_DB_ROUTING_PRIMITIVE_CACHE cache(&db);
  KEP_RG_TRACE_EDGE tracer(&db, cache);
  return !test_model::report_of([&] {
            try {
              return tracer.verify_all_edge_traces();
            } catch (const KEP_REPORT_ASSERTION_FAILURE&) {
              return false;
            }
          }).m_result;
}

bool proof_finds(KEP_DB& db) {
  return !KEP_RG_PROOF(&db).run(1).is_sound();
}

const std::vector<DETECTOR>& detectors() {
  using CHECKS = KEP_RG_POST_CHECKS;
  static const std::vector<DETECTOR> list = {
      {"redundant", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_redundant_edges); }},
      {"count", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_redundant_edge_count); }},
      {"hipi", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_hipi_api); }},
      {"connectivity", [](KEP_DB& db) { return check_finds(db, &CHECKS::test_graph_connectivity); }},
      {"trace", trace_finds},
      {"proof", proof_finds},
  };
  return list;
}

/// The devices whose graphs are damaged.
std::vector<std::unique_ptr<BUILD_CASE>> make_devices() {
  std::vector<std::unique_ptr<BUILD_CASE>> devices;
  for (const char* name : {"plain_mux_chain", "skip_mux", "inserted_node", "hipi_twin", "blc_root",
                           "top_ports_routed", "redundant_inputs"}) {
    devices.push_back(test_model::read_example(name));
    devices.back()->build();
  }
  for (const std::uint64_t seed : SEEDS(1, 250)) {
    devices.push_back(std::make_unique<FABRIC_CASE>(seed));
    devices.back()->build();
  }
  return devices;
}

struct TALLY {
  std::size_t m_tried = 0;
  std::size_t m_found = 0;
};

/// Tallies for one kind, by detector. A detector that finds something in the sound graph already is not asked
/// about its damages.
class INJECTION {
public:
  explicit INJECTION(std::size_t num_damages) : m_num_damages(num_damages), m_devices(make_devices()) {
    for (const auto& device : m_devices) {
      m_applicable.emplace_back();
      for (const DETECTOR& detector : detectors()) {
        m_applicable.back().push_back(!detector.m_finds(*device->db()));
        if (std::set<std::string>{"hipi", "proof"}.contains(detector.m_name)) {
          EXPECT_TRUE(m_applicable.back().back()) << "a build is sound: device " << m_applicable.size() - 1;
        }
      }
    }
  }

  std::vector<TALLY> run(const DAMAGE_KIND& kind, std::size_t number) {
    std::vector<TALLY> tallies(detectors().size());
    RANDOM_SOURCE random(number + 1);
    std::size_t done = 0;
    for (std::size_t attempt = 0; done != m_num_damages && attempt != 50 * m_num_damages; ++attempt) {
      const std::size_t device = random.below(m_devices.size());
      damage(kind, device, random, tallies, done);
      if (testing::Test::HasFailure()) break;
    }
    EXPECT_EQ(done, m_num_damages) << "hardly a graph has a place for: " << kind.m_name;
    return tallies;
  }

private:
  void damage(const DAMAGE_KIND& kind, std::size_t device, RANDOM_SOURCE& random, std::vector<TALLY>& tallies,
              std::size_t& done) {
    // A damage counts where those are asked that must find it.
    for (std::size_t i = 0; i != detectors().size(); ++i)
      if (kind.m_found_by.contains(detectors()[i].m_name) && !m_applicable[device][i]) return;
    KEP_DB& db = *m_devices[device]->db();
    test_model::DAMAGE_SUBJECT subject(*m_devices[device], random);
    const EDITED_GRAPH sound = subject.graph();
    if (!kind.m_apply(subject)) return;
    ++done;
    for (std::size_t i = 0; i != detectors().size(); ++i) {
      if (!m_applicable[device][i]) continue;
      const std::string name = detectors()[i].m_name;
      const bool found = detectors()[i].m_finds(db);
      ++tallies[i].m_tried;
      tallies[i].m_found += found;
      EXPECT_FALSE(kind.m_found_by.contains(name) && !found) << name << " misses: " << kind.m_name;
      EXPECT_FALSE(kind.m_never_found_by.contains(name) && found) << name << " finds: " << kind.m_name;
    }
    if (testing::Test::HasFailure()) tell(sound, device);
    sound.publish();
  }

  void tell(const EDITED_GRAPH& sound, std::size_t device) const {
    KEP_DB& db = *m_devices[device]->db();
    const std::string damaged = test_model::whole_graph(db);
    sound.publish();
    ADD_FAILURE() << "device " << device << "\n"
                  << test_model::describe(db) << "--- sound\n"
                  << test_model::whole_graph(db) << "--- damaged\n"
                  << damaged;
  }

  std::size_t m_num_damages;
  std::vector<std::unique_ptr<BUILD_CASE>> m_devices;
  std::vector<std::vector<bool>> m_applicable; // by device and detector
};

std::string head_of_table() {
  std::string head = "| Damage |";
  std::string rule = "|---|";
  for (const DETECTOR& detector : detectors()) {
    head += std::string(" ") + detector.m_name + " |";
    rule += "---|";
  }
  return head + "\n" + rule + "\n";
}

std::string line_of_table(const DAMAGE_KIND& kind, const std::vector<TALLY>& tallies) {
  std::string line = std::string("| ") + kind.m_name + " |";
  for (const TALLY& tally : tallies) {
    const double share = 100.0 * static_cast<double>(tally.m_found) / static_cast<double>(tally.m_tried);
    line += tally.m_tried == 0 ? " - |" : fmt::format(" {:.1f} % of {} |", share, tally.m_tried);
  }
  return line + "\n";
}

void write_table(const char* path, const std::string& table) {
  if (std::string(path) == "-") {
    std::fputs(table.c_str(), stdout);
    return;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "w"), std::fclose);
  ASSERT_TRUE(file) << path;
  std::fputs(table.c_str(), file.get());
}

TEST(FaultInjection, FindsEveryDamageByTheChecksThatLookAtIt) {
  INJECTION injection(test_model::number_from_environment("KEP_RG_DAMAGES", 60));
  std::string table = head_of_table();
  for (std::size_t i = 0; i != DAMAGE_KINDS.size() && !HasFailure(); ++i)
    table += line_of_table(DAMAGE_KINDS[i], injection.run(DAMAGE_KINDS[i], i));
  if (const char* path = std::getenv("KEP_RG_DAMAGE_TABLE")) write_table(path, table);
}

} // namespace fault_injection_test
