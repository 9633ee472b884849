#pragma once

#include "tools/kep-rg/generate/generate.h"

namespace CLI {
class App;
}

/// Adds the options of `kep-rg generate` to its sub-command; parsing fills `options`.
void add_generate_options(CLI::App& app, GENERATE_OPTIONS& options);
