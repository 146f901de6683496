#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// A block is applied to its target in slabs that stay in L2 between the two products. They are so
// wide that every slab is summed in the same order as the whole, and at most as wide as a block of
// a complex product.
constexpr std::size_t slab_bytes = std::size_t{1} << 19;
constexpr std::size_t greatest_slab = split_cols;
constexpr std::size_t slab_unit = 16; // slabs begin at multiples, the width of a register tile

// With this many columns slabs neither read V too often nor are short of work.
constexpr std::size_t well_filled_slab = 64;

// Of a block of `count` reflectors. A product of fewer than least_tile_side rows needs many columns
// for its order to be decided by the depth alone.
std::size_t least_slab(std::size_t count)
{
    return count < least_tile_side ? depth_decides_from : slab_unit;
}

// A factor of more rows is multiplied by products of as many at a time.
constexpr std::size_t factor_band = 32;

struct slab_demand
{
    std::size_t width;  // of the target, in vectors
    std::size_t length; // of a vector, in bytes
    std::size_t least;  // vectors in a slab
    std::size_t per_thread = 1;
    std::size_t greatest = greatest_slab;
};

// No slab beyond its bytes, and as many for each thread.
slab_partition slabs_of(const slab_demand& target)
{
    const std::size_t wanted =
        std::clamp(slab_bytes / target.length, well_filled_slab, target.greatest);
    const std::size_t threads = allowed_threads();
    const std::size_t round = wanted * threads;
    const std::size_t rounds = std::max(ceil_div(target.width, round), target.per_thread);
    const std::size_t least = round_up(target.least, slab_unit);
    const std::size_t most = std::max<std::size_t>(target.width / least, 1);
    return {target.width, std::min(rounds * threads, most)};
}

// The work of a slab on the scale of parallel_for. A thread of AVX-512 does some 60 products in a
// nanosecond; with 8 of them for a unit a loop goes to the pool from 17 microseconds on. Shorter
// ones, at the end of a factorization or in a small one, lose more by moving C between the caches
// than they gain.
template <class T>
std::size_t slab_work(const slab_partition& slabs, std::size_t length, std::size_t count)
{
    constexpr std::size_t real_products = std::is_same_v<T, double> ? 1 : 4;
    constexpr std::size_t products_per_unit = 8;
    return real_products * 2 * (slabs.width / slabs.count) * length * count / products_per_unit;
}

// out[j] -= sum over t of coeffs[t]·rows(t, j): fused on a vector path if real, full products if
// complex.
void subtract_scaled_rows(int path, double* out, const double* coeffs,
                          block_view<const double> rows)
{
    subtract_products_on(path, out, coeffs, rows.first, rows.stride, rows.rows, rows.cols);
}

void subtract_scaled_rows(int path, complex* out, const complex* coeffs,
                          block_view<const complex> rows)
{
    subtract_unfused(path, out, coeffs, rows.first, rows.stride, rows.rows, rows.cols);
}

// T or Tᴴ, contiguous by rows.
template <block_operator form, class T>
aligned_vector<T> factor_of(const reflector_block<T>& block)
{
    if constexpr (form == block_operator::direct)
        return block.factor;
    else
        return adjoint_copy<T>({block.factor.data(), block.count, block.count});
}

struct column_range
{
    std::size_t from;
    std::size_t to;
};

// The columns of a block from the first to the last that have an element other than zero.
template <class T>
column_range columns_in_use(block_view<const T> f)
{
    const auto is_zero = [&](std::size_t j) {
        std::size_t i = 0;
        while (i < f.rows && f(i, j) == T(0))
            ++i;
        return i == f.rows;
    };
    std::size_t from = 0;
    while (from < f.cols && is_zero(from))
        ++from;
    std::size_t to = f.cols;
    while (to > from && is_zero(to - 1))
        --to;
    return {from, to};
}

// -F·W for a triangular F, either way, in bands of its rows, which are products without the columns
// where a whole band is zero.
template <class T>
aligned_vector<T> minus_product_by_bands(const aligned_vector<T>& f, const aligned_vector<T>& w,
                                         std::size_t width)
{
    const std::size_t count = w.size() / width;
    const aligned_vector<T> minus_f = negated_copy(block_view<const T>{f.data(), count, count});
    const block_view<const T> bands{minus_f.data(), count, count};
    const block_view<const T> rows{w.data(), count, width};
    aligned_vector<T> store = zeros<T>(w.size());
    const block_view<T> product{store.data(), count, width};
    for (std::size_t from = 0; from < count; from += factor_band) {
        const std::size_t to = std::min(from + factor_band, count);
        const column_range used = columns_in_use(bands.sub(from, to, 0, count));
        add_product<T>(bands.sub(from, to, used.from, used.to),
                       rows.sub(used.from, used.to, 0, width), product.sub(from, to, 0, width));
    }
    return store;
}

