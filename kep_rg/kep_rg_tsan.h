#pragma once

#include "kep/kep_tsan.h"

namespace KEP_RG_TSAN = KEP_TSAN;
