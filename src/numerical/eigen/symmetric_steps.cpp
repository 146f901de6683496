#include "numerical/eigen/symmetric_steps.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/symmetric_column.hpp"
#include "numerical/eigen/symmetric_step.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t most_strips = 4;

// Of a shared pass of two strips. The other thread has the second one, and fetches the vectors that
// the caller has written.
constexpr double share_of_first_strip = 0.56;

// Of an element, on the scale of parallel_for: its page is fresh, and the caller's half of the loop
// lies in the other core's cache.
constexpr std::size_t work_to_mirror = 4;

// Of a number, and of what a complex pass needs y to be (symmetric_step.hpp).
template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

step_kernel kernel_of(int path, double)
{
    return choose(path, run_symmetric_step, avx2_run_symmetric_step, avx512_run_symmetric_step);
}

step_kernel kernel_of(int path, complex)
{
    return choose(path, run_hermitian_step, avx2_run_hermitian_step, avx512_run_hermitian_step);
}

column_kernels column_kernels_of(int path, double)
{
    return choose(path, symmetric_column, avx2_symmetric_column, avx512_symmetric_column)();
}

column_kernels column_kernels_of(int path, complex)
{
    return choose(path, hermitian_column, avx2_hermitian_column, avx512_hermitian_column)();
}

double square_of(double x)
{
    return x * x;
}

