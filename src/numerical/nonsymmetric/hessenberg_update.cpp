#include "numerical/nonsymmetric/hessenberg_update.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <type_traits>

namespace numerical::detail {
namespace {

// Rows above the panels that one task updates: a strip stays in L2 from the product to the update.
constexpr std::size_t strip_rows = 64;

// Columns whose products with the small factors one task forms.
constexpr std::size_t slab_width = 64;

// The loops of a panel follow one another while the workers poll, so that those of some three
// microseconds are worth a start: all work is weighted accordingly.
template <class T>
constexpr std::size_t weight = std::is_same_v<T, double> ? 1 : 3;

template <class T>
reflector_block<T> unset_block(const reduced_panel<T>& panel)
{
    return {.offset = panel.first,
            .rows = panel.height,
            .count = panel.count(),
            .vectors = uninitialized<T>(panel.height * panel.count()),
            .factor = zeros<T>(panel.count() * panel.count())};
}

} // namespace

template <class T>
panel_update<T>::panel_update(const reduced_panel<T>& panel, block_view<T> a, std::size_t behind)
    : blocks{panel.height}, columns_before(behind - panel.first),
      c(a.sub(panel.first, a.rows, behind, a.cols)),
      above(a.sub(0, panel.first, panel.first, a.cols)), block(unset_block(panel)),
      left(uninitialized<T>(panel.height * 2 * panel.count())),
      dots(zeros<T>(blocks.count() * panel.count() * panel.count())),
      turning(zeros<T>(panel.count() * 2 * panel.count())),
      right(uninitialized<T>(3 * panel.count() * c.cols)),
      adjoint(uninitialized<T>(panel.count() * panel.height))
{
    const std::size_t count = block.count;
    parallel_for(blocks.count(), weight<T> * 16 * blocks.begin(1) * count,
                 [&](std::size_t b) { gather_rows(panel, b); });
    fill_factors(panel);
    parallel_for(ceil_div(c.cols, slab_width), weight<T> * 32 * slab_width * count,
                 [&](std::size_t s) {
                     const std::size_t from = s * slab_width;
                     fill_columns(panel, from, std::min(from + slab_width, c.cols));
                 });
}

// Rows of V and of [Y V], columns of Vᴴ, and the part of the dots that they give.
template <class T>
void panel_update<T>::gather_rows(const reduced_panel<T>& panel, std::size_t b)
{
    const std::size_t count = block.count;
    const std::size_t from = blocks.begin(b);
    const std::size_t to = blocks.begin(b + 1);
    const block_view<T> v{block.vectors.data() + from * count, to - from, count};
    const block_view<T> y_v{left.data() + from * 2 * count, to - from, 2 * count};
    transpose_into<T>(v, panel.v.sub(0, count, from, to));
    transpose_into<T>(y_v.sub(0, v.rows, 0, count), panel.y.sub(0, count, from, to));
    for (std::size_t i = 0; i < v.rows; ++i)
        std::copy_n(v.row(i), count, y_v.row(i) + count);
    for (std::size_t p = 0; p < count; ++p) {
        T* const row = adjoint.data() + p * panel.height + from;
        std::copy_n(panel.v.row(p) + from, v.rows, row);
        conjugate_all(row, v.rows);
    }
    add_adjoint_product<T>(v, y_v.sub(0, v.rows, 0, count),
                           {dots.data() + b * count * count, count, count});
}

template <class T>
void panel_update<T>::fill_factors(const reduced_panel<T>& panel)
{
    const std::size_t count = block.count;
    for (std::size_t b = 1; b < blocks.count(); ++b)
        for (std::size_t i = 0; i < count * count; ++i)
            dots[i] += dots[b * count * count + i];
    const block_view<T> minus_adjoint{turning.data(), count, count, 2 * count};
    for (std::size_t p = 0; p < count; ++p)
        for (std::size_t q = 0; q <= p; ++q) {
            block.factor[q * count + p] = panel.factor(p, q);
            minus_adjoint(p, q) = negated(conjugate(panel.factor(p, q)));
        }
    add_product<T>(minus_adjoint, {dots.data(), count, count},
                   {turning.data() + count, count, count, 2 * count});
}

// Columns [from, to) of Vᴴ·C, -W and X.
template <class T>
void panel_update<T>::fill_columns(const reduced_panel<T>& panel, std::size_t from, std::size_t to)
{
    const std::size_t count = block.count;
    const block_view<T> rows{right.data() + from, 3 * count, to - from, c.cols};
    for (std::size_t p = 0; p < count; ++p) {
        T* const u = rows.row(p);
        std::copy_n(panel.us[0].row(p) + columns_before + from, rows.cols, u);
        for (std::size_t b = 1; b < blocks.count(); ++b) {
            const T* const part = panel.us[b].row(p) + columns_before + from;
            for (std::size_t j = 0; j < rows.cols; ++j)
                u[j] += part[j];
        }
        T* const minus_w = rows.row(count + p);
        negate_run(minus_w, adjoint.data() + p * panel.height + columns_before + from, rows.cols);
    }
    gemm_new<T>(count, rows.cols, 2 * count, turning.data(), 2 * count, rows.first, rows.stride,
                rows.row(2 * count), rows.stride);
}

// The first half of the blocks comes first and the other one last, as in the loops of the panel.
template <class T>
void panel_update<T>::apply() const
{
    const std::size_t half = ceil_div(blocks.count(), 2);
    const std::size_t strips = ceil_div(above.rows, strip_rows);
    const auto update_part = [&](std::size_t part) {
        if (part < half)
            update_block(part);
        else if (part < half + strips)
            update_strip(part - half);
        else
            update_block(part - strips);
    };
    const std::size_t work = weight<T> * blocks.begin(1) * blocks.height * block.count;
    parallel_for(blocks.count() + strips, work, update_part);
}

template <class T>
void panel_update<T>::update_block(std::size_t b) const
{
    const std::size_t depth = 2 * block.count;
    const block_view<T> rows = c.sub(blocks.begin(b), blocks.begin(b + 1), 0, c.cols);
    add_product<T>({left.data() + blocks.begin(b) * depth, rows.rows, depth},
                   {right.data() + block.count * c.cols, depth, c.cols}, rows);
}

// C := C·Q for the strip C of the rows above: C -= ((C·V)·T)·Vᴴ.
template <class T>
void panel_update<T>::update_strip(std::size_t strip) const
{
    const std::size_t count = block.count;
    const std::size_t top = strip * strip_rows;
    const block_view<T> rows =
        above.sub(top, std::min(top + strip_rows, above.rows), 0, above.cols);
    aligned_vector<T> product = uninitialized<T>(rows.rows * count);
    aligned_vector<T> minus_y = uninitialized<T>(rows.rows * count);
    gemm_new<T>(rows.rows, count, rows.cols, rows.first, rows.stride, block.vectors.data(), count,
                product.data(), count);
    gemm_new<T>(rows.rows, count, count, product.data(), count, block.factor.data(), count,
                minus_y.data(), count);
    negate_run(minus_y.data(), minus_y.data(), minus_y.size());
    add_product<T>({minus_y.data(), rows.rows, count}, {adjoint.data(), count, rows.cols}, rows);
}

template class panel_update<double>;
template class panel_update<complex>;

} // namespace numerical::detail
