#include "numerical/nonsymmetric/rows_above.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {

template <class T>
rows_above<T>::rows_above(block_view<T> matrix, block_view<T> reflectors)
    : a(matrix), adjoints(reflectors), blocks(ceil_div(matrix.rows - 2, reflectors_of_block))
{
}

template <class T>
void rows_above<T>::make_known(std::size_t column)
{
    known = ceil_div(std::min(column, a.rows - 2), reflectors_of_block);
}

template <class T>
void rows_above<T>::run_task(std::size_t task)
{
    const std::size_t to_be_formed = known - formed;
    if (task < to_be_formed)
        form_block(formed + task);
    else
        multiply_strip(task - to_be_formed);
}

template <class T>
void rows_above<T>::end_round()
{
    applied = formed;
    formed = known;
}

// A block's formation takes the time of its products with a strip or two.
template <class T>
std::size_t rows_above<T>::work() const
{
    std::size_t products = 0;
    for (std::size_t b = applied; b < known; ++b) {
        const std::size_t columns = a.rows - b * reflectors_of_block;
        const std::size_t strips = b < formed ? b + 1 : 1;
        products += 2 * strips * reflectors_of_block * reflectors_of_block * columns;
    }
    return products;
}

template <class T>
void rows_above<T>::form_block(std::size_t block)
{
    const std::size_t n = a.rows;
    const std::size_t from = block * reflectors_of_block;
    const std::size_t first = from + 1;
    const std::size_t count = std::min(reflectors_of_block, n - 2 - from);
    for (std::size_t k = 0; k < count; ++k)
        set_zero(adjoints.row(from + k) + first, k);
    aligned_vector<T> vectors = uninitialized<T>((n - first) * count);
    adjoint_into<T>({vectors.data(), n - first, count}, adjoints.sub(from, from + count, first, n));
    blocks[block] = block_of_reflectors<T>(std::move(vectors), first, n - first, count);
}

template <class T>
void rows_above<T>::multiply_strip(std::size_t strip)
{
    const std::size_t from = strip * reflectors_of_block;
    const std::size_t to = std::min(from + reflectors_of_block, a.rows);
    for (std::size_t b = std::max(applied, strip); b < formed; ++b)
        multiply_rows(blocks[b], from, to);
}

// C := C·Q for the rows [from, to), C -= ((C·V)·T)·Vᴴ, but row i only from its own reflector on,
// which those before it have reached in the passes: T being triangular, its products with these
// are left out.
template <class T>
void rows_above<T>::multiply_rows(const reflector_block<T>& block, std::size_t from, std::size_t to)
{
    const std::size_t count = block.count;
    const std::size_t first = block.offset - 1;
    T* const rows = a.row(from) + block.offset;
    aligned_vector<T> products = uninitialized<T>((to - from) * count);
    aligned_vector<T> minus_y = uninitialized<T>((to - from) * count);
    gemm_new<T>(to - from, count, block.rows, rows, a.stride, block.vectors.data(), count,
                products.data(), count);
    for (std::size_t i = from; i < to; ++i)
        if (i > first)
            set_zero(products.data() + (i - from) * count, std::min(i - first, count));
    gemm_new<T>(to - from, count, count, products.data(), count, block.factor.data(), count,
                minus_y.data(), count);
    negate_run(minus_y.data(), minus_y.data(), minus_y.size());
    gemm<T>(to - from, block.rows, count, minus_y.data(), count, adjoints.row(first) + block.offset,
            adjoints.stride, rows, a.stride);
}

template class rows_above<double>;
template class rows_above<complex>;

} // namespace numerical::detail
