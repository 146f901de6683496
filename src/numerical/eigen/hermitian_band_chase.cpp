#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/chase_kernels.hpp"
#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/factor/sweep_wavefront.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <complex>

namespace numerical::detail {
namespace {

template <class T>
using short_vector = std::array<T, greatest_hermitian_band_width>;

template <class T>
struct chase_workspace
{
    aligned_vector<T> v;
    short_vector<T> conjugates; // of v
    short_vector<T> coefficients;
    short_vector<T> sums;

    chase_workspace() { v.reserve(greatest_hermitian_band_width); }
};

template <class T>
void conjugate_into(short_vector<T>& to, const T* from, std::size_t n)
{
    std::transform(from, from + n, to.begin(), [](const T& x) { return conjugate(x); });
}

// A := A·H for the reflector u: the sums are A·u, taken as conjugates of Aᴴ's dots with conj(u).
template <class T>
void reflect_from_right(int path, block_view<T> a, const T* u, chase_workspace<T>& work)
{
    conjugate_into(work.coefficients, u, a.cols);
    row_dots(path, work.sums.data(), work.coefficients.data(), a.first, a.stride, a.rows, a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        work.sums[i] = 2.0 * conjugate(work.sums[i]);
    subtract_from_rows_on(path, a.first, a.stride, a.rows, work.sums.data(),
                          work.coefficients.data(), a.cols);
}

// A := H·A for the reflector v of the workspace.
template <class T>
void reflect_from_left(int path, block_view<T> a, chase_workspace<T>& work)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        work.coefficients[i] = negated(work.conjugates[i]);
    std::fill_n(work.sums.begin(), a.cols, T(0));
    subtract_products_on(path, work.sums.data(), work.coefficients.data(), a.first, a.stride,
                         a.rows, a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        work.coefficients[i] = 2.0 * work.v[i];
    subtract_from_rows_on(path, a.first, a.stride, a.rows, work.coefficients.data(),
                          work.sums.data(), a.cols);
}

// The last row above the diagonal as well. The window of a step moves by one row from sweep to
// sweep; what it holds above the diagonal of the others it has kept up itself.
template <class T>
void mirror_last_row(block_view<T> a)
{
    const std::size_t last = a.rows - 1;
    a(last, last) = real_part(a(last, last));
    for (std::size_t j = 0; j < last; ++j)
        a(j, last) = conjugate(a(last, j));
}

// A := H·A·H = A - v·wᴴ - w·vᴴ with w = 2·A·v - 2·(vᴴAv)·v. The sum of the rows times conj(v) is
// -conj(A·v), as A is Hermitian.
template <class T>
void reflect_both_sides(int path, block_view<T> a, chase_workspace<T>& work)
{
    const std::size_t n = a.rows;
    short_vector<T>& w = work.sums;
    std::fill_n(w.begin(), n, T(0));
    subtract_products_on(path, w.data(), work.conjugates.data(), a.first, a.stride, n, n);
    T projection = 0;
    for (std::size_t i = 0; i < n; ++i) {
        w[i] = -2.0 * conjugate(w[i]);
        projection += finite_product(work.conjugates[i], w[i]);
    }
    for (std::size_t i = 0; i < n; ++i)
        w[i] -= finite_product(projection, work.v[i]);
    conjugate_into(work.coefficients, w.data(), n);
    subtract_from_rows_on(path, a.first, a.stride, n, work.v.data(), work.coefficients.data(), n);
    subtract_from_rows_on(path, a.first, a.stride, n, w.data(), work.conjugates.data(), n);
}

// How the steps are done: whole blocks by the kernel, if there is one.
struct chase_path
{
    int path;
    chase_kernel kernel;
};

chase_path path_for(const hermitian_band<double>& band)
{
    const int path = gemm_path_current();
    if (path == portable_path || (band.width != 16 && band.width != 32))
        return {path, nullptr};
    if (path == avx512_path)
        return {path, band.width == 16 ? avx512_chase_16 : avx512_chase_32};
    return {path, band.width == 16 ? avx2_chase_16 : avx2_chase_32};
}

chase_path path_for(const hermitian_band<complex>&)
{
    return {gemm_path_current(), nullptr};
}

// Of a step, on the scale of parallel_for: the kernel of whole blocks takes 0.3 microseconds at a
// width of 16 and 0.8 at one of 32, the loops some times that.
std::size_t work_of_step(const chase_path& by, std::size_t width)
{
    return (by.kernel != nullptr ? 2 : 6) * width * width;
}

bool chase_by_kernel(chase_kernel kernel, hermitian_band<double>& band, double* reflector,
                     std::size_t c)
{
    return kernel({&band(c, c - band.width), &band(c, c), 3 * band.width}, reflector);
}

bool chase_by_kernel(chase_kernel, hermitian_band<complex>&, complex*, std::size_t)
{
    return false;
}

// Step k of sweep s, with c the first of the rows s + 1 + k·b ... The reflector of the step before
// comes to the block left of the diagonal one; there a reflection of these rows clears what its
// first column, p, has below row c, and it goes on into the diagonal block from both sides.
//
//          p        c        c+b
//     c  [ x x x x  d        ]
//        [ x x x x  d d      ]
//        [ x x x x  d d d    ]
//     c+b
//
// `reflector` is the sweep's own: that of the step before, then that of this one, zero for none.
template <class T>
void chase_step(const chase_path& by, hermitian_band<T>& band, chase_workspace<T>& work,
                T* reflector, std::size_t s, std::size_t k)
{
    const std::size_t c = s + 1 + k * band.width;
    const std::size_t end = std::min(c + band.width, band.order);
    const std::size_t p = k == 0 ? s : c - band.width;
    const bool whole = k > 0 && end - c == band.width;
    if (whole && by.kernel != nullptr && chase_by_kernel(by.kernel, band, reflector, c))
        return;
    const int path = by.path;
    if (k > 0)
        reflect_from_right(path, band.block(c, end, p, c), reflector, work);

    work.v.resize(end - c);
    for (std::size_t i = c; i < end; ++i)
        work.v[i - c] = band(i, p);
    mirror_last_row(band.block(c, end, c, end));
    if (is_zero_beyond_first(work.v)) {
        std::fill_n(reflector, band.width, T(0));
        return;
    }
    for (std::size_t i = c; i < end; ++i)
        band(i, p) = 0;
    band(c, p) = householder_in_place(work.v);
    conjugate_into(work.conjugates, work.v.data(), end - c);
    reflect_from_left(path, band.block(c, end, p + 1, c), work);
    reflect_both_sides(path, band.block(c, end, c, end), work);
    std::copy(work.v.begin(), work.v.end(), reflector);
}

// keep(s, k, reflector) sees the reflector of each step.
template <class T, class Keep>
void narrow(hermitian_band<T>& band, aligned_vector<double>& d, aligned_vector<double>& e,
            const Keep& keep)
{
    const std::size_t n = band.order;
    const std::size_t width = band.width;
    const chase_path by = path_for(band);
    aligned_vector<T> reflectors = zeros<T>(n * width);
    const auto steps_of = [=](std::size_t s) { return ceil_div(n - 1 - s, width); };
    const auto step = [&](chase_workspace<T>& work, std::size_t s, std::size_t k) {
        T* const reflector = reflectors.data() + s * width;
        chase_step(by, band, work, reflector, s, k);
        keep(s, k, reflector);
    };
    run_sweeps<chase_workspace<T>>(n < 2 ? 0 : n - 2, steps_of, work_of_step(by, width), step);

    for (std::size_t i = 0; i < n; ++i) {
        d[i] = real_part(band(i, i));
        e[i] = i + 1 < n ? modulus(band(i + 1, i)) : 0.0;
    }
}

} // namespace

template <class T>
void narrow_hermitian_band(hermitian_band<T>& band, aligned_vector<double>& d,
                           aligned_vector<double>& e)
{
    narrow(band, d, e, [](std::size_t, std::size_t, const T*) {});
}

template <class T>
chase_reflectors<T> narrow_keeping_reflectors(hermitian_band<T>& band, aligned_vector<double>& d,
                                              aligned_vector<double>& e)
{
    chase_reflectors<T> kept(band.order, band.width);
    narrow(band, d, e, [&](std::size_t s, std::size_t k, const T* reflector) {
        std::copy_n(reflector, kept.end_row(s, k) - kept.first_row(s, k), kept.at(s, k));
    });
    return kept;
}

template chase_reflectors<double> narrow_keeping_reflectors(hermitian_band<double>&,
                                                            aligned_vector<double>&,
                                                            aligned_vector<double>&);
template chase_reflectors<complex> narrow_keeping_reflectors(hermitian_band<complex>&,
                                                             aligned_vector<double>&,
                                                             aligned_vector<double>&);
template void narrow_hermitian_band(hermitian_band<double>&, aligned_vector<double>&,
                                    aligned_vector<double>&);
template void narrow_hermitian_band(hermitian_band<complex>&, aligned_vector<double>&,
                                    aligned_vector<double>&);

} // namespace numerical::detail
