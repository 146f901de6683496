#include "numerical/svd/pseudo_inverse.hpp"

#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/svd.hpp"

#include <utility>

namespace numerical {

template <class T>
matrix<T> pinv(const matrix<T>& a)
{
    detail::require_finite(a, "pinv");
    if (const int guard = detail::guard_exponent(detail::largest_part(a.data)); guard != 0)
        return detail::times_power(pinv(detail::times_power(a, guard)), guard);
    svd_decomposition<T> svd(a, svd_method::divide_and_conquer);
    const std::size_t rank = detail::count_above_threshold(svd.values, a.rows, a.cols);
    if (rank == 0)
        return detail::zero_matrix<T>(a.cols, a.rows);
    matrix<T>& right = svd.v; // becomes V·S⁻¹
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < rank; ++i)
            right.data[j * right.cols + i] *= T(1.0 / svd.values[i]);
    std::vector<T> p = detail::unfused_product_with_adjoint<T>(
        {.first = right.data.data(), .rows = a.cols, .cols = rank, .stride = right.cols},
        {.first = svd.u.data.data(), .rows = a.rows, .cols = rank, .stride = svd.u.cols});
    return matrix<T>(a.cols, a.rows, std::move(p));
}

template matrix<double> pinv(const matrix<double>&);
template matrix<detail::complex> pinv(const matrix<detail::complex>&);

} // namespace numerical
