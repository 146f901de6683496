#include "numerical/eigen/symmetric_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/symmetric_step.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

// A pass is cut in strips of rows with about equal work, each with a y of its own, whatever the
// number of threads: where it is worth the while of two of them.
constexpr std::size_t strips_of_pass = 4;
constexpr std::size_t least_order_of_strips = 256;

// Of a number, and of what a complex pass needs v, w and y to be (symmetric_step.hpp).
template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

step_kernel kernel_of(int path, double)
{
    return choose(path, run_symmetric_step, avx2_run_symmetric_step, avx512_run_symmetric_step);
}

step_kernel kernel_of(int path, complex)
{
    return choose(path, run_hermitian_step, avx2_run_hermitian_step, avx512_run_hermitian_step);
}

template <class T>
class step_reducer
{
public:
    explicit step_reducer(block_view<T> lower);

    // Column k: d[k] is returned and sub[k] set.
    double reduce_column(std::size_t k, aligned_vector<T>& reflector, T& sub);

    // After all columns.
    double last_entry() const { return real_part(upper[(n - 1) * stride + n - 1]); }

private:
    void update_row(std::size_t k);
    void pass(std::size_t column);
    void follow(std::size_t from);
    std::array<std::size_t, strips_of_pass + 1> strips_from(std::size_t from) const;

    const int path = gemm_path_current();
    const step_kernel run_step = kernel_of(path, T());
    const std::size_t n;
    const std::size_t padded; // whole blocks; zeros beyond n
    const std::size_t stride;
    aligned_vector<T> upper;

    // In rows of `row` elements: v and w of the last column, conjugated, x, the next v, and y of
    // each strip. They are zero up to their columns.
    const std::size_t row = parts<T> * padded;
    aligned_vector<T> vectors;

    T* v() { return vectors.data(); }

    T* w() { return v() + row; }

    T* x() { return w() + row; }

    T* y(std::size_t strip) { return x() + (strip + 1) * row; }

    void set_last(std::size_t i, T v_of_i, T w_of_i);
    void gather_product(std::size_t from);
};

// The mirrored triangle; the blocks at the diagonal whole.
template <class T>
step_reducer<T>::step_reducer(block_view<T> lower)
    : n(lower.rows), padded(round_up(n, step_block)), stride(spread_stride<T>(padded)),
      upper(uninitialized<T>(padded * stride)), vectors(zeros<T>((3 + strips_of_pass) * row))
{
    constexpr std::size_t tile = 32;
    const block_view<T> rows{upper.data(), padded, padded, stride};
    for (std::size_t from = 0; from < n; from += tile) {
        const std::size_t to = std::min(from + tile, n);
        adjoint_into<T>(rows.sub(from, to, from, n), lower.sub(from, n, from, to));
    }
    for (std::size_t i = 0; i < padded; ++i) {
        const std::size_t block = i - i % step_block;
        for (std::size_t j = block; j < std::min(i, n); ++j)
            rows(i, j) = i < n ? conjugate(rows(j, i)) : T(0);
        std::fill(rows.row(i) + std::max(n, block), rows.row(i) + padded, T(0));
    }
}

template <class T>
void step_reducer<T>::set_last(std::size_t i, T v_of_i, T w_of_i)
{
    v()[i] = conjugate(v_of_i);
    w()[i] = conjugate(w_of_i);
    if constexpr (parts<T> == 2) {
        v()[padded + i] = {v_of_i.imag(), v_of_i.real()};
        w()[padded + i] = {w_of_i.imag(), w_of_i.real()};
    }
}

// y(0) as the pass leaves it becomes the product.
template <class T>
void step_reducer<T>::gather_product(std::size_t from)
{
    if constexpr (parts<T> == 2)
        for (std::size_t i = from; i < n; ++i) {
            const T exchanged = y(0)[padded + i];
            y(0)[i] = {y(0)[i].real() + exchanged.imag(), exchanged.real() - y(0)[i].imag()};
        }
}

// Row k of the upper triangle, with the last column's vectors, which end there.
template <class T>
void step_reducer<T>::update_row(std::size_t k)
{
    const std::array<T, 2> coefficients{conjugate(w()[k]), conjugate(v()[k])};
    subtract_products_on(path, upper.data() + k * stride + k, coefficients.data(), v() + k, row, 2,
                         n - k);
    set_last(k, 0, 0);
}

