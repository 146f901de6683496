#include "numerical/svd/bidiagonal_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/bidiagonal_step.hpp"
#include "numerical/svd/bidiagonal_step_blocks.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// A pass is cut in strips of tiles, each with products of its own, whatever the number of threads:
// in two, whose starts cost least, and in more where they repay it on more threads.
constexpr std::size_t most_strips = 8;

constexpr std::size_t strips_of(std::size_t tiles)
{
    if (tiles < 2)
        return 1;
    if (tiles < 64)
        return 2;
    return tiles < 128 ? 4 : most_strips;
}

// Of a double of the matrix in a pass, on the scale of parallel_for. Where short loops pay a pass
// over an order of 90 is shared, else of 181.
std::size_t work_of_double()
{
    return short_loops_pay() ? 16 : 4;
}

const bidiagonal_step_kernels& kernels_of(int path, double)
{
    return *choose(path, &real_step, &avx2_real_step, &avx512_real_step);
}

const bidiagonal_step_kernels& kernels_of(int path, complex)
{
    return *choose(path, &complex_step, &avx2_complex_step, &avx512_complex_step);
}

// What is left at step k is what the tiles hold, less u·yᵀ + x·vᴴ of the step before; but column k,
// which is kept apart.
template <class T>
class step_reducer
{
public:
    explicit step_reducer(block_view<const T> a);

    // Reflects column k from the left, then row k from the right.
    void reduce(std::size_t k, aligned_vector<T>& left, aligned_vector<T>& right, T& d, T& e);

private:
    static constexpr std::size_t parts = step_parts<T>;
    static constexpr std::size_t columns_of_tile = step_tile_columns<T>;
    using tile_row = std::array<T, columns_of_tile>;

    T reduce_column(std::size_t k, aligned_vector<T>& reflector);
    T reduce_row(std::size_t k, aligned_vector<T>& reflector);
    template <class F>
    void pass(std::size_t k, const F& run_tile);
    void sweep_tile(std::size_t k, std::size_t t, double* sums);
    void multiply_tile(std::size_t k, std::size_t t, double* sums);
    tile_row take_row(std::size_t k, std::size_t t, const tile_row& with_next);
    void follow(std::size_t k, const aligned_vector<T>& reflector, T share_of_first, double scale);
    void follow_identity(std::size_t k);

    step_tile tile_from(std::size_t t, std::size_t row)
    {
        return {tiles.data() + place_of_row<T>(t * rows + row, columns_of_tile), rows - row};
    }

    // Column j of its tile, from row k on.
    double* column_from(std::size_t j, std::size_t k)
    {
        return tile_from(j / columns_of_tile, k).first +
               j % columns_of_tile * parts * step_row_block;
    }

    // Where the blocks of row k begin.
    static std::size_t block_of(std::size_t k) { return k - k % step_row_block; }

    const int path = gemm_path_current();
    const bidiagonal_step_kernels& kernels = kernels_of(path, T());
    const std::size_t n;
    const std::size_t rows; // of a tile: whole blocks, zeros beyond n
    const std::size_t tile_count;
    aligned_vector<double> tiles;
    aligned_vector<T> y;
    aligned_vector<T> v;             // conjugated
    aligned_vector<double> products; // with r, of each strip
    aligned_vector<double> u;
    aligned_vector<double> x;
    aligned_vector<double> next; // the u of this step
    aligned_vector<double> column;
    aligned_vector<T> r; // row k after the left reflection, conjugated
};

template <class T>
step_reducer<T>::step_reducer(block_view<const T> a)
    : n(a.rows), rows(round_up(n, step_row_block)), tile_count(ceil_div(n, columns_of_tile)),
      tiles(uninitialized<double>(tile_count * rows / step_row_block * step_block_doubles)),
      y(tile_count * columns_of_tile), v(y.size()),
      products(uninitialized<double>(most_strips * parts * rows)), u(parts * rows), x(u.size()),
      next(u.size()), column(u.size())
{
    const auto fill_tile = [&](std::size_t t) {
        const std::size_t first = t * columns_of_tile;
        const std::size_t count = std::min(columns_of_tile, n - first);
        const step_tile tile = tile_from(t, 0);
        if (count < columns_of_tile)
            std::fill_n(tile.first, rows / step_row_block * step_block_doubles, 0.0);
        for (std::size_t i = 0; i < rows; ++i) {
            double* const row = tile.first + place_of_row<T>(i, columns_of_tile);
            for (std::size_t j = 0; j < count; ++j)
                set_number(row + j * parts * step_row_block, i < n ? a(i, first + j) : T(0));
        }
    };
    parallel_for(tile_count, rows * columns_of_tile * parts, fill_tile);
    for (std::size_t i = 0; i < n; ++i)
        set_number(&column[place_of_row<T>(i)], a(i, 0));
}

