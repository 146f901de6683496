#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace {

using complex = std::complex<double>;

// The lanes' kernel for a product of these sizes, or null where tiles serve it better.
template <class T>
detail::lane_kernel product_kernel(std::size_t m, std::size_t n, std::size_t k)
{
    constexpr std::size_t greatest = 8;
    if (std::max({m, n, k}) > greatest || m * n * k == 0)
        return nullptr;
    const detail::lane_kernels& kernels = detail::lane_kernels_for(T());
    return detail::worth_tiles(m, n, k) ? kernels.multiply_fused : kernels.multiply_rounded;
}

} // namespace

template <class T>
void stacks::multiply(std::size_t count, const matrix_stack<T>& a, const matrix_stack<T>& b, T* c)
{
    if (a.cols != b.rows)
        throw dimension_error("matrix–matrix product: inner dimensions differ");
    const std::size_t m = a.rows;
    const std::size_t n = b.cols;
    const std::size_t k = a.cols;
    const auto one = [&](std::size_t i) {
        detail::gemm_new(m, n, k, a.at(i), k, b.at(i), n, c + i * m * n, n);
    };
    if (const detail::lane_kernel kernel = product_kernel<T>(m, n, k)) {
        const auto finish = [&](std::size_t i, bool trusted) {
            if (!trusted)
                one(i);
        };
        const std::size_t width = detail::lane_kernels_for(T()).width;
        detail::run_in_lanes<T>({kernel, width, m, n, k}, count, a, b, {c, m * n}, finish);
    } else if (m * n != 0) {
        const bool inside = count < 2 * detail::allowed_threads();
        detail::parallel_for(count, inside ? 0 : m * n * k / 16 + 16, one);
    }
}

template void stacks::multiply(std::size_t, const matrix_stack<double>&,
                               const matrix_stack<double>&, double*);
template void stacks::multiply(std::size_t, const matrix_stack<complex>&,
                               const matrix_stack<complex>&, complex*);

} // namespace numerical