// By rows that hold about equal parts of the triangle. The last bound is where it ends.
template <class T>
std::array<std::size_t, strips_of_pass + 1> step_reducer<T>::strips_from(std::size_t from) const
{
    std::array<std::size_t, strips_of_pass + 1> bounds;
    bounds.fill(padded);
    bounds[0] = from;
    const auto order = static_cast<double>(padded - from);
    for (std::size_t s = 1; s < strips_of_pass; ++s) {
        const double left = static_cast<double>(strips_of_pass - s) / strips_of_pass;
        const auto rows = static_cast<std::size_t>(order * (1 - std::sqrt(left)));
        bounds[s] = from + rows - rows % step_block;
    }
    return bounds;
}

// y(0) becomes the product of the updated matrix with x, from the block of column `from` on. Each
// strip has rows and a y of its own, which are added in order.
template <class T>
void step_reducer<T>::pass(std::size_t column)
{
    const std::size_t from = column - column % step_block;
    const auto run_rows = [&](std::size_t strip, std::size_t first, std::size_t last) {
        T* const sums = y(strip);
        for (std::size_t part = 0; part < parts<T>; ++part)
            std::fill(sums + part * padded + first, sums + (part + 1) * padded, T(0));
        run_step({as_doubles(upper.data()), stride, first, last, padded},
                 {as_doubles(v()), as_doubles(w()), as_doubles(x()), as_doubles(sums)});
    };
    const std::size_t order = padded - from;
    if (order < least_order_of_strips) {
        run_rows(0, from, padded);
        return gather_product(from);
    }
    const auto bounds = strips_from(from);
    const auto run_strip = [&](std::size_t s) { run_rows(s, bounds[s], bounds[s + 1]); };
    parallel_for(strips_of_pass, parts<T> * parts<T> * order * order / 4, run_strip);
    for (std::size_t s = 1; s < strips_of_pass; ++s)
        for (std::size_t part = 0; part < parts<T>; ++part) {
            const std::size_t first = part * padded + bounds[s];
            scaled_add_on(path, as_doubles(y(0) + first), as_doubles(y(s) + first), 1.0,
                          parts<T> * (padded - bounds[s]));
        }
    gather_product(from);
}

// w = 2y - 2(xᴴy)·x, with which H·A·H is A - x·wᴴ - w·xᴴ; x is then the last column's v.
template <class T>
void step_reducer<T>::follow(std::size_t from)
{
    T* const product = y(0) + from;
    const T* const next = x() + from;
    const std::size_t len = n - from;
    T projection;
    row_dots(path, &projection, product, next, row, 1, len);
    subtract_scaled_on(path, product, next, projection, len);
    for (std::size_t i = 0; i < len; ++i)
        set_last(from + i, next[i], 2.0 * product[i]);
}

template <class T>
double step_reducer<T>::reduce_column(std::size_t k, aligned_vector<T>& reflector, T& sub)
{
    update_row(k);
    const T* const entries = upper.data() + k * stride;
    const double diagonal = real_part(entries[k]);
    aligned_vector<T> below(n - k - 1);
    std::transform(entries + k + 1, entries + n, below.begin(),
                   [](const T& each) { return conjugate(each); });
    x()[k] = T(0);
    if (std::all_of(below.begin() + 1, below.end(), [](const T& each) { return each == T(0); })) {
        sub = below[0];
        std::fill(x() + k + 1, x() + n, T(0));
    } else {
        sub = householder_in_place(below);
        std::copy(below.begin(), below.end(), x() + k + 1);
        reflector = std::move(below);
    }
    pass(k + 1);
    follow(k + 1);
    return diagonal;
}

} // namespace

template <class T>
void reduce_by_steps(block_view<T> a, aligned_vector<T>* reflectors, T* sub)
{
    const std::size_t n = a.rows;
    step_reducer<T> steps(a);
    for (std::size_t k = 0; k + 1 < n; ++k)
        a(k, k) = steps.reduce_column(k, reflectors[k + 1], sub[k]);
    a(n - 1, n - 1) = steps.last_entry();
}

template void reduce_by_steps(block_view<double>, aligned_vector<double>*, double*);
template void reduce_by_steps(block_view<complex>, aligned_vector<complex>*, complex*);

} // namespace numerical::detail
