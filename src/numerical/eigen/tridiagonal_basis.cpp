#include "numerical/eigen/tridiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/blocks_in_turn.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// Vectors of a matrix up to these bytes go slab by slab through all blocks of reflectors: two
// threads then share small ways back as well, up to a tenth of the whole problem's time. Larger
// ones gain nothing, and from four times as many bytes on they lose.
constexpr std::size_t most_bytes_by_slabs = std::size_t{3} << 19;

// Of gathering a block, on the scale of parallel_for.
std::size_t work_to_gather(std::size_t n, std::size_t width)
{
    return n * width * width / 10;
}

std::size_t first_of_block(std::size_t to, std::size_t width)
{
    return to - std::min(to - 1, width);
}

// The reflectors before `last` from the right, in blocks, the last block first. Rows above a
// block's first index have nothing for it, as they are still those of the identity.
template <class T>
void apply_to_identity(const tridiagonal_reduction<T>& reduction, block_view<T> basis,
                       std::size_t last)
{
    const std::size_t n = basis.cols;
    const std::size_t width = reduction.way_back;
    const auto prepare = [&](std::size_t b) {
        const std::size_t to = last - b * width;
        const std::size_t from = first_of_block(to, width);
        return transposed_slabs<T>(gather_reflectors(reduction.reflectors, from, to, n),
                                   basis.sub(from, basis.rows, from, n));
    };
    apply_in_turn(ceil_div(last - 1, width), prepare);
}

// All blocks, the last one first; make(block) is the application of one.
template <class T, class Make>
void apply_blocks(const tridiagonal_reduction<T>& reduction, std::size_t n, const Make& make)
{
    const std::size_t width = reduction.way_back;
    const auto make_block = [&](std::size_t b) {
        const std::size_t to = n - b * width;
        const std::size_t from = first_of_block(to, width);
        return make(gather_reflectors(reduction.reflectors, from, to, n));
    };
    if (n * n * sizeof(T) <= most_bytes_by_slabs)
        apply_to_each_slab(ceil_div(n - 1, width), work_to_gather(n, width), make_block);
    else
        apply_in_turn(ceil_div(n - 1, width), make_block);
}

// The identity times Qᵀ of one block: basis = I - conj(V)·(Tᵀ·Vᵀ).
template <class T>
void start_basis(const reflector_block<T>& block, aligned_vector<T>& basis, std::size_t n)
{
    const std::size_t count = block.count;
    aligned_vector<T> minus_conjugated = block.vectors; // -conj(V)
    for (T& element : minus_conjugated)
        element = negated(conjugate(element));
    aligned_vector<T> vectors(count * block.rows); // Vᵀ
    for (std::size_t i = 0; i < block.rows; ++i)
        for (std::size_t j = 0; j < count; ++j)
            vectors[j * block.rows + i] = block.vectors[i * count + j];
    aligned_vector<T> factor(count * count); // Tᵀ
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < count; ++j)
            factor[j * count + i] = block.factor[i * count + j];

    aligned_vector<T> product(count * block.rows);
    add_product<T>({factor.data(), count, count}, {vectors.data(), count, block.rows},
                   {product.data(), count, block.rows});
    add_product<T>({minus_conjugated.data(), block.rows, count},
                   {product.data(), count, block.rows},
                   {.first = &basis[block.offset * n + block.offset],
                    .rows = block.rows,
                    .cols = block.rows,
                    .stride = n});
}

} // namespace

template <class T>
aligned_vector<T> tridiagonal_basis(const tridiagonal_reduction<T>& reduction, std::size_t n)
{
    aligned_vector<T> basis = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        basis[i * n + i] = 1;
    if (n >= 2) {
        const std::size_t from = first_of_block(n, reduction.way_back);
        start_basis(gather_reflectors(reduction.reflectors, from, n, n), basis, n);
        if (from >= 2)
            apply_to_identity<T>(reduction, {basis.data(), n, n}, from);
    }
    if constexpr (!std::is_same_v<T, double>) // real phases are 1
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                basis[i * n + j] = finite_product(basis[i * n + j], conjugate(reduction.phases[i]));
    return basis;
}

template <class T>
void to_matrix_basis(const tridiagonal_reduction<T>& reduction, aligned_vector<T>& rows,
                     std::size_t n)
{
    if constexpr (!std::is_same_v<T, double>) {
        const auto scale_row = [&](std::size_t r) {
            for (std::size_t j = 0; j < n; ++j)
                rows[r * n + j] = finite_product(rows[r * n + j], conjugate(reduction.phases[j]));
        };
        parallel_for(rows.size() / n, n, scale_row);
    }
    const block_view<T> all{rows.data(), rows.size() / n, n};
    if (all.rows == 0 || n < 2)
        return;
    const slab_partition slabs = narrow_slabs(all.rows);
    apply_blocks(reduction, n, [&](reflector_block<T> block) {
        const std::size_t first = block.offset;
        return transposed_slabs<T>(std::move(block), all.sub(0, all.rows, first, n), slabs);
    });
}

void columns_to_matrix_basis(const tridiagonal_reduction<double>& reduction,
                             aligned_vector<double>& columns, std::size_t n)
{
    const block_view<double> all{columns.data(), n, columns.size() / n};
    if (all.cols == 0 || n < 2)
        return;
    apply_blocks(reduction, n, [&](reflector_block<double> block) {
        const std::size_t first = block.offset;
        return ascending_slabs(std::move(block), all.sub(first, n, 0, all.cols));
    });
}

template aligned_vector<double> tridiagonal_basis(const tridiagonal_reduction<double>&,
                                                  std::size_t);
template aligned_vector<complex> tridiagonal_basis(const tridiagonal_reduction<complex>&,
                                                   std::size_t);
template void to_matrix_basis(const tridiagonal_reduction<double>&, aligned_vector<double>&,
                              std::size_t);
template void to_matrix_basis(const tridiagonal_reduction<complex>&, aligned_vector<complex>&,
                              std::size_t);

} // namespace numerical::detail
