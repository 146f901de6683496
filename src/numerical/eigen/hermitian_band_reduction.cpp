#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <optional>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// Whole tiles of the vector paths. What a strip's diagonal block has above its diagonal is for
// nothing.
constexpr std::size_t band_strip_rows = 48;

// A dense rows × cols array that is a block.
template <class T>
struct dense_block
{
    aligned_vector<T> elements;
    block_view<T> view;

    dense_block(std::size_t rows, std::size_t cols)
        : elements(zeros<T>(rows * cols)), view{elements.data(), rows, cols}
    {
    }
};

// The lower triangle in both its places, with a real diagonal.
template <class T>
void mirror(block_view<T> to, block_view<const T> lower)
{
    for (std::size_t i = 0; i < lower.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            to(i, j) = lower(i, j);
            to(j, i) = conjugate(lower(i, j));
        }
        to(i, i) = real_part(lower(i, i));
    }
}

// body(from, to) for tiles of rows on the pool, each element of which is read or written in a
// nanosecond or less. The pool is awake: where short loops pay, one of ten microseconds is shared.
template <class F>
void for_row_tiles(std::size_t rows, std::size_t elements_of_row, const F& body)
{
    constexpr std::size_t tile = 256;
    const std::size_t work_of_element = short_loops_pay() ? 4 : 1;
    const auto run_tile = [&](std::size_t t) { body(t * tile, std::min((t + 1) * tile, rows)); };
    parallel_for(ceil_div(rows, tile), tile * elements_of_row * work_of_element, run_tile);
}

// Of so many products, on the scale of parallel_for: a thread does 20 to 40 real ones in a
// nanosecond. The pool stays awake from loop to loop, as no more than a panel lies between them.
template <class T>
std::size_t work_of_products(std::size_t count)
{
    constexpr std::size_t products_per_unit = std::is_same_v<T, double> ? 8 : 2;
    return count / products_per_unit;
}

// The strips of a triangle in groups of about the same area: group g is rows
// [begin(g), begin(g + 1)).
struct strip_groups
{
    std::size_t order;
    std::size_t count;

    std::size_t begin(std::size_t g) const
    {
        const double row = double(order) * std::sqrt(double(g) / double(count));
        return g == count ? order : std::size_t(row) / band_strip_rows * band_strip_rows;
    }
};

// The sizes alone decide how many groups there are, as sums are taken group by group.
strip_groups groups_of(std::size_t order, std::size_t columns)
{
    constexpr std::size_t products_of_group = std::size_t{1} << 20; // some 25 microseconds
    constexpr std::size_t most = 4; // each has a part of the sum to be added
    return {order, std::clamp<std::size_t>(order * order * columns / products_of_group, 1, most)};
}

// A·V for rows [first, last), a group of strips, and in `adjoint` their part of (A·V)ᴴ as columns
// above the diagonal. Each strip serves left of its diagonal block in both its roles while it is in
// cache.
template <class T>
void multiply_strips(block_view<const T> a, block_view<const T> v, std::size_t first,
                     std::size_t last, block_view<T> product, block_view<T> adjoint)
{
    dense_block<T> square(band_strip_rows, band_strip_rows);
    for (std::size_t from = first; from < last; from += band_strip_rows) {
        const std::size_t to = std::min(from + band_strip_rows, last);
        const block_view<const T> strip = a.sub(from, to, 0, from);
        const block_view<const T> beside = v.sub(from, to, 0, v.cols);
        const block_view<T> rows = product.sub(from, to, 0, v.cols);
        add_product<T>(strip, v.sub(0, from, 0, v.cols), rows);
        add_adjoint_product<T>(beside, strip, adjoint.sub(0, v.cols, 0, from));
        const block_view<T> diagonal = square.view.sub(0, to - from, 0, to - from);
        mirror(diagonal, a.sub(from, to, from, to));
        add_product<T>(diagonal, beside, rows);
    }
}

