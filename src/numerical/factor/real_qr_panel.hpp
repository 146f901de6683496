#pragma once

// The panel of a real QR factorization; the complex one is in qr_panel.cpp.

#include "numerical/strided/block_view.hpp"

namespace numerical::detail {

// Factors the panel, which has at least as many rows as columns, on the calling thread: leaves R on
// and above its diagonal. Column j of V becomes the reflector of column j, or zeros for a column
// that was zero already; both are zero above row j.
void factor_real_panel(block_view<double> panel, block_view<double> v);

} // namespace numerical::detail