// -F·W for a triangular F, the rows of W being `width` long. The sign is taken here, where it is
// cheap. Exact zeros of F are skipped, and those in the first `units` columns of W if these are
// upper triangular like F.
template <class T>
aligned_vector<T> minus_product(const aligned_vector<T>& f, const aligned_vector<T>& w,
                                std::size_t width, std::size_t units = 0)
{
    const int path = gemm_path_current();
    const std::size_t count = w.size() / width;
    if (count > factor_band)
        return minus_product_by_bands(f, w, width);
    const block_view<const T> rows{w.data(), count, width};
    aligned_vector<T> product = zeros<T>(w.size());
    for (std::size_t i = 0; i < count; ++i) {
        const T* const row = f.data() + i * count;
        for (std::size_t k = 0; k < count;) {
            const std::size_t from = std::size_t(
                std::find_if(row + k, row + count, [](const T& t) { return t != T(0); }) - row);
            k = std::size_t(std::find(row + from, row + count, T(0)) - row);
            const std::size_t left = std::min(i, units) / row_band * row_band;
            subtract_scaled_rows(path, product.data() + i * width + left, row + from,
                                 rows.sub(from, k, left, width));
        }
    }
    return product;
}

// C += V·(-F·(VᴴC)).
template <class T>
void multiply_slab(block_view<const T> v, const aligned_vector<T>& f, block_view<T> c)
{
    aligned_vector<T> w = zeros<T>(v.cols * c.cols);
    add_reflector_dots<T>(v, c, {w.data(), v.cols, c.cols});
    const aligned_vector<T> minus_fw = minus_product(f, w, c.cols);
    add_reflector_sums<T>(v, {minus_fw.data(), v.cols, c.cols}, c);
}

// The first `units` rows and columns of C become those of the identity, or its rows zeros.
template <class T>
void border(block_view<T> c, std::size_t rows, std::size_t units)
{
    for (std::size_t i = 0; i < c.rows; ++i)
        set_zero(c.row(i), i < rows ? c.cols : units);
    for (std::size_t i = 0; i < units; ++i)
        c(i, i) = 1;
}

// C := [ I ; 0 ] + V·X for an upper triangular X, whose columns take the reflectors up to their
// own, in bands of a tile's width. Below the diagonal the bands take some rows at a time, which
// stay in cache between them.
template <class T>
void fill_unit_columns(block_view<const T> v, block_view<const T> x, block_view<T> c)
{
    constexpr std::size_t rows_at_a_time = 64;
    constexpr std::size_t band_cols = 16 * sizeof(double) / sizeof(T);
    const std::size_t step = c.cols % band_cols == 0 ? band_cols : c.cols;
    const std::size_t top = v.rows - c.cols < least_tile_side ? v.rows : c.cols;
    border(c.sub(0, top, 0, c.cols), 0, c.cols);
    for (std::size_t j = 0; j < c.cols; j += step)
        add_reflector_sums<T>(v.sub(0, top, 0, j + step), x.sub(0, j + step, j, j + step),
                              c.sub(0, top, j, j + step));
    for (std::size_t from = top, to = 0; from < v.rows; from = to) {
        to = v.rows - from < 2 * rows_at_a_time ? v.rows : from + rows_at_a_time;
        for (std::size_t j = 0; j < c.cols; j += step)
            gemm_new<T>(to - from, step, j + step, v.row(from), v.stride, x.first + j, x.stride,
                        c.row(from) + j, c.stride);
    }
}

// The same for C = [ I 0 ; 0 C11 ] or, without unit columns, [ 0 ; C11 ]. Over the unit columns VᴴC
// is V's top, and with it F·VᴴC is triangular. The elements outside C11 need not be set before.
template <class T>
void multiply_bordered_slab(block_view<const T> v, const aligned_vector<T>& f, block_view<T> c,
                            std::size_t units)
{
    border(c.sub(0, c.rows, units, c.cols), v.cols, 0);
    aligned_vector<T> store = zeros<T>(v.cols * c.cols);
    const block_view<T> w{store.data(), v.cols, c.cols};
    for (std::size_t i = 0; i < units; ++i)
        for (std::size_t j = i; j < units; ++j)
            w(i, j) = conjugate(v(j, i));
    if (units < c.cols)
        add_dots_from<T>(v.cols, v, c.sub(0, c.rows, units, c.cols),
                         w.sub(0, w.rows, units, w.cols));

    const aligned_vector<T> minus_fw = minus_product(f, store, c.cols, units);
    const block_view<const T> x{minus_fw.data(), v.cols, c.cols};
    if (units != 0)
        fill_unit_columns<T>(v, x.sub(0, x.rows, 0, units), c.sub(0, c.rows, 0, units));
    add_reflector_sums<T>(v, x.sub(0, x.rows, units, x.cols), c.sub(0, c.rows, units, c.cols));
}

} // namespace