// A·V for a Hermitian A held by its lower triangle. Each group of strips writes its own rows and
// its own adjoint part; the parts are then added in the order of the groups.
template <class T>
dense_block<T> hermitian_block_product(block_view<const T> a, block_view<const T> v)
{
    const std::size_t n = a.rows;
    const strip_groups groups = groups_of(n, v.cols);
    dense_block<T> product(n, v.cols);
    aligned_vector<T> parts = uninitialized<T>(groups.count * v.cols * n);
    const auto part = [&](std::size_t g) {
        return block_view<T>{parts.data() + g * v.cols * n, v.cols, groups.begin(g + 1), n};
    };
    const auto multiply_group = [&](std::size_t g) {
        const block_view<T> adjoint = part(g);
        for (std::size_t j = 0; j < adjoint.rows; ++j)
            set_zero(adjoint.row(j), adjoint.cols);
        multiply_strips<T>(a, v, groups.begin(g), groups.begin(g + 1), product.view, adjoint);
    };
    parallel_for(groups.count, work_of_products<T>(n * n * v.cols / groups.count), multiply_group);

    // The last part has all columns.
    const block_view<T> sums = part(groups.count - 1);
    const auto add_adjoints = [&](std::size_t from, std::size_t to) {
        for (std::size_t g = groups.count - 1; g-- > 0;) {
            const block_view<const T> addend = part(g);
            for (std::size_t j = 0; j < v.cols; ++j)
                for (std::size_t i = from; i < std::min(to, addend.cols); ++i)
                    sums(j, i) += addend(j, i);
        }
        for (std::size_t i = from; i < to; ++i)
            for (std::size_t j = 0; j < v.cols; ++j)
                product.view(i, j) += conjugate(sums(j, i));
    };
    for_row_tiles(n, groups.count * v.cols, add_adjoints);
    return product;
}

// W with QᴴAQ = A - W·Vᴴ - V·Wᴴ for Q = I - V·T·Vᴴ: with Y = A·V·T it is Y - V·S/2, where
// S = Tᴴ·(VᴴY) (Dongarra, Sorensen and Hammarling 1989).
template <class T>
dense_block<T> update_factor(block_view<const T> a, const reflector_block<T>& q)
{
    const std::size_t count = q.count;
    const block_view<const T> v{q.vectors.data(), q.rows, count};
    const block_view<const T> factor{q.factor.data(), count, count};
    const dense_block<T> along = hermitian_block_product(a, v);
    dense_block<T> w(q.rows, count);
    add_product<T>(along.view, factor, w.view);

    dense_block<T> inner(count, count);
    add_adjoint_product<T>(v, w.view, inner.view);
    dense_block<T> half(count, count);
    add_adjoint_product<T>(factor, inner.view, half.view);
    for (T& x : half.elements)
        x *= -0.5;
    add_product<T>(v, half.view, w.view);
    return w;
}

// The factors of A -= W·Vᴴ + V·Wᴴ as one product, [ -W  -V ]·[ Vᴴ ; Wᴴ ].
template <class T>
class rank_two_update
{
public:
    rank_two_update(block_view<const T> v, block_view<const T> w)
        : left_store(uninitialized<T>(2 * v.rows * v.cols)),
          right_store(uninitialized<T>(2 * v.rows * v.cols)),
          left{left_store.data(), v.rows, 2 * v.cols}, right{right_store.data(), 2 * v.cols, v.rows}
    {
        const std::size_t count = v.cols;
        const auto fill_rows = [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i)
                for (std::size_t j = 0; j < count; ++j) {
                    left(i, j) = negated(w(i, j));
                    left(i, count + j) = negated(v(i, j));
                    right(j, i) = conjugate(v(i, j));
                    right(count + j, i) = conjugate(w(i, j));
                }
        };
        for_row_tiles(v.rows, 4 * count, fill_rows);
    }

    // To rows [from, to) of the columns [first, last) of A.
    void apply(block_view<T> a, std::size_t from, std::size_t to, std::size_t first,
               std::size_t last) const
    {
        add_product<T>(left.sub(from, to, 0, left.cols), right.sub(0, right.rows, first, last),
                       a.sub(from, to, first, last));
    }

private:
    aligned_vector<T> left_store;
    aligned_vector<T> right_store;
    block_view<T> left;
    block_view<T> right;
};

