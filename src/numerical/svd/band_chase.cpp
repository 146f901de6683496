#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/factor/sweep_wavefront.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/band_bidiagonal.hpp"
#include "numerical/svd/chase_kernels.hpp"

#include <algorithm>
#include <array>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t greatest_reach = 2 * greatest_band_width; // of a step, in rows or columns

// A reflector, and the coefficients that it needs for the rows and columns to which it is applied.
template <class T>
struct chase_workspace
{
    aligned_vector<T> v;
    std::array<T, greatest_band_width> coefficients;
    std::array<T, greatest_reach> sums;

    chase_workspace() { v.reserve(greatest_band_width); }
};

// A := A·H for the reflector in the workspace.
template <class T>
void reflect_from_right(int path, block_view<T> a, chase_workspace<T>& work)
{
    std::fill_n(work.sums.begin(), a.rows, T(0));
    add_row_dots_on(path, work.sums.data(), a.first, a.stride, a.rows, work.v.data(), a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        work.sums[i] *= 2.0;
    std::transform(work.v.begin(), work.v.end(), work.coefficients.begin(),
                   [](const T& x) { return conjugate(x); });
    subtract_from_rows_on(path, a.first, a.stride, a.rows, work.sums.data(),
                          work.coefficients.data(), a.cols);
}

// A := H·A.
template <class T>
void reflect_from_left(int path, block_view<T> a, chase_workspace<T>& work)
{
    std::fill_n(work.sums.begin(), a.cols, T(0));
    std::transform(work.v.begin(), work.v.end(), work.coefficients.begin(),
                   [](const T& x) { return negated(conjugate(x)); });
    subtract_products_on(path, work.sums.data(), work.coefficients.data(), a.first, a.stride,
                         a.rows, a.cols);
    std::transform(work.v.begin(), work.v.end(), work.coefficients.begin(),
                   [](const T& x) { return 2.0 * x; });
    subtract_from_rows_on(path, a.first, a.stride, a.rows, work.coefficients.data(),
                          work.sums.data(), a.cols);
}

// How the steps are done: whole blocks by the kernel, if there is one.
struct chase_path
{
    int path;
    upper_chase_kernel kernel;
};

chase_path path_for(const upper_band<double>& band)
{
    const int path = gemm_path_current();
    if (path == portable_path || (band.width != 16 && band.width != 32))
        return {path, nullptr};
    if (path == avx512_path)
        return {path, band.width == 16 ? avx512_upper_chase_16 : avx512_upper_chase_32};
    return {path, band.width == 16 ? avx2_upper_chase_16 : avx2_upper_chase_32};
}

chase_path path_for(const upper_band<complex>&)
{
    return {gemm_path_current(), nullptr};
}

// Of a step, on the scale of parallel_for: the kernel of whole blocks takes 0.4 microseconds at a
// width of 16, the loops some times that.
std::size_t work_of_step(const chase_path& by, std::size_t width)
{
    return (by.kernel != nullptr ? 2 : 6) * width * width;
}

bool chase_by_kernel(upper_chase_kernel kernel, upper_band<double>& band, std::size_t r,
                     std::size_t c)
{
    return kernel(&band(r, c), 3 * band.width);
}

bool chase_by_kernel(upper_chase_kernel, upper_band<complex>&, std::size_t, std::size_t)
{
    return false;
}

// Step k of sweep s, with c the first of the columns s + 1 + k·b ... A reflection of these columns
// clears row r right of column c; it fills the diagonal block below its diagonal, of which a
// reflection of the same rows clears the first column. What that spreads to the right is the next
// step's row.
//
//          c      c+b    c+2b
//     r  [ x x x       ]
//        [ x x x       ]
//     c  [ x x x  x    ]
//        [ x x x  x x  ]
//     c+b
template <class T>
void chase_step(const chase_path& by, upper_band<T>& band, chase_workspace<T>& work, std::size_t s,
                std::size_t k)
{
    const std::size_t n = band.order;
    const std::size_t width = band.width;
    const std::size_t c = s + 1 + k * width;
    const std::size_t end = std::min(c + width, n);
    const std::size_t r = k == 0 ? s : c - width;

    const bool whole = k > 0 && end + width <= n;
    if (whole && by.kernel != nullptr && chase_by_kernel(by.kernel, band, r, c))
        return;
    const int path = by.path;
    T* const row = &band(r, c);
    work.v.resize(end - c);
    std::transform(row, row + (end - c), work.v.begin(), [](const T& x) { return conjugate(x); });
    if (!is_zero_beyond_first(work.v)) {
        std::fill_n(row, end - c, T(0));
        *row = conjugate(householder_in_place(work.v));
        reflect_from_right(path, band.block(r + 1, end, c, end), work);
    }

    work.v.resize(end - c);
    for (std::size_t i = c; i < end; ++i)
        work.v[i - c] = band(i, c);
    if (!is_zero_beyond_first(work.v)) {
        for (std::size_t i = c; i < end; ++i)
            band(i, c) = 0;
        band(c, c) = householder_in_place(work.v);
        reflect_from_left(path, band.block(c, end, c + 1, std::min(end + width, n)), work);
    }
}

} // namespace

template <class T>
bidiagonal_entries narrow_band(upper_band<T>& band)
{
    const std::size_t n = band.order;
    const chase_path by = path_for(band);
    const std::size_t width = band.width;
    const auto steps_of = [=](std::size_t s) { return ceil_div(n - 2 - s, width); };
    const auto step = [&](chase_workspace<T>& work, std::size_t s, std::size_t k) {
        chase_step(by, band, work, s, k);
    };
    run_sweeps<chase_workspace<T>>(n < 2 ? 0 : n - 2, steps_of, work_of_step(by, width), step);

    bidiagonal_entries out{aligned_vector<double>(n), aligned_vector<double>(n)};
    for (std::size_t i = 0; i < n; ++i) {
        out.d[i] = modulus(band(i, i));
        out.e[i] = i + 1 < n ? modulus(band(i, i + 1)) : 0.0;
    }
    return out;
}

template bidiagonal_entries narrow_band(upper_band<double>&);
template bidiagonal_entries narrow_band(upper_band<complex>&);

} // namespace numerical::detail
