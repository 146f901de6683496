#include "numerical/factor/reflector_block.hpp"

#include "numerical/factor/complex_loops.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

// A block is applied to its target in slabs that stay in the second cache between the two
// products. Slabs are at least 64 wide, so that no product of one is thin enough for another order
// of summation than that of the whole, and at most 512, the width of a complex product's blocks.
constexpr std::size_t slab_bytes = std::size_t{1} << 19;
constexpr std::size_t least_slab = 64;
constexpr std::size_t greatest_slab = 512;
constexpr std::size_t slab_unit = 16; // slabs begin at multiples, the width of a register tile

struct slab_partition
{
    std::size_t width; // of the whole target
    std::size_t count;

    // Slab s is [begin(s), begin(s + 1)).
    std::size_t begin(std::size_t s) const
    {
        return s == count ? width : width / slab_unit * s / count * slab_unit;
    }
};

// Of a target of `width` vectors of `length` elements: no slab beyond its bytes, and as many for
// each thread.
template <class T>
slab_partition slabs_of(std::size_t width, std::size_t length)
{
    const std::size_t wanted =
        std::clamp(slab_bytes / (length * sizeof(T)), 2 * least_slab, greatest_slab);
    const std::size_t threads = allowed_threads();
    const std::size_t rounds = (width + wanted * threads - 1) / (wanted * threads);
    return {width, std::clamp(rounds * threads, std::size_t{1},
                              std::max(width / least_slab, std::size_t{1}))};
}

// The work of a slab on the scale of parallel_for, where four products are one unit.
std::size_t slab_work(const slab_partition& slabs, std::size_t length, std::size_t count)
{
    return slabs.width / slabs.count * length * count / 2;
}

void conjugate_all(std::vector<double>&) {}

void conjugate_all(std::vector<complex>& a)
{
    for (complex& element : a)
        element = std::conj(element);
}

// Aᴴ, contiguous by rows.
template <class T>
std::vector<T> adjoint_copy(block_view<const T> a)
{
    std::vector<T> copy = uninitialized<T>(a.rows * a.cols);
    transpose_into<T>({copy.data(), a.cols, a.rows, a.rows}, a);
    conjugate_all(copy);
    return copy;
}

// T column by column, from G = VᴴV (Schreiber and Van Loan 1989, with beta = 2):
// T[0..i)[i] = -2·T[0..i)[0..i)·G[0..i)[i]. The columns that are there lie in the rows of
// `columns`, so that the sums of a new one run side by side. Those of empty reflectors stay zero.
template <class T>
void fill_factor(block_view<T> factor, const std::vector<T>& gram,
                 const std::vector<T>* first_reflector)
{
    const std::size_t count = factor.rows;
    std::vector<T> columns(count * count);
    std::vector<T> gram_column(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (first_reflector[i].empty())
            continue;
        for (std::size_t k = 0; k < i; ++k)
            gram_column[k] = gram[k * count + i];
        T* const column = columns.data() + i * count;
        gemm_rows<T>(1, i, i, gram_column.data(), i, columns.data(), count, column, count);
        for (std::size_t j = 0; j < i; ++j)
            factor(j, i) = column[j] *= T(-2);
        factor(i, i) = column[i] = 2;
    }
}

// out[j] -= sum over t of coeffs[t]·rows[t·stride + j]: fused on a vector path if real, full
// products if complex.
void subtract_rows(int path, double* out, const double* coeffs, const double* rows,
                   std::size_t stride, std::size_t terms)
{
    subtract_products_on(path, out, coeffs, rows, stride, terms, stride);
}

void subtract_rows(int path, complex* out, const complex* coeffs, const complex* rows,
                   std::size_t stride, std::size_t terms)
{
    subtract_full_products(path, out, coeffs, rows, stride, terms, stride);
}

// T or Tᴴ, contiguous by rows.
template <block_operator form, class T>
std::vector<T> factor_of(const reflector_block<T>& block)
{
    if constexpr (form == block_operator::direct)
        return block.factor;
    else
        return adjoint_copy<T>({block.factor.data(), block.count, block.count, block.count});
}

// -F·W for a triangular F, the rows of W being `width` long. The sign is taken here, where it is
// cheap. Exact zeros of F are skipped.
template <class T>
std::vector<T> minus_product(const std::vector<T>& f, const std::vector<T>& w, std::size_t width)
{
    const int path = gemm_path_current();
    const std::size_t count = w.size() / width;
    std::vector<T> product(w.size());
    for (std::size_t i = 0; i < count; ++i) {
        const T* const row = f.data() + i * count;
        for (std::size_t k = 0; k < count;) {
            const std::size_t from = std::size_t(
                std::find_if(row + k, row + count, [](const T& t) { return t != T(0); }) - row);
            k = std::size_t(std::find(row + from, row + count, T(0)) - row);
            subtract_rows(path, product.data() + i * width, row + from, w.data() + from * width,
                          width, k - from);
        }
    }
    return product;
}

} // namespace

