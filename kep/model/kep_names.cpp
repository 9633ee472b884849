#include "kep/kep_types.h"

const char* kep_get_name_of_view_type(KEP_VIEW_TYPE view) {
  switch (view) {
  case KEP_VIEW_TYPE::LOGICAL:
    return "logical";
  case KEP_VIEW_TYPE::VIEW_1:
    return "view_1";
  case KEP_VIEW_TYPE::BLC:
    return "blc";
  case KEP_VIEW_TYPE::LOGICAL_TWIN:
    return "logical_twin";
  case KEP_VIEW_TYPE::DEFAULT_VIEW:
    return "default";
  }
  return "";
}
