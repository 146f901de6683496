#include "numerical/nonsymmetric/far_update.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

template <class T>
T* room_for(aligned_vector<T>& store, std::size_t count)
{
    if (store.size() < count)
        store = uninitialized<T>(count);
    return store.data();
}

// C := Uᴴ·C for the block C of rows.
template <class T>
void multiply_rows_by(block_view<const T> adjoint, block_view<T> c, aligned_vector<T>& storage)
{
    if (c.cols == 0)
        return;
    T* const copy = room_for(storage, c.rows * c.cols);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), c.cols, copy + i * c.cols);
    gemm_new<T>(c.rows, c.cols, c.rows, adjoint.first, adjoint.stride, copy, c.cols, c.first,
                c.stride);
}

} // namespace

template <class T>
void update_far(const schur_views<T>& s, block_view<const T> adjoint, std::size_t top,
                const similarity_reach& reach, far_storage<T>& storage)
{
    const std::size_t w = adjoint.rows;
    const std::size_t end = top + w;
    if (end < reach.col_to)
        multiply_rows_by(adjoint, s.h.sub(top, end, end, reach.col_to), storage.copy);
    if (s.z.cols != 0)
        multiply_rows_by(adjoint, s.z.sub(top, end, 0, s.z.cols), storage.copy);
    if (reach.row_from >= top)
        return;
    T* const u = room_for(storage.direct, w * w);
    adjoint_into<T>({u, w, w}, adjoint);
    const block_view<T> c = s.h.sub(reach.row_from, top, top, end);
    T* const copy = room_for(storage.copy, c.rows * w);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), w, copy + i * w);
    gemm_new<T>(c.rows, w, w, copy, w, u, w, c.first, c.stride);
}

template void update_far(const schur_views<double>&, block_view<const double>, std::size_t,
                         const similarity_reach&, far_storage<double>&);
template void update_far(const schur_views<complex>&, block_view<const complex>, std::size_t,
                         const similarity_reach&, far_storage<complex>&);

} // namespace numerical::detail
