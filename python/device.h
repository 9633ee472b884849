#pragma once

#include "kep/kep_db.h"
#include "kep/kep_numbered_graph.h"
#include "kep_io/kep_database_file.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <pybind11/pybind11.h>
#include <string>
#include <utility>

class DEVICE_TRACER;

/// The style in which every name is told.
inline constexpr KEP_NAME_STYLE NAME_STYLE{};

/// A device with its finished graph, which never changes again. Python and all nodes that it holds own it
/// together; any number of threads may read.
class DEVICE : public std::enable_shared_from_this<DEVICE> {
public:
  DEVICE(std::unique_ptr<KEP_DB> db, KEP_DATABASE_ORIGIN origin, std::string name);
  ~DEVICE();

  const KEP_DB& get_db() const { return *m_db; }
  const KEP_ROUTING::GRAPH& get_graph() const { return *m_db->get_routing_template_graph(); }
  KEP_ROUTING::NUMBERED_GRAPH get_numbers() const { return KEP_ROUTING::NUMBERED_GRAPH(get_graph()); }
  std::uint32_t get_num_nodes() const { return get_numbers().get_num_nodes(); }
  std::uint64_t get_num_edges() const {
    return get_graph().get_num_real_edges() + get_graph().get_num_redundant_edges();
  }
  const KEP_DATABASE_ORIGIN& get_origin() const { return m_origin; }
  /// What messages call it.
  const std::string& get_name() const { return m_name; }

  /// Calls `use(DEVICE_TRACER&)` as the only one at that time. The tracer is made when first used.
  template <class USE>
  void with_tracer(const USE& use) {
    const std::lock_guard lock(m_tracer_mutex);
    use(get_tracer());
  }

private:
  DEVICE_TRACER& get_tracer();

  std::unique_ptr<KEP_DB> m_db;
  KEP_DATABASE_ORIGIN m_origin;
  std::string m_name;
  std::mutex m_tracer_mutex;
  std::unique_ptr<DEVICE_TRACER> m_tracer;
};
using DEVICE_PTR = std::shared_ptr<DEVICE>;

void bind_device(pybind11::module_& module);
