#include "numerical/svd/bidiagonal.hpp"

#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/row_dots.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// The reflector that clears x after its first element; empty if there is nothing to clear.
template <class T>
std::vector<T> reflector_clearing_tail(std::vector<T> x)
{
    if (!(scaled_norm(x.data() + 1, x.size() - 1) > 0))
        x.clear();
    else
        make_reflector(x);
    return x;
}

constexpr std::size_t rows_at_once = 16;

// y -= 2·(y·r)·conj(r) for the stretch y of each of the rows [from, to); each sum in
// index order.
void reflect_rows_from_right(std::vector<double>& a, std::size_t n, const std::vector<double>& r,
                             std::size_t first, std::size_t from, std::size_t to)
{
    const int path = gemm_path_current();
    std::array<double, rows_at_once> sums;
    double* const y = a.data() + from * n + first;
    ascending_row_dots_on(path, sums.data(), y, n, to - from, r.data(), r.size());
    for (std::size_t i = 0; i < to - from; ++i)
        subtract_scaled_on(path, y + i * n, r.data(), 2 * sums[i], r.size());
}

void reflect_rows_from_right(std::vector<complex>& a, std::size_t n,
                             const std::vector<complex>& conjugate_r, std::size_t first,
                             std::size_t from, std::size_t to)
{
    reflect_columns(a, n, conjugate_r, first, from, to);
}

// A := A·H for the reflector r on columns [first, first + r.size()) of rows [first_row, n).
template <class T>
void reflect_from_right(std::vector<T>& a, std::size_t n, const std::vector<T>& r,
                        std::size_t first_row, std::size_t first)
{
    std::vector<T> conjugate_r(r.size());
    std::transform(r.begin(), r.end(), conjugate_r.begin(),
                   [](const T& element) { return conjugate(element); });
    const auto reflect_group = [&](std::size_t b) {
        const std::size_t from = first_row + b * rows_at_once;
        reflect_rows_from_right(a, n, conjugate_r, first, from, std::min(from + rows_at_once, n));
    };
    parallel_for((n - first_row + rows_at_once - 1) / rows_at_once, 2 * rows_at_once * r.size(),
                 reflect_group);
}

// The conjugate phase of entry (k, k) times row k from there on.
template <class T>
T make_diagonal_real(std::vector<T>& a, std::size_t n, std::size_t k)
{
    T* const row = a.data() + k * n;
    const T phase = conjugate(T(phase_of(row[k])));
    for (std::size_t j = k; j < n; ++j)
        row[j] *= phase;
    return phase;
}

// The conjugate phase of entry (k, k + 1) times column k + 1 from row k down.
template <class T>
T make_superdiagonal_real(std::vector<T>& a, std::size_t n, std::size_t k)
{
    const T phase = conjugate(T(phase_of(a[k * n + k + 1])));
    for (std::size_t i = k; i < n; ++i)
        a[i * n + k + 1] *= phase;
    return phase;
}

} // namespace

template <class T>
bidiagonal_reduction<T> bidiagonalize_unblocked(std::vector<T> a, std::size_t n)
{
    bidiagonal_reduction<T> out(n);
    for (std::size_t k = 0; k < n; ++k) {
        std::vector<T> x(n - k);
        for (std::size_t i = k; i < n; ++i)
            x[i - k] = a[i * n + k];
        out.left_reflectors[k] = reflector_clearing_tail(std::move(x));
        if (!out.left_reflectors[k].empty())
            reflect_rows(a, n, out.left_reflectors[k], k, k);
        out.left_phases[k] = make_diagonal_real(a, n, k);
        out.d[k] = modulus(a[k * n + k]);
        if (k + 1 == n)
            break;

        std::vector<T> r(n - k - 1);
        for (std::size_t j = k + 1; j < n; ++j)
            r[j - k - 1] = conjugate(a[k * n + j]);
        out.right_reflectors[k] = reflector_clearing_tail(std::move(r));
        if (!out.right_reflectors[k].empty())
            reflect_from_right(a, n, out.right_reflectors[k], k, k + 1);
        out.right_phases[k] = make_superdiagonal_real(a, n, k);
        out.e[k] = modulus(a[k * n + k + 1]);
    }
    return out;
}

template bidiagonal_reduction<double> bidiagonalize_unblocked(std::vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize_unblocked(std::vector<complex>, std::size_t);

} // namespace numerical::detail
