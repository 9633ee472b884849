#pragma once

#include <boost/format.hpp>

#include <locale>

/// A format whose texts are the same whatever locale a program sets.
inline boost::format kep_rg_format(const char* text) {
  return boost::format(text, std::locale::classic());
}
