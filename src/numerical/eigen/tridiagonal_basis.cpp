#include "numerical/eigen/tridiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/blocks_in_turn.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
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

// Of a group of rows one by one, on the same scale. A thread does some ten real products in a
// nanosecond.
template <class T>
std::size_t work_one_by_one(std::size_t n)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    return n * n * parts * parts / 2;
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

// Real phases are 1.
template <class T>
void scale_by_phases(const tridiagonal_reduction<T>& reduction, aligned_vector<T>& rows,
                     std::size_t n)
{
    if constexpr (!std::is_same_v<T, double>) {
        const auto scale_row = [&](std::size_t r) {
            for (std::size_t j = 0; j < n; ++j)
                rows[r * n + j] = finite_product(rows[r * n + j], conjugate(reduction.phases[j]));
        };
        parallel_for(rows.size() / n, n, scale_row);
    }
}

// Rows that go together through the reflectors one by one, real ones of an order of 1000 in L1.
// The number is fixed, as the order of a row's sum may depend on it.
constexpr std::size_t rows_together = 5;

// row := row·Hᵀ for each reflection H = I - 2·v·vᴴ, the last one first. A copy of v, from the
// boundary of a line on, lies in `aligned` as the rows do.
template <class T>
void apply_one_by_one(const tridiagonal_reduction<T>& reduction, block_view<T> rows, T* aligned)
{
    const int path = gemm_path_current();
    std::array<T, rows_together> products{};
    for (std::size_t i = reduction.reflectors.size(); i-- > 0;) {
        const aligned_vector<T>& v = reduction.reflectors[i];
        if (v.empty())
            continue;
        const std::size_t from = i - i % line_elements<T>;
        const std::size_t length = i + v.size() - from;
        std::fill(aligned + from, aligned + i, T(0));
        std::copy(v.begin(), v.end(), aligned + i);
        T* const of_rows = rows.first + from;
        row_dots(path, products.data(), aligned + from, of_rows, rows.stride, rows.rows, length);
        for (T& product : products)
            product = 2.0 * conjugate(product);
        subtract_from_rows_on(path, of_rows, rows.stride, rows.rows, products.data(),
                              aligned + from, length);
    }
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
    scale_by_phases(reduction, rows, n);
    const block_view<T> all{rows.data(), rows.size() / n, n};
    if (all.rows == 0 || n < 2)
        return;
    const slab_partition slabs = narrow_slabs(all.rows);
    apply_blocks(reduction, n, [&](reflector_block<T> block) {
        const std::size_t first = block.offset;
        return transposed_slabs<T>(std::move(block), all.sub(0, all.rows, first, n), slabs);
    });
}

template <class T>
void few_to_matrix_basis(const tridiagonal_reduction<T>& reduction, aligned_vector<T>& rows,
                         std::size_t n)
{
    scale_by_phases(reduction, rows, n);
    const block_view<T> all{rows.data(), rows.size() / n, n};
    const std::size_t stride = spread_stride<T>(n);
    const std::size_t groups = ceil_div(all.rows, rows_together);
    aligned_vector<T> store = uninitialized<T>(groups * (rows_together + 1) * stride);
    const auto apply_to_group = [&](std::size_t g) {
        const std::size_t from = g * rows_together;
        const std::size_t count = std::min(rows_together, all.rows - from);
        T* const own = store.data() + g * (rows_together + 1) * stride;
        for (std::size_t r = 0; r < count; ++r)
            std::copy_n(all.row(from + r), n, own + r * stride);
        apply_one_by_one<T>(reduction, {.first = own, .rows = count, .cols = n, .stride = stride},
                            own + count * stride);
        for (std::size_t r = 0; r < count; ++r)
            std::copy_n(own + r * stride, n, all.row(from + r));
    };
    parallel_for(groups, work_one_by_one<T>(n), apply_to_group);
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
template void few_to_matrix_basis(const tridiagonal_reduction<double>&, aligned_vector<double>&,
                                  std::size_t);
template void few_to_matrix_basis(const tridiagonal_reduction<complex>&, aligned_vector<complex>&,
                                  std::size_t);

} // namespace numerical::detail
