#pragma once

#include <locale>
#include <string>

/// While it lives, the locale of the process puts a comma behind every digit of a number but the last, and
/// writes a semicolon for a decimal point and words for truth values. Needs no locale of the system.
class ODD_LOCALE {
public:
  ODD_LOCALE() : m_before(std::locale::global(std::locale(std::locale::classic(), new PUNCTUATION))) {}
  ~ODD_LOCALE() { std::locale::global(m_before); }
  ODD_LOCALE(const ODD_LOCALE&) = delete;
  ODD_LOCALE& operator=(const ODD_LOCALE&) = delete;

private:
  class PUNCTUATION : public std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
    char do_decimal_point() const override { return ';'; }
  };
  std::locale m_before;
};
