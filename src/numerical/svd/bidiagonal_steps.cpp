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
#include "numerical/svd/bidiagonal_step_lines.hpp"

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
    if (tiles < 32)
        return 2;
    return tiles < 64 ? 4 : most_strips;
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
    using tile_lines = std::array<double, parts * step_tile_doubles>;

    T reduce_column(std::size_t k, aligned_vector<T>& reflector);
    T reduce_row(std::size_t k, aligned_vector<T>& reflector);
    template <class F>
    void pass(std::size_t k, const F& run_tile);
    void sweep_tile(std::size_t k, std::size_t t, double* sums);
    void multiply_tile(std::size_t k, std::size_t t, double* sums);
    tile_lines take_row(std::size_t k, std::size_t t, const double* sums);
    void set_v(std::size_t k, const aligned_vector<T>& reflector);
    void take_column(std::size_t k);
    void follow(std::size_t k, const aligned_vector<T>& reflector, T share_of_first, double scale);
    void follow_identity(std::size_t k);

    step_tile tile_from(std::size_t t, std::size_t row)
    {
        return {tiles.data() + (t * rows + row) * step_tile_doubles, rows - row};
    }

    // Where the blocks of row k begin.
    static std::size_t block_of(std::size_t k) { return k - k % step_row_block; }

    const int path = gemm_path_current();
    const bidiagonal_step_kernels& kernels = kernels_of(path, T());
    const std::size_t n;
    const std::size_t rows; // of a tile: whole blocks, zeros beyond n
    const std::size_t tile_count;
    const std::size_t row_size = tile_count * columns_of_tile;
    aligned_vector<double> tiles;
    aligned_vector<T> y;             // a row and, if complex, i times it
    aligned_vector<T> v;             // conjugated, so too
    aligned_vector<double> products; // with r, of each strip
    aligned_vector<T> u;
    aligned_vector<T> x;
    aligned_vector<T> next; // the u of this step
    aligned_vector<T> column;
    aligned_vector<T> r; // row k after the left reflection, conjugated
};

template <class T>
step_reducer<T>::step_reducer(block_view<const T> a)
    : n(a.rows), rows(round_up(n, step_row_block)), tile_count(ceil_div(n, columns_of_tile)),
      tiles(uninitialized<double>(tile_count * rows * step_tile_doubles)), y(parts * row_size),
      v(parts * row_size), products(uninitialized<double>(most_strips * parts * rows)), u(rows),
      x(rows), next(rows), column(n)
{
    const auto fill_tile = [&](std::size_t t) {
        const std::size_t first = t * columns_of_tile;
        const std::size_t count = std::min(columns_of_tile, n - first);
        const step_tile tile = tile_from(t, 0);
        for (std::size_t i = 0; i < rows; ++i) {
            double* const row = tile.first + i * step_tile_doubles;
            const std::size_t filled = i < n ? parts * count : 0;
            if (filled != 0)
                std::copy_n(as_doubles(a.row(i) + first), filled, row);
            std::fill(row + filled, row + step_tile_doubles, 0.0);
        }
    };
    parallel_for(tile_count, rows * step_tile_doubles, fill_tile);
    for (std::size_t i = 0; i < n; ++i)
        column[i] = a(i, 0);
}

// β of column k, whose reflector becomes `next`.
template <class T>
T step_reducer<T>::reduce_column(std::size_t k, aligned_vector<T>& reflector)
{
    for (aligned_vector<T>* const ended : {&u, &x, &next})
        std::fill(ended->begin() + block_of(k), ended->begin() + k, T(0));
    aligned_vector<T> below(column.begin() + k, column.end());
    if (is_zero_beyond_first(below)) {
        std::fill(next.begin() + k, next.end(), T(0));
        return below[0];
    }
    const T beta = householder_in_place(below);
    std::copy(below.begin(), below.end(), next.begin() + k);
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
        double* const sums = products.data() + s * parts * rows;
        for (std::size_t p = 0; p < parts; ++p)
            std::fill(sums + p * rows + from, sums + (p + 1) * rows, 0.0);
        for (std::size_t t = first + s * count / strips; t < first + (s + 1) * count / strips; ++t)
            run_tile(t, sums);
    };
    const std::size_t doubles = (rows - from) * step_tile_doubles * count;
    parallel_for(strips, parts * work_of_double() * doubles / strips, run_strip);
    for (std::size_t s = 1; s < strips; ++s)
        for (std::size_t p = 0; p < parts; ++p) {
            double* const sums = products.data() + p * rows;
            scaled_add_on(path, sums + from, sums + s * parts * rows + from, 1.0, rows - from);
        }
}

