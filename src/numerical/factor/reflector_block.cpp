#include "numerical/factor/reflector_block.hpp"

#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/vector_dispatch.hpp"

#include <complex>

namespace numerical::detail {
namespace {

// Aᴴ, contiguous by rows.
template <class T>
std::vector<T> adjoint_copy(block_view<const T> a)
{
    auto copy = reserved<T>(a.rows * a.cols);
    for (std::size_t j = 0; j < a.cols; ++j)
        for (std::size_t i = 0; i < a.rows; ++i)
            copy.push_back(conjugate(a(i, j)));
    return copy;
}

// Column i of T from the columns before it: T[0..i)[i] = -2·T[0..i)[0..i)·G[0..i)[i], where
// G = VᴴV (Schreiber and Van Loan 1989, with beta = 2).
template <class T>
void extend_factor(block_view<T> factor, block_view<const T> gram, std::size_t i)
{
    for (std::size_t j = 0; j < i; ++j) {
        T sum = 0;
        for (std::size_t k = j; k < i; ++k)
            sum += factor(j, k) * gram(k, i);
        factor(j, i) = T(-2) * sum;
    }
    factor(i, i) = 2;
}

// -T·W or -Tᴴ·W, the rows of W being `width` long. The sign is taken here, where it is cheap.
template <block_operator form, class T>
std::vector<T> minus_factor_times(const reflector_block<T>& block, const std::vector<T>& w,
                                  std::size_t width)
{
    const int path = gemm_path_current();
    const std::size_t count = block.count;
    std::vector<T> product = zeros<T>(count * width);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t k = 0; k < count; ++k) {
            const T t = form == block_operator::adjoint ? conjugate(block.factor[k * count + i])
                                                        : block.factor[i * count + k];
            if (t == T(0))
                continue;
            subtract_scaled_on(path, product.data() + i * width, w.data() + k * width, t, width);
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
    reflector_block<T> block{from, height, count, zeros<T>(height * count),
                             std::vector<T>(count * count)};
    for (std::size_t j = 0; j < count; ++j) {
        const std::vector<T>& v = reflectors[from + j];
        for (std::size_t i = 0; i < v.size(); ++i)
            block.vectors[(j + i) * count + j] = v[i];
    }

    const block_view<const T> vectors{block.vectors.data(), height, count, count};
    const std::vector<T> adjoint = adjoint_copy(vectors);
    std::vector<T> gram(count * count);
    const block_view<T> gram_view{gram.data(), count, count, count};
    add_product<T>({adjoint.data(), count, height, height}, vectors, gram_view);

    for (std::size_t i = 0; i < count; ++i)
        if (!reflectors[from + i].empty())
            extend_factor<T>({block.factor.data(), count, count, count}, gram_view, i);
    return block;
}

template <block_operator form, class T>
void apply_reflector_block(const reflector_block<T>& block, std::vector<T>& target, std::size_t ld,
                           std::size_t column_from, std::size_t column_to)
{
    const std::size_t width = column_to - column_from;
    const block_view<const T> vectors{block.vectors.data(), block.rows, block.count, block.count};
    const block_view<T> c{target.data() + block.offset * ld + column_from, block.rows, width, ld};

    const std::vector<T> adjoint = adjoint_copy(vectors);
    std::vector<T> w = zeros<T>(block.count * width);
    add_product<T>({adjoint.data(), block.count, block.rows, block.rows}, c,
                   {w.data(), block.count, width, width});
    const std::vector<T> minus_tw = minus_factor_times<form>(block, w, width);
    add_product<T>(vectors, {minus_tw.data(), block.count, width, width}, c);
}

template <class T>
void apply_transposed_reflector_block(const reflector_block<T>& block, std::vector<T>& target,
                                      std::size_t ld, std::size_t row_from, std::size_t row_to)
{
    const std::size_t height = row_to - row_from;
    const std::size_t count = block.count;
    const block_view<T> c{target.data() + row_from * ld + block.offset, height, block.rows, ld};

    std::vector<T> conjugated = block.vectors;
    for (T& element : conjugated)
        element = conjugate(element);
    std::vector<T> transposed(count * count); // Tᵀ
    std::vector<T> minus_vt(count * block.rows);
    for (std::size_t j = 0; j < count; ++j) {
        for (std::size_t i = 0; i < count; ++i)
            transposed[j * count + i] = block.factor[i * count + j];
        for (std::size_t i = 0; i < block.rows; ++i)
            minus_vt[j * block.rows + i] = negated(block.vectors[i * count + j]);
    }

    std::vector<T> w = zeros<T>(height * count);
    add_product<T>(c, {conjugated.data(), block.rows, count, count},
                   {w.data(), height, count, count});
    std::vector<T> wt = zeros<T>(height * count);
    add_product<T>({w.data(), height, count, count}, {transposed.data(), count, count, count},
                   {wt.data(), height, count, count});
    add_product<T>({wt.data(), height, count, count},
                   {minus_vt.data(), count, block.rows, block.rows}, c);
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