double square_of(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

std::size_t block_of(std::size_t i)
{
    return i - i % step_block;
}

// Strip s has the rows [of[s], of[s + 1]).
struct strip_bounds
{
    std::size_t count;
    std::array<std::size_t, most_strips + 1> of;
};

std::size_t strips_of_order(std::size_t order)
{
    if (order >= least_order_of_four_strips)
        return most_strips;
    return order >= least_order_of_two_strips ? 2 : 1;
}

// By rows that hold given parts of the triangle, equal ones if there are more than two strips.
strip_bounds strips_of(std::size_t from, std::size_t to)
{
    const std::size_t count = strips_of_order(to - from);
    const double part = count == 2 ? share_of_first_strip : 1 / static_cast<double>(count);
    strip_bounds bounds{.count = count, .of = {from}};
    for (std::size_t s = 1; s < count; ++s) {
        const double rows = 1 - std::sqrt(1 - part * static_cast<double>(s));
        bounds.of[s] =
            from + block_of(static_cast<std::size_t>(static_cast<double>(to - from) * rows));
    }
    bounds.of[count] = to;
    return bounds;
}

// On the scale of parallel_for. Where short loops don't pay, the vectors, too, take microseconds to
// pass between the cores, and only long passes are shared.
std::size_t work_of_strip(std::size_t order)
{
    constexpr std::size_t order_of_long_passes = 362;
    constexpr std::size_t of_shared = std::size_t{1} << 16;
    const bool is_shared =
        order >= order_of_long_passes || (order >= least_order_of_two_strips && short_loops_pay());
    return is_shared ? of_shared : 0;
}

template <class T>
class step_reducer
{
public:
    step_reducer(block_view<const T> lower, double scale);

    // Column k: d[k] is returned and sub[k] set, and the reflector if it is wanted.
    double reduce_column(std::size_t k, aligned_vector<T>* reflector, T& sub);

    // After all columns.
    double last_entry() const { return real_part(upper[(n - 1) * stride + n - 1]); }

private:
    double take_row(std::size_t k, double& diagonal);
    T reflect(std::size_t k, double tail);
    void multiply(std::size_t from);
    void follow(const strip_bounds& strips);

    const step_kernel run_step;
    const column_kernels kernels;
    const std::size_t n;
    const std::size_t padded; // whole blocks; zeros beyond n
    const std::size_t stride;
    aligned_vector<T> upper;

    // Conjugated: v and w of the last column and x, the next v, of `padded` elements each, and the
    // y of each strip, if complex with its z. x is zero up to its column.
    aligned_vector<T> vectors;
    T* v = vectors.data();
    T* w = v + padded;
    T* x = w + padded;

    T* y(std::size_t strip) { return vectors.data() + (3 + strip * parts<T>)*padded; }

    column_vectors column()
    {
        return {as_doubles(v),    as_doubles(w), as_doubles(x),
                as_doubles(y(0)), padded,        parts<T> * padded};
    }
};

// The mirrored triangle, divided by the scale; the blocks at the diagonal whole. Each index writes
// the rows of a tile, and threads mostly those of their strips.
template <class T>
step_reducer<T>::step_reducer(block_view<const T> lower, double scale)
    : run_step(kernel_of(gemm_path_current(), T())),
      kernels(column_kernels_of(gemm_path_current(), T())), n(lower.rows),
      padded(round_up(n, step_block)), stride(spread_stride<T>(padded)),
      upper(uninitialized<T>(padded * stride)),
      vectors(zeros<T>((3 + most_strips * parts<T>)*padded))
{
    constexpr std::size_t tile = 32;
    const block_view<T> rows{upper.data(), padded, padded, stride};
    const int path = gemm_path_current();
    const auto mirror_tile = [&](std::size_t t) {
        const std::size_t from = t * tile;
        const std::size_t to = std::min(from + tile, n);
        adjoint_into<T>(rows.sub(from, to, from, n), lower.sub(from, n, from, to));
        for (std::size_t i = from; i < to; ++i) {
            if (scale != 1)
                divide_row(path, as_doubles(rows.row(i) + i), scale, parts<T> * (n - i));
            rows(i, i) = real_part(rows(i, i));
        }
        for (std::size_t i = from; i < round_up(to, step_block); ++i) {
            const std::size_t block = block_of(i);
            for (std::size_t j = block; j < std::min(i, n); ++j)
                rows(i, j) = i < n ? conjugate(rows(j, i)) : T(0);
            std::fill(rows.row(i) + std::max(n, block), rows.row(i) + padded, T(0));
        }
    };
    parallel_for(ceil_div(n, tile), work_to_mirror * parts<T> * tile * (n / 2), mirror_tile);
}

// x becomes column k from the subdiagonal on, conjugated: row k of the upper triangle, with the
// last column's vectors. The sum of |x|² below the subdiagonal.
template <class T>
double step_reducer<T>::take_row(std::size_t k, double& diagonal)
{
    const T coefficients[] = {conjugate(w[k]), conjugate(v[k])};
    const double* const entries = as_doubles(upper.data() + k * stride);
    const double* const by = as_doubles(coefficients);
    const std::size_t from = block_of(k);
    const std::size_t whole = round_up(k + 2, step_block);
    kernels.take_row(entries, by, column(), from, whole);
    double tail = kernels.take_row(entries, by, column(), whole, padded);
    for (std::size_t i = k + 2; i < whole; ++i)
        tail += square_of(x[i]);
    diagonal = real_part(x[k]);
    std::fill(x + from, x + k + 1, T(0));
    return tail;
}

// x becomes the reflector of column k, and the subdiagonal's entry is returned, both conjugated.
// The square of a norm in the safe range has lost nothing by underflow.
template <class T>
T step_reducer<T>::reflect(std::size_t k, double tail)
{
    T* const first = x + k + 1;
    const double square = square_of(*first) + tail;
    if (!is_safe_square(square)) {
        aligned_vector<T> below(first, x + n);
        const T sub = householder_in_place(below);
        std::copy(below.begin(), below.end(), first);
        return sub;
    }
    const T reach = phase_of(*first) * T(std::sqrt(square));
    *first += reach;
    const double length = std::sqrt(square_of(*first) + tail);
    kernels.scale(column(), 1 / length, block_of(k + 1), padded);
    return -reach;
}

// Sets v and w for the next column's update. Each strip has rows and a y of its own.
template <class T>
void step_reducer<T>::multiply(std::size_t from)
{
    const strip_bounds strips = strips_of(from, padded);
    const auto run_strip = [&](std::size_t s) {
        T* const sums = y(s);
        for (std::size_t part = 0; part < parts<T>; ++part)
            std::fill(sums + part * padded + strips.of[s], sums + (part + 1) * padded, T(0));
        run_step({as_doubles(upper.data()), stride, strips.of[s], strips.of[s + 1], padded},
                 {as_doubles(v), as_doubles(w), as_doubles(x), as_doubles(sums)});
    };
    parallel_for(strips.count, work_of_strip(padded - from), run_strip);
    follow(strips);
}

// w = 2y - 2(xᴴy)·x, with which H·A·H is A - x·wᴴ - w·xᴴ. x becomes v, and v room for the next x.
template <class T>
void step_reducer<T>::follow(const strip_bounds& strips)
{
    double projection = 0;
    for (std::size_t s = 0; s < strips.count; ++s)
        projection += kernels.add_strips(column(), s + 1, strips.of[s], strips.of[s + 1]);
    kernels.follow(column(), projection, strips.of[0], padded);
    std::swap(v, x);
}

template <class T>
double step_reducer<T>::reduce_column(std::size_t k, aligned_vector<T>* reflector, T& sub)
{
    double diagonal = 0;
    const double tail = take_row(k, diagonal);
    T* const first = x + k + 1;
    const auto is_zero = [](const T& each) { return each == T(0); };
    if (tail == 0 && std::all_of(first + 1, x + n, is_zero)) {
        sub = conjugate(*first);
        *first = T(0);
    } else {
        sub = conjugate(reflect(k, tail));
        if (reflector != nullptr) {
            reflector->assign(first, x + n);
            conjugate_all(reflector->data(), reflector->size());
        }
    }
    multiply(block_of(k + 1));
    return diagonal;
}

} // namespace

template <class T>
void reduce_by_steps(block_view<const std::type_identity_t<T>> lower, double scale,
                     aligned_vector<T>* reflectors, double* d, T* sub)
{
    const std::size_t n = lower.rows;
    step_reducer<T> steps(lower, scale);
    for (std::size_t k = 0; k + 1 < n; ++k)
        d[k] = steps.reduce_column(k, reflectors == nullptr ? nullptr : reflectors + k + 1, sub[k]);
    d[n - 1] = steps.last_entry();
}

template void reduce_by_steps(block_view<const double>, double, aligned_vector<double>*, double*,
                              double*);
template void reduce_by_steps(block_view<const complex>, double, aligned_vector<complex>*, double*,
                              complex*);

} // namespace numerical::detail
