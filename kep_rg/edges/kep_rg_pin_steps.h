#pragma once

#include "kep_rg/edges/kep_rg_plain_nets.h"

#include <cstdint>
#include <vector>

/// What a search from a driver does at the inst ports ("pins") of the nets that it walks, as far as the
/// folded model tells. Any number of threads may ask.
class KEP_RG_PIN_STEPS {
public:
  using MODE = KEP_RG_PLAIN_NETS::MODE;
  using FANOUT = KEP_RG_PLAIN_NETS::FANOUT;
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
  /// The answer for most pins is the one fanout of a leaf, or has one of these for its target.
  static constexpr std::uint32_t PASS = 0;             ///< nothing is done there
  static constexpr std::uint32_t INTO = NO_TARGET - 1; ///< it leads to a net inside
  static constexpr std::uint32_t LOOK = NO_TARGET;     ///< the other questions tell

  explicit KEP_RG_PIN_STEPS(const KEP_RG_PLAIN_NETS::DEVICE& device);

  const KEP_RG_PLAIN_NETS::DEVICE& get_device() const { return m_device; }
  STEP find_step(MODE mode, KEP_INST_PORT* pin) const;
  /// In searches that end at primitives, by the pin's number.
  std::vector<FANOUT> find_pins(const KEP_MODULE& module) const;

  bool is_terminating(MODE mode, KEP_INST_PORT* pin) const;
  KEP_UNFOLDED_PORT get_inner_port(KEP_INST_PORT* pin) const {
    return at_some_place(pin).get_unfolded_port(m_device.m_view_type_rank);
  }
  WAY_OUT get_way_out(const KEP_PORT* port) const { return m_ports[port->get_number()].m_way_out; }
  /// A search that ends at primitives and comes out by a pin of the port goes on along the pin's net.
  bool goes_on_outside(const KEP_PORT* port) const {
    const PORT& known = m_ports[port->get_number()];
    return known.m_is_passed || known.m_pin == INTO;
  }
  std::uint32_t find_target(const KEP_INST_PORT& pin) const {
    return m_device.m_edge_builder.find_target(pin);
  }
  /// The fanout at a pin, which has that number as a target; through the mux input unless that is null.
  static FANOUT make_fanout(std::uint32_t number, const KEP_INST_PORT* target,
                            const KEP_INST_PORT* mux_input) {
    return {number, mux_input ? static_cast<std::uint32_t>(mux_input - target) : NO_MUX_INPUT};
  }

private:
  /// A uip of the pin, for questions in whose answer the place plays no part.
  static KEP_UNFOLDED_INST_PORT at_some_place(KEP_INST_PORT* pin) { return {0, pin}; }
  bool is_leaf(MODE mode, KEP_INST_PORT* pin) const;
  WAY_OUT find_way_out(const KEP_PORT& port) const;
  bool is_passed(KEP_PORT& port) const;
  std::uint32_t find_pin(KEP_PORT& port, WAY_OUT way_out) const;
  std::uint32_t find_leaf(KEP_PORT& port) const;
  void find_pins_of_instance(KEP_INSTANCE& instance, FANOUT* pins) const;

  /// What holds for all pins of a port.
  struct PORT {
    std::uint32_t m_pin; // PASS, INTO, LOOK, or a leaf: the index of the target's port, plus one
    WAY_OUT m_way_out;
    bool m_is_passed; // by searches along the net and by those that come out
    bool m_is_mux_input;
  };

  const KEP_RG_PLAIN_NETS::DEVICE& m_device;
  std::vector<PORT> m_ports; // by number
};