// β of column k, whose reflector becomes `next`.
template <class T>
T step_reducer<T>::reduce_column(std::size_t k, aligned_vector<T>& reflector)
{
    for (aligned_vector<double>* const ended : {&u, &x, &next})
        for (std::size_t i = block_of(k); i < k; ++i)
            set_number(&(*ended)[place_of_row<T>(i)], T(0));
    aligned_vector<T> below = uninitialized<T>(n - k);
    for (std::size_t i = k; i < n; ++i)
        below[i - k] = number_at(&column[place_of_row<T>(i)], T());
    if (is_zero_beyond_first(below)) {
        std::fill(next.begin() + parts * block_of(k), next.end(), 0.0);
        return below[0];
    }
    const T beta = householder_in_place(below);
    for (std::size_t i = k; i < n; ++i)
        set_number(&next[place_of_row<T>(i)], below[i - k]);
    reflector = std::move(below);
    return beta;
}

// run_tile(t, sums) for each tile that has columns after k, then the sums of all strips in the
// first one's place. A strip writes its tiles, their part of y and of r, and its sums.
template <class T>
template <class F>
void step_reducer<T>::pass(std::size_t k, const F& run_tile)
{
    const std::size_t first = (k + 1) / columns_of_tile;
    const std::size_t count = tile_count - first;
    const std::size_t strips = strips_of(count);
    const std::size_t from = block_of(k);
    const auto run_strip = [&](std::size_t s) {
        double* const sums = products.data() + parts * (s * rows + from);
        std::fill_n(sums, parts * (rows - from), 0.0);
        for (std::size_t t = first + s * count / strips; t < first + (s + 1) * count / strips; ++t)
            run_tile(t, sums);
    };
    const std::size_t doubles = parts * (rows - from) * columns_of_tile * count;
    parallel_for(strips, parts * work_of_double() * doubles / strips, run_strip);
    double* const sums = products.data() + parts * from;
    for (std::size_t s = 1; s < strips; ++s)
        scaled_add_on(path, sums, sums + s * parts * rows, 1.0, parts * (rows - from));
}

// The tile brought up to date, its part of y and of r, and its products with r.
template <class T>
void step_reducer<T>::sweep_tile(std::size_t k, std::size_t t, double* sums)
{
    const std::size_t from = block_of(k);
    const std::size_t left = t * columns_of_tile;
    const step_tile tile = tile_from(t, from);
    tile_row with_next;
    kernels.update(tile, {&u[parts * from], &x[parts * from], &next[parts * from]},
                   {as_doubles(y.data() + left), as_doubles(v.data() + left)},
                   as_doubles(with_next.data()));
    const tile_row weights = take_row(k, t, with_next);
    kernels.multiply(tile, as_doubles(weights.data()), sums);
}

// A tile's part of y, from its products with `next`, and of r, which is returned as weights.
template <class T>
auto step_reducer<T>::take_row(std::size_t k, std::size_t t, const tile_row& with_next) -> tile_row
{
    const std::size_t left = t * columns_of_tile;
    const T of_next = number_at(&next[place_of_row<T>(k)], T());
    const double* const row = column_from(left, block_of(k)) + k % step_row_block;
    T* const y_of_tile = y.data() + left;
    tile_row weights;
    for (std::size_t j = 0; j < columns_of_tile; ++j) {
        y_of_tile[j] = 2.0 * with_next[j];
        weights[j] = conjugate(T(number_at(row + j * parts * step_row_block, T()) -
                                 finite_product(of_next, y_of_tile[j])));
    }
    const std::size_t reduced = left <= k ? std::min(k + 1 - left, columns_of_tile) : 0;
    std::fill_n(y_of_tile, reduced, T(0));
    std::fill_n(weights.begin(), reduced, T(0));
    const std::size_t end = std::min(columns_of_tile, n - left);
    if (reduced < end)
        std::copy(weights.begin() + reduced, weights.begin() + end, &r[left + reduced - k - 1]);
    return weights;
}