// The last slab has the most units, and ends with the target up to 15 columns short of them.
std::size_t slab_partition::begin(std::size_t s) const
{
    const std::size_t units = ceil_div(width, slab_unit);
    return std::min(units * s / count * slab_unit, width);
}

slab_partition narrow_slabs(std::size_t width)
{
    return slabs_of(
        {.width = width, .length = 1, .least = depth_decides_from, .greatest = well_filled_slab});
}

template <block_operator form, class T>
slabs_application<form, T>::slabs_application(const reflector_block<T>& block,
                                              block_view<T> columns, std::size_t slabs_per_thread)
    : vectors{block.vectors.data(), block.rows, block.count}, factor(factor_of<form>(block)),
      c(columns), slabs(slabs_of({.width = c.cols,
                                  .length = c.rows * sizeof(T),
                                  .least = least_slab(block.count),
                                  .per_thread = slabs_per_thread}))
{
}

template <block_operator form, class T>
std::size_t slabs_application<form, T>::work() const
{
    return slab_work<T>(slabs, vectors.rows, vectors.cols);
}

template <block_operator form, class T>
void slabs_application<form, T>::apply(std::size_t slab) const
{
    multiply_slab<T>(vectors, factor, c.sub(0, c.rows, slabs.begin(slab), slabs.begin(slab + 1)));
}

template <block_operator form, class T>
void apply_reflector_block(const reflector_block<T>& block, aligned_vector<T>& target,
                           std::size_t ld, std::size_t column_from, std::size_t column_to)
{
    if (column_from == column_to)
        return;
    T* const first = target.data() + block.offset * ld + column_from;
    const slabs_application<form, T> slabs(
        block, {.first = first, .rows = block.rows, .cols = column_to - column_from, .stride = ld},
        1);
    parallel_for(slabs.count(), slabs.work(), [&](std::size_t s) { slabs.apply(s); });
}

template <class T>
void extend_basis(const reflector_block<T>& block, aligned_vector<T>& q, std::size_t ld)
{
    const std::size_t count = block.count;
    const block_view<const T> vectors{block.vectors.data(), block.rows, count};
    T* const first = q.data() + block.offset * ld + block.offset;
    // The unit columns are all in the first slab.
    const slab_partition slabs =
        slabs_of({ld - block.offset, block.rows * sizeof(T), std::max(least_slab(count), count)});
    const auto extend_slab = [&](std::size_t s) {
        const std::size_t width = slabs.begin(s + 1) - slabs.begin(s);
        const block_view<T> c{
            .first = first + slabs.begin(s), .rows = block.rows, .cols = width, .stride = ld};
        const std::size_t units = s == 0 ? count : 0;
        if (width == units ? count >= least_tile_side
                           : summed_as_any_larger({count, width - units, block.rows - count})) {
            multiply_bordered_slab(vectors, block.factor, c, units);
        } else {
            border(c, count, units);
            multiply_slab(vectors, block.factor, c);
        }
    };
    parallel_for(slabs.count, slab_work<T>(slabs, block.rows, count), extend_slab);
}

template <class T>
transposed_slabs<T>::transposed_slabs(reflector_block<T> block, block_view<T> target)
    : transposed_slabs(std::move(block), target,
                       slabs_of({target.rows, target.cols * sizeof(T), depth_decides_from}))
{
}

template <class T>
transposed_slabs<T>::transposed_slabs(reflector_block<T> block, block_view<T> target,
                                      const slab_partition& rows)
    : length(block.rows), reflectors(block.count), conjugated(std::move(block.vectors)),
      transposed(uninitialized<T>(conjugated.size())), minus_factor(reflectors * reflectors),
      c(target), slabs(rows)
{
    transpose_into<T>({transposed.data(), reflectors, length},
                      {conjugated.data(), length, reflectors});
    conjugate_all(conjugated.data(), conjugated.size());
    for (std::size_t i = 0; i < reflectors; ++i)
        for (std::size_t j = 0; j < reflectors; ++j)
            minus_factor[j * reflectors + i] = negated(block.factor[i * reflectors + j]);
}

