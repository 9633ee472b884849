#include "kep/kep_unfold_observer.h"

KEP_UNFOLD_OBSERVER::~KEP_UNFOLD_OBSERVER() = default;
void KEP_UNFOLD_OBSERVER::close() {}
void KEP_UNFOLD_OBSERVER::start_uip(const KEP_UNFOLDED_INST_PORT&) {}
void KEP_UNFOLD_OBSERVER::finish_uip() {}
void KEP_UNFOLD_OBSERVER::start_net(const KEP_UNFOLDED_NET&) {}
void KEP_UNFOLD_OBSERVER::visit(const KEP_UNFOLDED_PORT&, VISIT_TYPE) {}
void KEP_UNFOLD_OBSERVER::visit(const KEP_UNFOLDED_INST_PORT&, VISIT_TYPE) {}

const char* KEP_UNFOLD_OBSERVER::get_name_of_visit_type(VISIT_TYPE type) {
  switch (type) {
  case VISIT_TYPE::START:
    return "start";
  case VISIT_TYPE::TARGET:
    return "target";
  case VISIT_TYPE::WALK:
    return "walk";
  case VISIT_TYPE::FOUND:
    return "found";
  case VISIT_TYPE::MUX_INPUT:
    return "mux_input";
  case VISIT_TYPE::MUX_OUTPUT:
    return "mux_output";
  case VISIT_TYPE::SKIP:
    return "skip";
  case VISIT_TYPE::TERMINATING:
    return "terminating";
  case VISIT_TYPE::END:
    return "end";
  case VISIT_TYPE::SEARCH:
    return "search";
  case VISIT_TYPE::CROSS:
    return "cross";
  }
  return "";
}
