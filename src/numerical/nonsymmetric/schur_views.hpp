#pragma once

// The operands of the iterations towards Schur form: a matrix H that is brought to triangular form
// by unitary similarities, H := Uᴴ·H·U, and the rows of Zᴴ, updated by Zᴴ := Uᴴ·Zᴴ. The basis is
// stored as its adjoint, so that its updates work on contiguous rows, like those of H from the
// left.

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/nonsymmetric/bulge_kernels.hpp"
#include "numerical/storage.hpp"

#include <cstddef>

namespace numerical::detail {

// Row i of z belongs to row i of h. Without a basis z has no columns.
template <class T>
struct schur_views
{
    block_view<T> h;
    block_view<T> z;
};

// The extent of a similarity of rows and columns [k, k + 2 or 3): if only eigenvalues are
// requested, the rows and columns outside the active block aren't updated.
struct similarity_reach
{
    std::size_t row_from; // columns are multiplied in rows [row_from, ...)
    std::size_t col_to;   // rows are multiplied in columns [..., col_to)
};

// A square block with the padding that the bulge kernels require. Rows are an odd number of cache
// lines apart, so that columns don't fall into the same few cache sets.
template <class T>
class padded_square
{
public:
    explicit padded_square(std::size_t order)
        : size(order), stride(padded_stride(order)), data(zeros<T>(order * stride))
    {
    }

    // The leading block of the given order, zero but for ones on the diagonal.
    block_view<T> identity(std::size_t order)
    {
        set_zero(data.data(), order * stride);
        for (std::size_t i = 0; i < order; ++i)
            data[i * stride + i] = 1;
        return view(order);
    }

    // A copy of the square block.
    block_view<T> copy(block_view<const T> from)
    {
        for (std::size_t i = 0; i < from.rows; ++i)
            std::copy_n(from.row(i), from.cols, data.data() + i * stride);
        return view(from.rows);
    }

    block_view<T> view(std::size_t order)
    {
        return {.first = data.data(), .rows = order, .cols = order, .stride = stride};
    }

    block_view<T> view() { return view(size); }

private:
    static std::size_t padded_stride(std::size_t order)
    {
        constexpr std::size_t line = row_padding<T>;
        const std::size_t lines = ceil_div(order, line) + 1;
        return line * (lines | 1);
    }

    std::size_t size;
    std::size_t stride;
    aligned_vector<T> data;
};

} // namespace numerical::detail
