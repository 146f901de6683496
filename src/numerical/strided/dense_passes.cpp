#include "numerical/strided/dense_passes.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <complex>
#include <limits>
#include <string>

namespace numerical::detail {
namespace {

constexpr std::size_t piece = 8192; // doubles, some microseconds from the last cache

template <class T>
constexpr std::size_t parts_of = sizeof(T) / sizeof(double);

// The work of a double on the scale of parallel_for, in quarters. Reading takes 0.2 to 0.4
// nanoseconds, and copying more than twice that, as the system clears fresh pages before they are
// written. A call begins with such a pass, while the workers may sleep: where short loops don't pay
// it has to repay their waking. Where they do, half a matrix of order 256 repays it, as lines that
// the other core has written in the last call take longer still.
std::size_t quarters_to_read()
{
    return short_loops_pay() ? 8 : 1;
}

std::size_t quarters_to_copy()
{
    return short_loops_pay() ? 8 : 2;
}

// Calls pass(first, count) on pieces of `total` doubles.
template <class F>
void for_each_piece(std::size_t total, std::size_t quarters, const F& pass)
{
    const auto pass_piece = [&](std::size_t p) {
        pass(p * piece, std::min(piece, total - p * piece));
    };
    parallel_for(ceil_div(total, piece), quarters * piece / 4, pass_piece);
}

// Whether found(first, count) for a piece of the elements, as doubles.
template <class T, class F>
bool any_piece(const T* elements, std::size_t count, const F& found)
{
    const auto* const parts = as_doubles(elements);
    std::atomic<bool> any = false;
    for_each_piece(count * parts_of<T>, quarters_to_read(), [&](std::size_t first, std::size_t n) {
        if (found(parts + first, n))
            any = true;
    });
    return any;
}

// Whether all of n elements are finite; each is also given to `use`. x·0 is a zero for finite x and
// NaN otherwise; the sums in lanes let the compiler use vectors.
template <class F>
bool all_finite(const double* x, std::size_t n, const F& use)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> zeros{};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l) {
            zeros[l] += x[i + l] * 0.0;
            use(i + l, x[i + l]);
        }
    for (; i < n; ++i) {
        zeros[0] += x[i] * 0.0;
        use(i, x[i]);
    }
    return std::all_of(zeros.begin(), zeros.end(), [](double zero) { return zero == 0; });
}

bool all_finite(const double* x, std::size_t n)
{
    return all_finite(x, n, [](std::size_t, double) {});
}

// The same, copying the elements on the way.
bool copy_if_all_finite(const double* __restrict x, std::size_t n, double* __restrict to)
{
    return all_finite(x, n, [to](std::size_t i, double value) { to[i] = value; });
}

// The largest magnitude of n elements; infinity unless all are finite. Two passes, as the compiler
// doesn't keep both kinds of lanes in registers.
double largest_if_all_finite(const double* x, std::size_t n)
{
    return all_finite(x, n) ? largest_modulus(x, n) : std::numeric_limits<double>::infinity();
}

// Rows without gaps are as one.
template <class T>
bool lies_dense(block_view<T> a)
{
    return a.stride == a.cols;
}

// Copies the rows; whether all elements are finite.
template <class T>
bool copy_rows(block_view<const T> a, block_view<T> to)
{
    const auto copy = [](const T* from, std::size_t count, T* out) {
        return copy_if_all_finite(as_doubles(from), count * parts_of<T>, as_doubles(out));
    };
    if (lies_dense(a) && lies_dense(to))
        return copy(a.first, a.rows * a.cols, to.first);
    bool finite = true;
    for (std::size_t i = 0; i < a.rows; ++i)
        finite = copy(a.row(i), a.cols, to.row(i)) && finite;
    return finite;
}

[[noreturn]] void throw_non_finite(const char* prefix)
{
    throw non_finite_error(std::string(prefix) + ": the matrix holds an infinite or NaN entry");
}

} // namespace

template <class T>
void copy_on_threads(const T* from, std::size_t count, T* to)
{
    const auto* const source = as_doubles(from);
    auto* const parts = as_doubles(to);
    for_each_piece(count * parts_of<T>, quarters_to_copy(), [=](std::size_t first, std::size_t n) {
        std::copy_n(source + first, n, parts + first);
    });
}

