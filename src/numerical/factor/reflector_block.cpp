#include "numerical/factor/reflector_block.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/element_bits.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

// Rows [top, bottom) of reflectors [j, end).
template <class T>
void scatter_plainly(block_view<T> v, const aligned_vector<T>* reflectors, std::size_t j,
                     std::size_t end, std::size_t top, std::size_t bottom)
{
    for (; j < end; ++j)
        for (std::size_t i = top; i < bottom; ++i)
            v(i, j) = i < j || reflectors[j].empty() ? T(0) : reflectors[j][i - j];
}

// The same for four of them, none empty, that have begun.
template <class T>
void scatter_four(block_view<T> v, const aligned_vector<T>* reflectors, std::size_t j,
                  std::size_t top, std::size_t bottom)
{
    const T* const x0 = reflectors[j].data();
    const T* const x1 = reflectors[j + 1].data();
    const T* const x2 = reflectors[j + 2].data();
    const T* const x3 = reflectors[j + 3].data();
    for (std::size_t i = top; i < bottom; ++i) {
        T* const four = &v(i, j);
        element_bits<T>(x0[i - j]).store(four);
        element_bits<T>(x1[i - j - 1]).store(four + 1);
        element_bits<T>(x2[i - j - 2]).store(four + 2);
        element_bits<T>(x3[i - j - 3]).store(four + 3);
    }
}

// V from its columns, in tiles of rows.
template <class T>
void scatter(block_view<T> v, const aligned_vector<T>* reflectors)
{
    constexpr std::size_t tile = 64;
    for (std::size_t top = 0; top < v.rows; top += tile) {
        const std::size_t bottom = std::min(top + tile, v.rows);
        for (std::size_t j = 0; j < v.cols; j += 4) {
            const std::size_t end = std::min(j + 4, v.cols);
            const bool four =
                end == j + 4 && std::none_of(reflectors + j, reflectors + end,
                                             [](const auto& each) { return each.empty(); });
            const std::size_t begun = four ? std::clamp(j + 3, top, bottom) : bottom;
            scatter_plainly(v, reflectors, j, end, top, begun);
            if (begun < bottom)
                scatter_four(v, reflectors, j, begun, bottom);
        }
    }
}

} // namespace

template <class T>
void fill_factor(block_view<T> factor, block_view<const std::type_identity_t<T>> gram,
                 const double* betas)
{
    const std::size_t count = factor.rows;
    aligned_vector<T> columns = zeros<T>(count * count);
    aligned_vector<T> gram_column(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (betas[i] == 0)
            continue;
        for (std::size_t k = 0; k < i; ++k)
            gram_column[k] = gram(k, i);
        T* const column = columns.data() + i * count;
        for (std::size_t k = 0; k < i; k += row_band) { // column k ends with its diagonal
            const std::size_t end = std::min(k + row_band, i);
            gemm_rows<T>(1, end, end - k, gram_column.data() + k, i, columns.data() + k * count,
                         count, column, count);
        }
        for (std::size_t j = 0; j < i; ++j)
            factor(j, i) = column[j] *= T(-betas[i]);
        factor(i, i) = column[i] = betas[i];
    }
}

template <class T>
reflector_block<T> gather_reflectors(const std::vector<aligned_vector<T>>& reflectors,
                                     std::size_t from, std::size_t to, std::size_t rows)
{
    const std::size_t count = to - from;
    const std::size_t height = rows - from;
    aligned_vector<T> vectors = uninitialized<T>(height * count);
    scatter<T>({vectors.data(), height, count}, &reflectors[from]);
    return block_of_reflectors(std::move(vectors), from, height, count);
}

template <class T>
reflector_block<T> block_of_reflectors(aligned_vector<T> vectors, std::size_t offset,
                                       std::size_t rows, std::size_t count)
{
    aligned_vector<T> gram = zeros<T>(count * count); // VᴴV
    add_upper_gram<T>({vectors.data(), rows, count}, {gram.data(), count, count});
    aligned_vector<double> betas(count);
    for (std::size_t i = 0; i < count; ++i)
        betas[i] = gram[i * count + i] == T(0) ? 0 : 2;
    aligned_vector<T> factor = zeros<T>(count * count);
    fill_factor<T>({factor.data(), count, count}, {gram.data(), count, count}, betas.data());
    return {.offset = offset,
            .rows = rows,
            .count = count,
            .vectors = std::move(vectors),
            .factor = std::move(factor)};
}

template void fill_factor<double>(block_view<double>, block_view<const double>, const double*);
template void fill_factor<complex>(block_view<complex>, block_view<const complex>, const double*);
template reflector_block<double> gather_reflectors(const std::vector<aligned_vector<double>>&,
                                                   std::size_t, std::size_t, std::size_t);
template reflector_block<complex> gather_reflectors(const std::vector<aligned_vector<complex>>&,
                                                    std::size_t, std::size_t, std::size_t);
template reflector_block<double> block_of_reflectors(aligned_vector<double>, std::size_t,
                                                     std::size_t, std::size_t);
template reflector_block<complex> block_of_reflectors(aligned_vector<complex>, std::size_t,
                                                      std::size_t, std::size_t);

} // namespace numerical::detail
