#include "kep_io/database/kep_database_writer.h"

#include "kep/kep_cancelled.h"
#include "kep/kep_routing_graph.h"
#include "kep/persistence/kep_database_lister.h"
#include "kep/persistence/kep_graph_verifier.h"
#include "kep/persistence/kep_table_rules.h"
#include "kep_io/database/kep_checksum.h"
#include "kep_io/database/kep_database_layout.h"
#include "kep_io/database/kep_database_sections.h"

#include <capnp/message.h>
#include <capnp/serialize.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using COUNTS = std::vector<std::pair<std::string, std::uint64_t>>;

/// A stream of messages, or what adds up their bytes.
class STREAM : public kj::OutputStream {
public:
  explicit STREAM(std::ostream& out) : m_out(out) {}
  void write(const void* bytes, std::size_t size) override {
    kep_throw_if_cancelled();
    m_out.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  }

private:
  std::ostream& m_out;
};
class CHECKSUM_STREAM : public kj::OutputStream {
public:
  void write(const void* bytes, std::size_t size) override {
    m_checksum.add({static_cast<const std::byte*>(bytes), size});
  }
  std::uint64_t get() const { return m_checksum.get(); }

private:
  KEP_CHECKSUM m_checksum;
};

std::uint64_t get_num_bytes(capnp::MessageBuilder& message) {
  return capnp::computeSerializedSizeInWords(message) * sizeof(capnp::word);
}
std::uint64_t get_checksum(capnp::MessageBuilder& message) {
  CHECKSUM_STREAM stream;
  capnp::writeMessage(stream, message);
  return stream.get();
}

/// A section as a message, and what the header says of it.
struct SECTION {
  std::unique_ptr<capnp::MallocMessageBuilder> m_message;
  std::uint64_t m_num_bytes = 0;
  std::uint64_t m_checksum = 0;
};

template <class ROOT, class TABLES>
SECTION make_section(const TABLES& tables, std::size_t max_chunk_bytes) {
  kep_throw_if_cancelled();
  SECTION section;
  section.m_message = std::make_unique<capnp::MallocMessageBuilder>();
  kep_put_section(tables, max_chunk_bytes, section.m_message->initRoot<ROOT>());
  section.m_num_bytes = get_num_bytes(*section.m_message);
  section.m_checksum = get_checksum(*section.m_message);
  return section;
}

COUNTS count(const KEP_DATABASE_TABLES& tables) {
  const KEP_GRAPH_TABLES& graph = tables.m_graph;
  return {
      {"modules", tables.m_model.m_modules.size()},
      {"ports", tables.m_model.m_ports.size()},
      {"instances", tables.m_model.m_instances.size()},
      {"inst_ports", tables.m_model.m_inst_port_nets.size()},
      {"nets", tables.m_model.m_net_names.size()},
      {"occurrences", tables.m_positions.size() - 1},
      {"muxes", tables.m_description.m_muxes.size()},
      {"arcs", tables.m_description.m_arcs.size()},
      {"relative_paths", tables.m_paths.m_paths.size()},
      {"nodes", graph.is_built() ? graph.m_first_nodes.back() : 0},
      {"real_edges", graph.m_num_real_edges},
      {"redundant_edges", graph.m_num_edges - graph.m_num_real_edges},
      {"templates", graph.m_num_templates},
  };
}

template <class LIST>
void put_counts(const COUNTS& counts, LIST list) {
  for (unsigned i = 0; i != counts.size(); ++i) {
    list[i].setName(counts[i].first);
    list[i].setValue(counts[i].second);
  }
}

void put_origin(const KEP_DATABASE_ORIGIN& origin, KEP_CAPNP::Header::Builder to) {
  to.setMadeBy(origin.m_made_by);
  auto inputs = to.initInputs(static_cast<unsigned>(origin.m_inputs.size()));
  for (unsigned i = 0; i != origin.m_inputs.size(); ++i) {
    inputs[i].setRole(origin.m_inputs[i].m_role);
    inputs[i].setName(origin.m_inputs[i].m_name);
    inputs[i].setNumBytes(origin.m_inputs[i].m_num_bytes);
    inputs[i].setChecksum(origin.m_inputs[i].m_checksum);
  }
  auto options = to.initOptions(static_cast<unsigned>(origin.m_options.size()));
  for (unsigned i = 0; i != origin.m_options.size(); ++i) {
    options[i].setName(origin.m_options[i].first);
    options[i].setValue(origin.m_options[i].second);
  }
  put_counts(origin.m_counters, to.initCounters(static_cast<unsigned>(origin.m_counters.size())));
}

/// The message is as long whatever numbers it holds.
void put_sections(const std::vector<SECTION>& sections, KEP_CAPNP::Header::Builder to) {
  auto list = to.initSections(static_cast<unsigned>(sections.size()));
  for (unsigned i = 0; i != sections.size(); ++i) {
    list[i].setName(KEP_DATABASE_SECTIONS[i]);
    list[i].setNumBytes(sections[i].m_num_bytes);
    list[i].setChecksum(sections[i].m_checksum);
  }
}
void put_begins(std::uint64_t begin, KEP_CAPNP::Header::Builder to) {
  for (KEP_CAPNP::Section::Builder section : to.getSections()) {
    section.setBegin(begin);
    begin += section.getNumBytes();
  }
}

} // namespace

void kep_write_database_to(std::ostream& out, const KEP_DB& db, const KEP_DATABASE_ORIGIN& origin,
                           std::size_t max_chunk_bytes) {
  const KEP_DATABASE_TABLES tables = KEP_DATABASE_LISTER(db).list();
  // What can't be opened again is not written.
  if (tables.m_graph.is_built()) KEP_TABLE_RULES::in_section("graph", [&] { kep_verify_graph(tables); });
  std::vector<SECTION> sections;
  sections.push_back(make_section<KEP_CAPNP::Model>(tables.m_model, max_chunk_bytes));
  sections.push_back(make_section<KEP_CAPNP::Positions>(tables.m_positions, max_chunk_bytes));
  sections.push_back(make_section<KEP_CAPNP::Description>(tables.m_description, max_chunk_bytes));
  sections.push_back(make_section<KEP_CAPNP::Paths>(tables.m_paths, max_chunk_bytes));
  sections.push_back(make_section<KEP_CAPNP::Graph>(tables.m_graph, max_chunk_bytes));

  capnp::MallocMessageBuilder header;
  auto root = header.initRoot<KEP_CAPNP::Header>();
  put_sections(sections, root);
  const COUNTS counts = count(tables);
  put_counts(counts, root.initCounts(static_cast<unsigned>(counts.size())));
  put_origin(origin, root);
  KEP_DATABASE_PREFIX prefix;
  prefix.m_version = KEP_DATABASE_FILE_VERSION;
  prefix.m_header_bytes = static_cast<std::uint32_t>(get_num_bytes(header));
  put_begins(sizeof(prefix) + prefix.m_header_bytes, root);
  prefix.m_header_checksum = get_checksum(header);

  out.write(reinterpret_cast<const char*>(&prefix), sizeof(prefix));
  STREAM stream(out);
  capnp::writeMessage(stream, header);
  for (const SECTION& section : sections)
    capnp::writeMessage(stream, *section.m_message);
}