template <class T>
aligned_vector<T> copy_on_threads(const T* from, std::size_t count)
{
    aligned_vector<T> copy = uninitialized<T>(count);
    copy_on_threads(from, count, copy.data());
    return copy;
}

template <class T>
void copy_finite(block_view<const T> a, block_view<T> to, const char* prefix)
{
    const std::size_t length = a.cols * parts_of<T>;
    const bool is_small = a.rows * length <= piece;
    const std::size_t group = is_small ? a.rows : std::max(piece / length, std::size_t{1});
    std::atomic<bool> any = false;
    const auto copy_group = [&](std::size_t g) {
        const std::size_t first = g * group;
        const std::size_t last = std::min(first + group, a.rows);
        if (!copy_rows<T>(a.sub(first, last, 0, a.cols), to.sub(first, last, 0, a.cols)))
            any = true;
    };
    if (is_small)
        copy_group(0);
    else
        parallel_for(ceil_div(a.rows, group), quarters_to_copy() * length * group / 4, copy_group);
    if (any)
        throw_non_finite(prefix);
}

template <class T>
bool any_part_above_on_threads(const T* first, std::size_t count, double limit)
{
    return any_piece(first, count, [=](const double* parts, std::size_t n) {
        return any_part_above(parts, n, limit);
    });
}

template <class T>
void require_finite(const T* first, std::size_t count, const char* prefix)
{
    const auto is_not_finite = [](const double* x, std::size_t n) { return !all_finite(x, n); };
    if (any_piece(first, count, is_not_finite))
        throw_non_finite(prefix);
}

template <class T>
void require_finite(const matrix<T>& a, const char* prefix)
{
    require_finite(a.data.data(), a.data.size(), prefix);
}

template <class T>
double largest_finite_part(const T* first, std::size_t count, const char* prefix)
{
    const auto* const parts = as_doubles(first);
    const std::size_t total = count * parts_of<T>;
    aligned_vector<double> found(ceil_div(total, piece)); // each piece writes its own
    for_each_piece(total, quarters_to_read(), [&](std::size_t begin, std::size_t n) {
        found[begin / piece] = largest_if_all_finite(parts + begin, n);
    });
    const double largest = largest_modulus(found.data(), found.size());
    if (largest == std::numeric_limits<double>::infinity())
        throw_non_finite(prefix);
    return largest;
}

template <class T>
void require_finite_lower(block_view<const T> a, std::size_t from, std::size_t to,
                          const char* prefix)
{
    for (std::size_t i = from; i < to; ++i)
        if (!all_finite(as_doubles(a.row(i)), (i + 1) * parts_of<T>))
            throw_non_finite(prefix);
}

template void copy_on_threads(const double*, std::size_t, double*);
template void copy_on_threads(const std::complex<double>*, std::size_t, std::complex<double>*);
template aligned_vector<double> copy_on_threads(const double*, std::size_t);
template aligned_vector<std::complex<double>> copy_on_threads(const std::complex<double>*,
                                                              std::size_t);
template void copy_finite(block_view<const double>, block_view<double>, const char*);
template void copy_finite(block_view<const std::complex<double>>, block_view<std::complex<double>>,
                          const char*);
template bool any_part_above_on_threads(const double*, std::size_t, double);
template bool any_part_above_on_threads(const std::complex<double>*, std::size_t, double);
template void require_finite(const double*, std::size_t, const char*);
template void require_finite(const std::complex<double>*, std::size_t, const char*);
template void require_finite(const matrix<double>&, const char*);
template void require_finite(const matrix<std::complex<double>>&, const char*);
template double largest_finite_part(const double*, std::size_t, const char*);
template double largest_finite_part(const std::complex<double>*, std::size_t, const char*);
template void require_finite_lower(block_view<const double>, std::size_t, std::size_t, const char*);
template void require_finite_lower(block_view<const std::complex<double>>, std::size_t, std::size_t,
                                   const char*);

} // namespace numerical::detail
