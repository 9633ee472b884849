#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Writes a device model in the JSON form that the model reader takes (a hierarchical netlist of modules).
///
/// A module is filled as one KEP_MODEL_MODULE and written at once, or cell by cell, so a file may be far
/// larger than memory: only the module or the cell at hand is held. Order is kept: ports, cells and
/// connections are written in the order in which they stand. A bit is a net number within its module;
/// UNCONNECTED_BIT is written as "x".
///
/// One writer, one thread.

/// A net number that stands for no net.
inline constexpr std::int64_t KEP_MODEL_UNCONNECTED_BIT = -1;

enum class KEP_MODEL_DIRECTION : unsigned char { INPUT, OUTPUT, INOUT };

/// A number or a text; `text` counts when it is not empty.
struct KEP_MODEL_ATTRIBUTE {
  std::string m_name;
  std::int64_t m_number = 0;
  std::string m_text = {};
};

struct KEP_MODEL_PORT {
  std::string m_name;
  KEP_MODEL_DIRECTION m_direction = KEP_MODEL_DIRECTION::INPUT;
  std::vector<std::int64_t> m_bits;
};

struct KEP_MODEL_CELL {
  std::string m_name;
  std::string m_type; ///< key of the master module in the same file
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {};
  std::vector<std::pair<std::string, std::vector<std::int64_t>>> m_connections = {}; ///< port name, bits
};

struct KEP_MODEL_NETNAME {
  std::string m_name;
  std::vector<std::int64_t> m_bits;
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {};
};

struct KEP_MODEL_MODULE {
  std::string m_key;
  std::vector<KEP_MODEL_ATTRIBUTE> m_attributes = {};
  std::vector<KEP_MODEL_PORT> m_ports = {};
  std::vector<KEP_MODEL_CELL> m_cells = {};
  std::vector<KEP_MODEL_NETNAME> m_netnames = {};
};

class KEP_MODEL_WRITER {
public:
  /// Writes the head of the file. `out` must outlive the writer; its state tells of write errors.
  KEP_MODEL_WRITER(std::ostream& out, std::string_view creator);
  KEP_MODEL_WRITER(const KEP_MODEL_WRITER&) = delete;
  KEP_MODEL_WRITER& operator=(const KEP_MODEL_WRITER&) = delete;

  void write(const KEP_MODEL_MODULE& module);

  /// A module of more cells than should be held: its key, attributes and ports, then cell by cell, then its
  /// net names. The bytes are those of write().
  void begin_module(const KEP_MODEL_MODULE& module);
  void write_cell(const KEP_MODEL_CELL& cell);
  void end_module(const KEP_MODEL_MODULE& module);

  /// Writes the end of the file and flushes. Nothing may be written after it.
  void finish();

private:
  std::ostream& m_out;
  std::string m_buffer; // the text of one piece, reused
  bool m_is_first_module = true;
  bool m_is_first_cell = true;
};