template <class T>
std::size_t transposed_slabs<T>::work() const
{
    return slab_work<T>(slabs, length, reflectors);
}

// C += ((C·conj(V))·(-Tᵀ))·Vᵀ.
template <class T>
void transposed_slabs<T>::apply(std::size_t slab) const
{
    const block_view<T> part = c.sub(slabs.begin(slab), slabs.begin(slab + 1), 0, length);
    aligned_vector<T> w = zeros<T>(part.rows * reflectors);
    aligned_vector<T> minus_wt = zeros<T>(part.rows * reflectors);
    add_product<T>(part, {conjugated.data(), length, reflectors},
                   {w.data(), part.rows, reflectors});
    add_product<T>({w.data(), part.rows, reflectors}, {minus_factor.data(), reflectors, reflectors},
                   {minus_wt.data(), part.rows, reflectors});
    add_product<T>({minus_wt.data(), part.rows, reflectors},
                   {transposed.data(), reflectors, length}, part);
}

// Slabs so narrow that their products read V where it lies.
ascending_slabs::ascending_slabs(reflector_block<double> of, block_view<double> target)
    : block(std::move(of)), c(target), slabs(narrow_slabs(c.cols))
{
    for (double& element : block.factor)
        element = -element;
}

std::size_t ascending_slabs::work() const
{
    return slab_work<double>(slabs, block.rows, block.count);
}

// C += V·(-T·(VᵀC)).
void ascending_slabs::apply(std::size_t slab) const
{
    const std::size_t count = block.count;
    const block_view<const double> v{block.vectors.data(), block.rows, count};
    const block_view<double> part = c.sub(0, c.rows, slabs.begin(slab), slabs.begin(slab + 1));
    aligned_vector<double> w = zeros<double>(count * part.cols);
    aligned_vector<double> minus_tw = zeros<double>(count * part.cols);
    add_adjoint_product<double>(v, part, {w.data(), count, part.cols});
    add_product<double>({block.factor.data(), count, count}, {w.data(), count, part.cols},
                        {minus_tw.data(), count, part.cols});
    add_product<double>(v, {minus_tw.data(), count, part.cols}, part);
}

template <class T>
void apply_transposed_reflector_block(const reflector_block<T>& block, aligned_vector<T>& target,
                                      std::size_t ld, std::size_t row_from, std::size_t row_to)
{
    if (row_from == row_to)
        return;
    T* const first = target.data() + row_from * ld + block.offset;
    const transposed_slabs<T> slabs(
        block, {.first = first, .rows = row_to - row_from, .cols = block.rows, .stride = ld});
    parallel_for(slabs.count(), slabs.work(), [&](std::size_t s) { slabs.apply(s); });
}

template class transposed_slabs<double>;
template class transposed_slabs<complex>;
template class slabs_application<block_operator::direct, double>;
template class slabs_application<block_operator::direct, complex>;
template class slabs_application<block_operator::adjoint, double>;
template class slabs_application<block_operator::adjoint, complex>;
template void apply_reflector_block<block_operator::direct>(const reflector_block<double>&,
                                                            aligned_vector<double>&, std::size_t,
                                                            std::size_t, std::size_t);
template void apply_reflector_block<block_operator::adjoint>(const reflector_block<double>&,
                                                             aligned_vector<double>&, std::size_t,
                                                             std::size_t, std::size_t);
template void apply_reflector_block<block_operator::direct>(const reflector_block<complex>&,
                                                            aligned_vector<complex>&, std::size_t,
                                                            std::size_t, std::size_t);
template void apply_reflector_block<block_operator::adjoint>(const reflector_block<complex>&,
                                                             aligned_vector<complex>&, std::size_t,
                                                             std::size_t, std::size_t);
template void extend_basis(const reflector_block<double>&, aligned_vector<double>&, std::size_t);
template void extend_basis(const reflector_block<complex>&, aligned_vector<complex>&, std::size_t);
template void apply_transposed_reflector_block(const reflector_block<double>&,
                                               aligned_vector<double>&, std::size_t, std::size_t,
                                               std::size_t);
template void apply_transposed_reflector_block(const reflector_block<complex>&,
                                               aligned_vector<complex>&, std::size_t, std::size_t,
                                               std::size_t);

} // namespace numerical::detail