// The tile brought up to date, its part of y and of r, and its products with r.
template <class T>
void step_reducer<T>::sweep_tile(std::size_t k, std::size_t t, double* sums)
{
    const std::size_t from = block_of(k);
    const step_tile tile = tile_from(t, from);
    tile_lines with_next;
    kernels.update(
        tile,
        {as_doubles(u.data() + from), as_doubles(x.data() + from), as_doubles(next.data() + from)},
        {as_doubles(y.data() + t * columns_of_tile), as_doubles(v.data() + t * columns_of_tile),
         parts * row_size},
        with_next.data());
    const tile_lines weights = take_row(k, t, with_next.data());
    kernels.multiply(tile, weights.data(), sums + from, rows);
}

// A tile's part of y, from its products with `next`, and of r, which is returned as weights.
// Columns up to k have ended.
template <class T>
typename step_reducer<T>::tile_lines step_reducer<T>::take_row(std::size_t k, std::size_t t,
                                                               const double* sums)
{
    const std::size_t left = t * columns_of_tile;
    const double* const row = tile_from(t, k).first;
    double* const y_of_tile = as_doubles(y.data() + left);
    tile_lines weights;
    for (std::size_t j = 0; j < columns_of_tile; ++j) {
        const T twice = 2.0 * adjoint_sum(sums, j, T());
        set_factor(y_of_tile, parts * row_size, j, twice);
        set_weight(weights.data(), j,
                   conjugate(T(number_at(row, j, T()) - finite_product(next[k], twice))));
    }
    for (std::size_t j = 0; left + j <= k && j < columns_of_tile; ++j) {
        set_factor(y_of_tile, parts * row_size, j, T(0));
        set_weight(weights.data(), j, T(0));
    }
    for (std::size_t j = left <= k ? k + 1 - left : 0; j < columns_of_tile && left + j < n; ++j)
        r[left + j - k - 1] = conjugate(number_at(weights.data(), j, T()));
    return weights;
}

// The tile's products with r.
template <class T>
void step_reducer<T>::multiply_tile(std::size_t k, std::size_t t, double* sums)
{
    const std::size_t left = t * columns_of_tile;
    const std::size_t from = block_of(k);
    tile_lines weights{};
    for (std::size_t j = left <= k ? k + 1 - left : 0; j < columns_of_tile && left + j < n; ++j)
        set_weight(weights.data(), j, r[left + j - k - 1]);
    kernels.multiply(tile_from(t, from), weights.data(), sums + from, rows);
}

// Conjugated, from column k + 1 on, where the reflector begins.
template <class T>
void step_reducer<T>::set_v(std::size_t k, const aligned_vector<T>& reflector)
{
    double* const lines = as_doubles(v.data());
    set_factor(lines, parts * row_size, k, T(0));
    for (std::size_t j = k + 1; j < n; ++j)
        set_factor(lines, parts * row_size, j, conjugate(reflector[j - k - 1]));
}

// Column k + 1, as the tiles have it.
template <class T>
void step_reducer<T>::take_column(std::size_t k)
{
    const double* const first = tile_from((k + 1) / columns_of_tile, 0).first;
    for (std::size_t i = k + 1; i < n; ++i)
        column[i] = number_at(first + i * step_tile_doubles, (k + 1) % columns_of_tile, T());
}

// x = 2·(A - u·yᵀ)·v with A·v = scale·(A·r - share·(the first column of A)), and the next column.
template <class T>
void step_reducer<T>::follow(std::size_t k, const aligned_vector<T>& reflector, T share_of_first,
                             double scale)
{
    T along(0); // yᵀ·v
    add_row_dots_on(path, &along, y.data() + k + 1, row_size, 1, reflector.data(), n - k - 1);
    set_v(k, reflector);
    take_column(k);
    const T first_y = y[k + 1];
    const T first_v = v[k + 1];
    for (std::size_t i = k + 1; i < n; ++i) {
        const T of_matrix = column[i];
        const T with_r = product_at(products.data(), i, rows, T());
        const T with_v = scale * T(with_r - finite_product(share_of_first, of_matrix));
        x[i] = 2.0 * T(with_v - finite_product(next[i], along));
        column[i] = of_matrix - finite_product(next[i], first_y) - finite_product(x[i], first_v);
    }
}

// The same where there is no right reflector.
template <class T>
void step_reducer<T>::follow_identity(std::size_t k)
{
    std::fill(v.begin(), v.end(), T(0));
    take_column(k);
    const T first_y = y[k + 1];
    for (std::size_t i = k + 1; i < n; ++i) {
        x[i] = T(0);
        column[i] -= finite_product(next[i], first_y);
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
