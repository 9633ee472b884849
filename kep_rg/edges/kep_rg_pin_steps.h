#pragma once

#include "kep_rg/edges/kep_rg_plain_nets.h"

#include <cstdint>
#include <vector>

/// What a search from a driver does at the inst ports ("pins") of the nets that it walks, as far as the
/// folded model tells. Any number of threads may ask.
class KEP_RG_PIN_STEPS {
public:
  using MODE = KEP_RG_PLAIN_NETS::MODE;
  static constexpr std::uint32_t NO_TARGET = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_TARGET;
  static constexpr std::uint32_t NO_MUX_INPUT = KEP_ROUTING_BUILDER_EDGE_BUILDER::NO_MUX_INPUT;
  enum class STEP {
    ASK,  ///< the folded model does not tell
    PASS, ///< nothing
    LEAF,
    INTO, ///< goes on inside the instance
  };
  /// From which view of its master a search may come out of an instance at a port.
  enum class WAY_OUT : unsigned char {
    NONE,
    INNER, ///< that into which a search goes there, and no other
    OTHER,
  };
  /// The answer for most pins: nothing is done there, or it leads to a net inside, or it is a leaf with one
  /// fanout.
  class PIN {
  public:
    PIN() = default;
    explicit PIN(const KEP_RG_PLAIN_NETS::FANOUT& fanout) : m_fanout(fanout) {}
    static PIN look() { return PIN({NO_TARGET, NO_MUX_INPUT}); } ///< the other questions tell
    static PIN into() { return PIN({NO_TARGET, 0}); }
    bool is_passed() const { return m_fanout.m_target == 0; }
    bool is_looked_at() const { return m_fanout.m_target == NO_TARGET && m_fanout.m_mux_input != 0; }
    bool leads_into() const { return m_fanout.m_target == NO_TARGET && m_fanout.m_mux_input == 0; }
    bool is_leaf() const { return m_fanout.m_target != 0 && m_fanout.m_target != NO_TARGET; }
    const KEP_RG_PLAIN_NETS::FANOUT& get_fanout() const { return m_fanout; }
    PIN with_target(std::uint32_t target) const { return PIN({target, m_fanout.m_mux_input}); }

  private:
    KEP_RG_PLAIN_NETS::FANOUT m_fanout{0, NO_MUX_INPUT};
  };

  explicit KEP_RG_PIN_STEPS(const KEP_RG_PLAIN_NETS::DEVICE& device);

  const KEP_RG_PLAIN_NETS::DEVICE& get_device() const { return m_device; }
  STEP find_step(MODE mode, KEP_INST_PORT* pin) const;
  /// In searches that end at primitives, by the pin's number.
  std::vector<PIN> find_pins(const KEP_MODULE& module) const;

  bool is_terminating(MODE mode, KEP_INST_PORT* pin) const;
  KEP_UNFOLDED_PORT get_inner_port(KEP_INST_PORT* pin) const {
    return at_some_place(pin).get_unfolded_port(m_device.m_view_type_rank);
  }
  WAY_OUT get_way_out(const KEP_PORT* port) const { return m_ports[port->get_number()].m_way_out; }
  /// A search that ends at primitives and comes out by a pin of the port goes on along the pin's net.
  bool goes_on_outside(const KEP_PORT* port) const {
    const PORT& known = m_ports[port->get_number()];
    return known.m_is_passed || known.m_pin.leads_into();
  }
  std::uint32_t find_target(const KEP_INST_PORT& pin) const {
    return m_device.m_edge_builder.find_target(pin);
  }

private:
  /// A uip of the pin, for questions in whose answer the place plays no part.
  static KEP_UNFOLDED_INST_PORT at_some_place(KEP_INST_PORT* pin) { return {0, pin}; }
  bool is_leaf(MODE mode, KEP_INST_PORT* pin) const;
  WAY_OUT find_way_out(const KEP_PORT& port) const;
  bool is_passed(KEP_PORT& port) const;
  PIN find_pin_of_port(KEP_PORT& port) const;
  void find_pins_of_instance(KEP_INSTANCE& instance, PIN* pins) const;

  /// What holds for all pins of a port.
  struct PORT {
    PIN m_pin; // the target is the index of its port, plus one
    WAY_OUT m_way_out = WAY_OUT::NONE;
    bool m_is_passed = false; // by searches along the net and by those that come out
  };

  const KEP_RG_PLAIN_NETS::DEVICE& m_device;
  std::vector<PORT> m_ports; // by number
};
