#pragma once

#include <string_view>

/// The page without a device: HTML with style sheets and scripts in it, made of the folder viewer when the
/// tool is built. The lines "<!-- facts -->" and "<!-- database -->" stand for what is still missing.
extern const std::string_view PAGE_FRAME;
