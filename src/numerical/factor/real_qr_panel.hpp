#pragma once

// The panel of a real QR factorization; the complex one is in qr_panel.cpp.

#include "numerical/strided/block_view.hpp"

#include <vector>

namespace numerical::detail {

// Factors the block, which has at least as many rows as columns, on the calling thread: leaves R on
// and above its diagonal, and the reflector of column j in reflectors[j].
void factor_real_panel(block_view<double> block, std::vector<double>* reflectors);

} // namespace numerical::detail
