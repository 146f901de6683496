#pragma once

// The QR iteration with one bulge at a time (Francis 1961), for blocks that stay in L1 and L2. Rows
// of h and z need the padding of bulge_kernels.hpp.

#include "numerical/nonsymmetric/schur_views.hpp"

#include <cstddef>

namespace numerical::detail {

// After this many steps without deflation the shifts are replaced once by ad hoc ones, which break
// cycles (Martin, Peters and Wilkinson 1970).
constexpr std::size_t exceptional_step = 10;

// The limit of steps (sweeps with one bulge or many) for n rows; the same as LAPACK's.
constexpr std::size_t qr_step_limit(std::size_t n)
{
    return 30 * (n < 10 ? 10 : n);
}

// Whether the rows and columns outside an active block are updated, for a Schur form, or only the
// block itself, for eigenvalues.
enum class schur_extent { whole, active_block };

// Brings the Hessenberg block [from, to) to Schur form, real 2 × 2 blocks standardised. Returns
// the end of the rows that have not converged within `step_limit` steps: `from` if all have.
template <class T>
std::size_t small_qr(const schur_views<T>& s, std::size_t from, std::size_t to, schur_extent extent,
                     std::size_t step_limit);

} // namespace numerical::detail