template <class T>
reflector_block<T> gather_reflectors(const std::vector<std::vector<T>>& reflectors,
                                     std::size_t from, std::size_t to, std::size_t rows)
{
    const std::size_t count = to - from;
    const std::size_t height = rows - from;
    reflector_block<T> block{from, height, count, uninitialized<T>(height * count),
                             std::vector<T>(count * count)};
    std::vector<T> transposed = uninitialized<T>(count * height);
    for (std::size_t j = 0; j < count; ++j) {
        const std::vector<T>& v = reflectors[from + j];
        T* const row = transposed.data() + j * height;
        std::fill_n(row, v.empty() ? height : j, T(0));
        std::copy(v.begin(), v.end(), row + j);
    }
    const block_view<T> vectors{block.vectors.data(), height, count, count};
    transpose_into<T>(vectors, {transposed.data(), count, height, height});

    std::vector<T> gram(count * count); // VᴴV
    add_adjoint_product<T>(vectors, vectors, {gram.data(), count, count, count});
    fill_factor<T>({block.factor.data(), count, count, count}, gram, &reflectors[from]);
    return block;
}

template <block_operator form, class T>
void apply_reflector_block(const reflector_block<T>& block, std::vector<T>& target, std::size_t ld,
                           std::size_t column_from, std::size_t column_to)
{
    if (column_from == column_to)
        return;
    const std::size_t count = block.count;
    const block_view<const T> vectors{block.vectors.data(), block.rows, count, count};
    const std::vector<T> factor = factor_of<form>(block);
    T* const first = target.data() + block.offset * ld + column_from;
    const slab_partition slabs = slabs_of<T>(column_to - column_from, block.rows);

    // Slab s: C += V·(-T·(Vᴴ·C)).
    const auto apply_to_slab = [&](std::size_t s) {
        const std::size_t width = slabs.begin(s + 1) - slabs.begin(s);
        const block_view<T> c{first + slabs.begin(s), block.rows, width, ld};
        std::vector<T> w(count * width);
        add_adjoint_product<T>(vectors, c, {w.data(), count, width, width});
        const std::vector<T> minus_tw = minus_product(factor, w, width);
        add_product<T>(vectors, {minus_tw.data(), count, width, width}, c);
    };
    parallel_for(slabs.count, slab_work(slabs, block.rows, count), apply_to_slab);
}

template <class T>
void apply_transposed_reflector_block(const reflector_block<T>& block, std::vector<T>& target,
                                      std::size_t ld, std::size_t row_from, std::size_t row_to)
{
    if (row_from == row_to)
        return;
    const std::size_t count = block.count;
    const block_view<const T> vectors{block.vectors.data(), block.rows, count, count};
    std::vector<T> conjugated = block.vectors;
    conjugate_all(conjugated);
    std::vector<T> transposed = uninitialized<T>(block.vectors.size());
    transpose_into<T>({transposed.data(), count, block.rows, block.rows}, vectors);
    std::vector<T> minus_factor(count * count); // -Tᵀ
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < count; ++j)
            minus_factor[j * count + i] = negated(block.factor[i * count + j]);
    T* const first = target.data() + row_from * ld + block.offset;
    const slab_partition slabs = slabs_of<T>(row_to - row_from, block.rows);

    // Slab s: C += ((C·conj(V))·(-Tᵀ))·Vᵀ.
    const auto apply_to_slab = [&](std::size_t s) {
        const std::size_t height = slabs.begin(s + 1) - slabs.begin(s);
        const block_view<T> c{first + slabs.begin(s) * ld, height, block.rows, ld};
        std::vector<T> w(height * count);
        std::vector<T> minus_wt(height * count);
        add_product<T>(c, {conjugated.data(), block.rows, count, count},
                       {w.data(), height, count, count});
        add_product<T>({w.data(), height, count, count}, {minus_factor.data(), count, count, count},
                       {minus_wt.data(), height, count, count});
        add_product<T>({minus_wt.data(), height, count, count},
                       {transposed.data(), count, block.rows, block.rows}, c);
    };
    parallel_for(slabs.count, slab_work(slabs, block.rows, count), apply_to_slab);
}

template reflector_block<double> gather_reflectors(const std::vector<std::vector<double>>&,
                                                   std::size_t, std::size_t, std::size_t);
template reflector_block<complex> gather_reflectors(const std::vector<std::vector<complex>>&,
                                                    std::size_t, std::size_t, std::size_t);
template void apply_reflector_block<block_operator::direct>(const reflector_block<double>&,
                                                            std::vector<double>&, std::size_t,
                                                            std::size_t, std::size_t);
template void apply_reflector_block<block_operator::adjoint>(const reflector_block<double>&,
                                                             std::vector<double>&, std::size_t,
                                                             std::size_t, std::size_t);
template void apply_reflector_block<block_operator::direct>(const reflector_block<complex>&,
                                                            std::vector<complex>&, std::size_t,
                                                            std::size_t, std::size_t);
template void apply_reflector_block<block_operator::adjoint>(const reflector_block<complex>&,
                                                             std::vector<complex>&, std::size_t,
                                                             std::size_t, std::size_t);
template void apply_transposed_reflector_block(const reflector_block<double>&, std::vector<double>&,
                                               std::size_t, std::size_t, std::size_t);
template void apply_transposed_reflector_block(const reflector_block<complex>&,
                                               std::vector<complex>&, std::size_t, std::size_t,
                                               std::size_t);

} // namespace numerical::detail
