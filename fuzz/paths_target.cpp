// Names from a command line or a file: ports by their way through instances, unfolded instances and nodes.
// What is found bears the name, and what bears the name is found.

#include "fuzz/device.h"
#include "fuzz/fuzz.h"
#include "kep_io/kep_find_nodes.h"
#include "kep_io/kep_routing_reader.h"
#include "kep_rg/kep_rg_parse.h"
#include "kep_rg/kep_rg_relative_port.h"
#include "tools/kep-rg/device/find_plain_node.h"
#include "tools/kep-rg/output/plain_output.h"

#include <functional>
#include <map>
#include <stdexcept>

namespace {

const KEP_VIEW_TYPE_RANK RANKS[] = {KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::BLC, KEP_VIEW_TYPE::LOGICAL),
                                    KEP_VIEW_TYPE_RANK(KEP_VIEW_TYPE::LOGICAL), KEP_VIEW_TYPE_RANK()};

/// The device with its graph, and how often each name stands in it.
struct NAMED_DEVICE {
  NAMED_DEVICE() {
    KEP_RG_PARSE parse(m_db.get());
    kep_read_routing_text(m_db.get(), parse, FUZZ::DESCRIPTION, "r.jsonl");
    FUZZ::build_and_prove(*m_db, 1);
    for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
      count_instances(m_db->get_top_unfolded_module(static_cast<KEP_VIEW_TYPE>(view)));
    for (const KEP_ROUTING::NODE& node : m_db->get_routing_template_graph()->iter_nodes())
      ++m_nodes[node.get_name(NAME_STYLE)];
  }

  void count_instances(const KEP_UNFOLDED_MODULE& module) {
    if (!module.m_object) return;
    for (const KEP_UNFOLDED_INSTANCE& instance : module.iter_instances()) {
      ++m_instances[instance.get_name(NAME_STYLE)];
      for (unsigned view = 0; view != KEP_NUM_MODULE_VIEWS; ++view)
        count_instances(instance.get_module(static_cast<KEP_VIEW_TYPE>(view)));
    }
  }

  std::unique_ptr<KEP_DB> m_db = test_model::make_db(FUZZ::DEVICE);
  std::map<std::string, std::size_t> m_instances;
  std::map<std::string, std::size_t> m_nodes;
};

std::size_t get_count(const std::map<std::string, std::size_t>& names, const std::string& name) {
  const auto found = names.find(name);
  return found == names.end() ? 0 : found->second;
}

void find_relative_ports(const KEP_DB& db, std::string_view text) {
  KEP_DB_CACHE cache(KEP_VIEW_TYPE::LOGICAL, false);
  for (KEP_MODULE* top : db.iter_modules(true))
    for (const KEP_VIEW_TYPE_RANK& rank : RANKS) {
      KEP_RG_RELATIVE_PORT port;
      KEP_RG_RELATIVE_PORT by_cache;
      const bool is_found = port.parse(top, text, rank, nullptr);
      require(by_cache.parse(top, text, rank, &cache) == is_found, "found with a cache as without one");
      if (!is_found) continue;
      require(by_cache == port, "the same port with a cache");
      KEP_RG_RELATIVE_PORT again;
      require(again.parse(top, port.get_name(), rank, nullptr), "found by its name: " + port.get_name());
      require(again == port, "the same port by its name: " + port.get_name());
    }
}

void find_instances(const NAMED_DEVICE& device, const std::string& name) {
  const std::vector<KEP_UNFOLDED_INSTANCE> instances = device.m_db->find_unfolded_instances(name);
  for (const KEP_UNFOLDED_INSTANCE& instance : instances)
    require_equal(instance.get_name(NAME_STYLE), name, "an instance of that name");
  require(instances.size() == get_count(device.m_instances, name), "all instances of that name");
}

/// False when no node is found.
bool finds(const std::function<void()>& find) {
  try {
    find();
    return true;
  } catch (const std::runtime_error& error) {
    require(*error.what() != '\0', "a reason is told");
    return false;
  }
}

void find_nodes_of_name(const NAMED_DEVICE& device, const std::string& name) {
  std::vector<KEP_ROUTING::NODE> nodes;
  finds([&] { nodes = kep_get_nodes(*device.m_db, name); });
  for (const KEP_ROUTING::NODE& node : nodes)
    require_equal(node.get_name(NAME_STYLE), name, "a node of that name");
  require(nodes.size() == get_count(device.m_nodes, name), "all nodes of that name");
  KEP_ROUTING::NODE plain;
  if (finds([&] { plain = find_plain_node(*device.m_db, name); }))
    require(std::find(nodes.begin(), nodes.end(), plain) != nodes.end(), "the plain node is one of them");
  else
    for (const KEP_ROUTING::NODE& node : nodes)
      require(node.is_boundary() || node.is_hipi(), "no plain node of that name");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  silence_reports();
  static const NAMED_DEVICE device;
  const std::string name(as_text(data, size));
  find_relative_ports(*device.m_db, name);
  find_instances(device, name);
  find_nodes_of_name(device, name);
  return 0;
}
