#include "numerical/errors.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/fastest_qr.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/matrix.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <complex>
#include <vector>

namespace numerical {

using complex = std::complex<double>;
using detail::first_failure;

namespace {

// Whether the product of the single call's second block goes by tiles.
bool has_fused_trailing_update(std::size_t n)
{
    constexpr std::size_t block = 16;
    return n > block && detail::summed_by_tiles(n - block, n - block, block);
}

// The kernel that rounds sums as the products of the single call do, or null.
template <class T>
detail::lane_kernel qr_kernel(std::size_t rows, std::size_t cols)
{
    if (cols == 0 || cols > rows || rows > detail::greatest_qr_rows)
        return nullptr;
    const detail::lane_kernels& kernels = detail::lane_kernels_for(T());
    if (cols >= detail::least_tile_side) // Q is formed by tiles
        return kernels.fused_qr;
    return detail::summed_by_tiles(cols, cols, rows) ? kernels.fused_gram_qr : kernels.narrow_qr;
}

// The thin factors of matrix i by the single call.
template <class T>
void factor_one(const matrix_stack<T>& a, std::size_t i, T* q, T* r)
{
    matrix<T> work = a.copy_of(i);
    detail::require_finite(work, "QR decomposition");
    const auto thin = detail::fastest_qr(std::move(work.data), a.rows, a.cols);
    std::copy(thin.q.begin(), thin.q.end(), q + i * thin.q.size());
    std::copy(thin.r.begin(), thin.r.end(), r + i * thin.r.size());
}

} // namespace

template <class T>
void stacks::cholesky(std::size_t count, const matrix_stack<T>& a, T* factors)
{
    if (a.rows != a.cols)
        throw dimension_error("Cholesky decomposition requires a square matrix");
    const std::size_t n = a.rows;
    const auto one = [&](std::size_t i) {
        const cholesky_decomposition<T> decomposition(a.copy_of(i));
        std::copy(decomposition.factors.begin(), decomposition.factors.end(), factors + i * n * n);
    };
    first_failure failures;
    if (n != 0 && n <= detail::greatest_lane_order<T>) {
        const detail::lane_kernels& kernels = detail::lane_kernels_for(T());
        const detail::lane_kernel kernel =
            has_fused_trailing_update(n) ? kernels.cholesky_fused_trailing : kernels.cholesky;
        const auto finish = [&](std::size_t i, bool trusted) {
            if (!trusted)
                failures.attempt(i, [&] { one(i); });
        };
        const std::size_t least = detail::least_live_of_factorization(n, kernels.width);
        detail::run_in_lanes<T>({.kernel = kernel,
                                 .width = kernels.width,
                                 .rows = n,
                                 .cols = n,
                                 .depth = n,
                                 .least_live = least},
                                count, a, a, {factors, n * n}, finish);
    } else {
        detail::run_one_by_one(count, n * n * n / 4 + 512, failures, one);
    }
    failures.rethrow();
}

template <class T>
void stacks::qr(std::size_t count, const matrix_stack<T>& a, T* q, T* r)
{
    const std::size_t k = std::min(a.rows, a.cols);
    const auto one = [&](std::size_t i) { factor_one(a, i, q, r); };
    first_failure failures;
    if (const detail::lane_kernel kernel = qr_kernel<T>(a.rows, a.cols)) {
        const auto finish = [&](std::size_t i, bool trusted) {
            if (!trusted)
                failures.attempt(i, [&] { one(i); });
        };
        const std::size_t width = detail::lane_kernels_for(T()).width;
        detail::run_in_lanes<T>(
            {.kernel = kernel, .width = width, .rows = a.rows, .cols = a.cols, .depth = a.cols},
            count, a, a, {.first = q, .step = a.rows * k, .second = r, .second_step = k * a.cols},
            finish);
    } else {
        detail::run_one_by_one(count, a.rows * a.cols * k + 4096, failures, one);
    }
    failures.rethrow();
}

bool stacks::has_small_qr(std::size_t rows, std::size_t cols)
{
    return cols != 0 && cols <= rows && rows <= detail::greatest_complex_qr_rows;
}

void stacks::small_qr(std::size_t count, const matrix_stack<complex>& a, complex* q, complex* r)
{
    first_failure failures;
    const auto finish = [&](std::size_t i, bool trusted) {
        if (!trusted)
            failures.attempt(i, [&] { factor_one(a, i, q, r); });
    };
    const auto [width, kernel] = detail::complex_reflectors_for(count);
    detail::run_in_lanes<complex>(
        {.kernel = kernel, .width = width, .rows = a.rows, .cols = a.cols, .depth = a.cols}, count,
        a, a, {.first = q, .step = a.rows * a.cols, .second = r, .second_step = a.cols * a.cols},
        finish);
    failures.rethrow();
}

template void stacks::cholesky(std::size_t, const matrix_stack<double>&, double*);
template void stacks::cholesky(std::size_t, const matrix_stack<complex>&, complex*);
template void stacks::qr(std::size_t, const matrix_stack<double>&, double*, double*);
template void stacks::qr(std::size_t, const matrix_stack<complex>&, complex*, complex*);

} // namespace numerical
