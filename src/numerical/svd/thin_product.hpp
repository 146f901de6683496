#pragma once

// Products with thin factors in real arithmetic, for both element types. A row of complex numbers
// is a real row of twice the length, (real, imaginary) pairs, and so a large operand may stay as it
// is:
//
//     A·B  = [Re A | Im A]·[  B ]        [ P ] = [ Re Aᵀ ]·B,    Aᴴ·B = P - i·Q.
//                          [ iB ],       [ Q ]   [ Im Aᵀ ]
//
// Only the thin operands are written anew. A complex product by itself would take all three apart.

#include "numerical/gemm/block_view.hpp"

#include <vector>

namespace numerical::detail {

// C += A·B. T = double or std::complex<double>.
template <class T>
void add_thin_product(block_view<const std::type_identity_t<T>> a,
                      block_view<const std::type_identity_t<T>> b, block_view<T> c);

// C += V·(F·(Vᴴ·C)) for a thin V, by slabs of columns that stay in the second cache between the
// products. The slabs don't depend on the number of threads.
template <class T>
class thin_update
{
public:
    // V and V·F, by rows.
    thin_update(block_view<const T> v, const std::vector<T>& vf);

    void apply_to(block_view<T> c) const;

private:
    void apply_to_slab(block_view<T> c) const;

    std::size_t rows;
    std::size_t depth;           // columns of V
    std::vector<double> adjoint; // [Re Vᵀ; Im Vᵀ]
    std::vector<double> left;    // [Re VF | Im VF]
};

} // namespace numerical::detail