// The tile's products with r.
template <class T>
void step_reducer<T>::multiply_tile(std::size_t k, std::size_t t, double* sums)
{
    const std::size_t left = t * columns_of_tile;
    tile_row weights{};
    for (std::size_t j = left <= k ? k + 1 - left : 0; j < columns_of_tile && left + j < n; ++j)
        weights[j] = r[left + j - k - 1];
    kernels.multiply(tile_from(t, block_of(k)), as_doubles(weights.data()), sums);
}

// x = 2·(A - u·yᵀ)·v with A·v = scale·(A·r - share·(the first column of A)), and the next column.
template <class T>
void step_reducer<T>::follow(std::size_t k, const aligned_vector<T>& reflector, T share_of_first,
                             double scale)
{
    T along(0); // yᵀ·v
    add_row_dots_on(path, &along, y.data() + k + 1, y.size(), 1, reflector.data(), n - k - 1);
    v[k] = T(0);
    std::transform(reflector.begin(), reflector.end(), v.begin() + k + 1,
                   [](const T& z) { return conjugate(z); });
    const std::size_t from = block_of(k + 1);
    const std::size_t at = parts * from;
    kernels.follow({.in_tile = column_from(k + 1, from),
                    .products = &products[at],
                    .next = &next[at],
                    .rows = rows - from},
                   {.share_of_first = as_doubles(&share_of_first),
                    .along = as_doubles(&along),
                    .y = as_doubles(&y[k + 1]),
                    .v = as_doubles(&v[k + 1]),
                    .scale = scale},
                   &x[at], &column[at]);
}

// The same where there is no right reflector.
template <class T>
void step_reducer<T>::follow_identity(std::size_t k)
{
    std::fill(v.begin(), v.end(), T(0));
    std::fill(x.begin(), x.end(), 0.0);
    const double* const in_tile = column_from(k + 1, 0);
    for (std::size_t i = k + 1; i < n; ++i) {
        const std::size_t at = place_of_row<T>(i);
        const T entry = number_at(in_tile + place_of_row<T>(i, columns_of_tile), T());
        set_number(&column[at], entry - finite_product(number_at(&next[at], T()), y[k + 1]));
    }
}

// The superdiagonal entry of row k.
template <class T>
T step_reducer<T>::reduce_row(std::size_t k, aligned_vector<T>& reflector)
{
    if (is_zero_beyond_first(r)) {
        follow_identity(k);
        return conjugate(r[0]);
    }
    // Products with a tiny r have lost digits to underflow.
    const bool usable = std::any_of(r.begin(), r.end(),
                                    [](const T& each) { return modulus(each) >= tiny_magnitude; });
    const T first_of_r = r[0];
    const T beta = householder_in_place(r);
    if (usable) {
        follow(k, r, beta, modulus(r[0]) / modulus(T(first_of_r - beta)));
    } else {
        pass(k, [&](std::size_t t, double* sums) { multiply_tile(k, t, sums); });
        follow(k, r, T(0), 1.0);
    }
    reflector = std::move(r);
    return conjugate(beta);
}

template <class T>
void step_reducer<T>::reduce(std::size_t k, aligned_vector<T>& left, aligned_vector<T>& right, T& d,
                             T& e)
{
    d = reduce_column(k, left);
    if (k + 1 == n)
        return;
    r = aligned_vector<T>(n - k - 1);
    pass(k, [&](std::size_t t, double* sums) { sweep_tile(k, t, sums); });
    e = reduce_row(k, right);
    std::swap(u, next);
}

} // namespace

template <class T>
void bidiagonalize_by_steps(block_view<const T> a, aligned_vector<T>* left,
                            aligned_vector<T>* right, T* d, T* e)
{
    step_reducer<T> steps(a);
    for (std::size_t k = 0; k < a.rows; ++k)
        steps.reduce(k, left[k], right[k], d[k], e[k]);
}

template void bidiagonalize_by_steps(block_view<const double>, aligned_vector<double>*,
                                     aligned_vector<double>*, double*, double*);
template void bidiagonalize_by_steps(block_view<const complex>, aligned_vector<complex>*,
                                     aligned_vector<complex>*, complex*, complex*);

} // namespace numerical::detail