// The update on and below the diagonal. The `leading` columns are first, so that beside() may use
// them while the others follow by strips of rows that end at their own diagonal, the longest first:
// each written by its own index.
template <class T, class F>
void update_lower(block_view<T> a, block_view<const T> v, block_view<const T> w,
                  std::size_t leading, const F& beside)
{
    const std::size_t n = a.rows;
    const rank_two_update<T> update(v, w);
    update.apply(a, 0, n, 0, leading);
    const std::size_t strips = ceil_div(n, band_strip_rows);
    const auto update_strip = [&](std::size_t s) {
        const std::size_t from = (strips - 1 - s) * band_strip_rows;
        const std::size_t to = std::min(from + band_strip_rows, n);
        if (to > leading)
            update.apply(a, from, to, leading, to);
    };
    parallel_for_beside(strips, work_of_products<T>(band_strip_rows * n * v.cols), update_strip,
                        beside);
}

// Columns [from, to) become upper triangular below row `to`. Returns the reflections of the rows
// from `to` on.
template <class T>
reflector_block<T> factor_columns(block_view<T> a, std::size_t from, std::size_t to)
{
    const std::size_t width = to - from;
    const std::size_t length = a.rows - to;
    const std::size_t count = std::min(width, length);
    const block_view<T> panel = a.sub(to, a.rows, from, to);
    aligned_vector<T> columns = uninitialized<T>(length * width);
    for (std::size_t i = 0; i < length; ++i)
        std::copy_n(panel.row(i), width, columns.data() + i * width);

    const block_view<T> all{columns.data(), length, width};
    reflector_block<T> q = factor_qr_panel(all.sub(0, length, 0, count), 0);
    apply_reflector_block<block_operator::adjoint>(q, columns, width, count, width);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < width; ++j)
            panel(i, j) = j < i ? T(0) : columns[i * width + j];
    q.offset = to;
    return q;
}

// keep(reflections) takes those of each panel.
template <class T, class Keep>
hermitian_band<T> reduce_panels(aligned_vector<T> a, std::size_t n, std::size_t width,
                                const Keep& keep)
{
    hermitian_band<T> band(n, width);
    const block_view<T> all{a.data(), n, n};
    std::optional<reflector_block<T>> q;
    if (width < n)
        q = factor_columns(all, 0, width);
    for (std::size_t to = width; q; to += width) {
        const block_view<T> trailing = all.sub(to, n, to, n);
        const dense_block<T> w = update_factor<T>(trailing, *q);
        std::optional<reflector_block<T>> next;
        const auto factor_next = [&] {
            if (to + width < n)
                next = factor_columns(all, to, to + width);
        };
        update_lower<T>(trailing, {q->vectors.data(), q->rows, q->count}, w.view,
                        std::min(width, n - to), factor_next);
        keep(std::move(*q));
        q = std::move(next);
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t first = i - std::min(i, width);
        std::copy_n(&all(i, first), i + 1 - first, &band(i, first));
        for (std::size_t j = first; j < i; ++j)
            band(j, i) = conjugate(band(i, j));
    }
    return band;
}

} // namespace

template <class T>
hermitian_band<T> reduce_to_hermitian_band(aligned_vector<T> a, std::size_t n, std::size_t width)
{
    return reduce_panels(std::move(a), n, width, [](reflector_block<T>&&) {});
}

template <class T>
hermitian_band<T> reduce_to_hermitian_band(aligned_vector<T> a, std::size_t n, std::size_t width,
                                           std::vector<reflector_block<T>>& reflections)
{
    return reduce_panels(std::move(a), n, width, [&](reflector_block<T>&& of_panel) {
        reflections.push_back(std::move(of_panel));
    });
}

template hermitian_band<double> reduce_to_hermitian_band(aligned_vector<double>, std::size_t,
                                                         std::size_t,
                                                         std::vector<reflector_block<double>>&);
template hermitian_band<complex> reduce_to_hermitian_band(aligned_vector<complex>, std::size_t,
                                                          std::size_t,
                                                          std::vector<reflector_block<complex>>&);
template hermitian_band<double> reduce_to_hermitian_band(aligned_vector<double>, std::size_t,
                                                         std::size_t);
template hermitian_band<complex> reduce_to_hermitian_band(aligned_vector<complex>, std::size_t,
                                                          std::size_t);

} // namespace numerical::detail
