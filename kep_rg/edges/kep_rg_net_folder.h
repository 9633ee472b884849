#pragma once

#include "kep_rg/edges/kep_rg_pin_steps.h"

#include <cstdint>
#include <vector>

/// Folds nets of one module that follow each other. The modules below are folded by now if the search ends at
/// primitives.
class KEP_RG_NET_FOLDER {
public:
  using NETS = KEP_RG_PLAIN_NETS;
  /// `own` is the module folded so far: its slots. Of no pins each is looked at.
  KEP_RG_NET_FOLDER(const KEP_RG_PIN_STEPS& steps, const NETS& nets, NETS::MODE mode,
                    const KEP_MODULE& module, const NETS::MODULE& own, const std::vector<NETS::FANOUT>& pins)
      : m_steps(steps), m_nets(nets), m_mode(mode), m_module(module), m_own(own), m_pins(pins) {}

  NETS::NETS_PART fold(std::uint32_t begin, std::uint32_t end);
  /// A way into the instance at a pin behind which a net stands.
  static NETS::STOP make_way_in(const NETS::MODULE& own, const KEP_INST_PORT& pin,
                                const KEP_UNFOLDED_PORT& inner, std::uint32_t end_run);
  /// The net behind a pin if all that is found there is told with the net outside, else null. From an end
  /// that is told so a walk comes out only if it began there.
  static const NETS::NET* find_end(const KEP_RG_PIN_STEPS& steps, const NETS& nets, NETS::MODE mode,
                                   const KEP_INST_PORT& pin, const KEP_PORT& inner);

private:
  using STEP = KEP_RG_PIN_STEPS::STEP;

  NETS::NET& net() { return m_part.m_nets.back(); }
  void fold_net(const KEP_NET& net);
  bool fold_pins(const KEP_NET& net);
  bool look_at(KEP_INST_PORT* pin);
  void add_leaf(KEP_INST_PORT* pin);
  void add_way_in(KEP_INST_PORT* pin);
  void take_end(const NETS::NET* end, const NETS::STOP& way);
  void add_target(KEP_INST_PORT* target, const KEP_INST_PORT* mux_input);
  void add_fanout(const NETS::FANOUT& fanout);

  const KEP_RG_PIN_STEPS& m_steps;
  const NETS& m_nets;
  NETS::MODE m_mode;
  const KEP_MODULE& m_module;
  const NETS::MODULE& m_own;
  const std::vector<NETS::FANOUT>& m_pins;
  NETS::NETS_PART m_part;
  bool m_joins_run = false; // the next fanout belongs to the last run
};

/// Runs hold no fanouts of their own while these are gathered: gives them theirs, which stand in their order.
void kep_rg_settle_runs(std::vector<KEP_RG_PLAIN_NETS::RUN>& runs,
                        const std::vector<KEP_RG_PLAIN_NETS::FANOUT>& fanouts);
