#pragma once

/// @file
/// How `kep_rg` refuses what it is given.

#include "kep_rg/kep_rg_export.h"

#include <exception>
#include <string>

/// Input that can't be used, told where it was found out. `what()` is the whole text: the message, the
/// function that refused, and the place in the source.
class KEP_RG_EXPORT KEP_EXCEPTION : public std::exception {
public:
  /// Keeps a copy of the whole text.
  explicit KEP_EXCEPTION(const char* message);
  KEP_EXCEPTION(const KEP_EXCEPTION&) = default;
  KEP_EXCEPTION& operator=(const KEP_EXCEPTION&) = default;
  ~KEP_EXCEPTION() override;

  /// The whole text; it lives as long as the exception.
  const char* what() const noexcept override;

private:
  std::string m_message;
};

/// The message alone: for users, to whom the place in the source says nothing.
KEP_RG_EXPORT std::string kep_rg_get_reason(const KEP_EXCEPTION& error);

/// The only exception that `kep_rg` throws.
class KEP_RG_EXPORT KEP_RUNTIME_ERROR : public KEP_EXCEPTION {
public:
  using KEP_EXCEPTION::KEP_EXCEPTION;
  ~KEP_RUNTIME_ERROR() override;
};

/// The free functions of `kep_rg` that have no prefix of their own.
namespace KEP_RG {

/// Throws KEP_RUNTIME_ERROR with "MESSAGE from function FUNCTION in FILE@LINE". A text ends at its first NUL.
/// `function` is the qualified name without an argument list.
[[noreturn, gnu::cold]] KEP_RG_EXPORT void throw_at_line(const std::string& message, const char* function,
                                                         const char* file, int line);

} // namespace KEP_RG

/// Throws from this line of this file.
#define KEP_RG_THROW(function, message) ::KEP_RG::throw_at_line((message), (function), __FILE__, __LINE__)
