#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/svd/bidiagonal.hpp"

#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/gemv_unfused.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/aligned_rows.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// The reflector that clears x after its first element; empty if there is nothing to clear.
template <class T>
aligned_vector<T> reflector_clearing_tail(aligned_vector<T> x)
{
    if (!(scaled_norm(x.data() + 1, x.size() - 1) > 0))
        x.clear();
    else
        make_reflector(x);
    return x;
}

constexpr std::size_t rows_at_once = 16;

// y -= 2·(y·r)·conj(r) for the part y of each of the rows; each sum in index order.
void reflect_from_right(block_view<double> rows, const aligned_vector<double>& r)
{
    const int path = gemm_path_current();
    std::array<double, rows_at_once> sums;
    ascending_row_dots_on(path, sums.data(), rows.first, rows.stride, rows.rows, r.data(),
                          r.size());
    for (double& sum : sums)
        sum *= 2;
    subtract_from_rows_on(path, rows.first, rows.stride, rows.rows, sums.data(), r.data(),
                          r.size());
}

void reflect_from_right(block_view<complex> rows, const aligned_vector<complex>& conjugate_r)
{
    reflect_columns(rows, conjugate_r);
}

// A := A·H for the reflector r on the last columns of the rows. To begin where a cache line does it
// takes in columns before those, on which r is zero.
template <class T>
void reflect_all_from_right(block_view<T> a, const aligned_vector<T>& r)
{
    const std::size_t first = a.cols - r.size();
    const std::size_t line_start = first - first % aligned_rows<T>::line;
    aligned_vector<T> conjugate_r(a.cols - line_start);
    std::transform(r.begin(), r.end(), conjugate_r.end() - std::ptrdiff_t(r.size()),
                   [](const T& element) { return conjugate(element); });
    const auto reflect_group = [&](std::size_t b) {
        const std::size_t from = b * rows_at_once;
        const std::size_t to = std::min(from + rows_at_once, a.rows);
        reflect_from_right(a.sub(from, to, line_start, a.cols), conjugate_r);
    };
    parallel_for(ceil_div(a.rows, rows_at_once), 2 * rows_at_once * r.size(), reflect_group);
}

// The conjugate phase of entry (k, k) times row k from there on.
template <class T>
T make_diagonal_real(block_view<T> a, std::size_t k)
{
    const T phase = conjugate(T(phase_of(a(k, k))));
    for (std::size_t j = k; j < a.cols; ++j)
        a(k, j) *= phase;
    return phase;
}

// The conjugate phase of entry (k, k + 1) times column k + 1 from row k down.
template <class T>
T make_superdiagonal_real(block_view<T> a, std::size_t k)
{
    const T phase = conjugate(T(phase_of(a(k, k + 1))));
    for (std::size_t i = k; i < a.rows; ++i)
        a(i, k + 1) *= phase;
    return phase;
}

} // namespace

// The reflections begin where a cache line does: columns before those that they are for hold
// nothing that is read again.
template <class T>
bidiagonal_reduction<T> bidiagonalize_unblocked(aligned_vector<T> matrix, std::size_t n)
{
    bidiagonal_reduction<T> out(n);
    aligned_rows<T> work(std::move(matrix), n);
    const block_view<T> a = work.view(n);
    for (std::size_t k = 0; k < n; ++k) {
        aligned_vector<T> x(n - k);
        for (std::size_t i = k; i < n; ++i)
            x[i - k] = a(i, k);
        out.left_reflectors[k] = reflector_clearing_tail(std::move(x));
        if (!out.left_reflectors[k].empty())
            reflect_rows(a.sub(k, n, k - k % aligned_rows<T>::line, n), out.left_reflectors[k]);
        out.left_phases[k] = make_diagonal_real(a, k);
        out.d[k] = modulus(a(k, k));
        if (k + 1 == n)
            break;

        aligned_vector<T> r(n - k - 1);
        for (std::size_t j = k + 1; j < n; ++j)
            r[j - k - 1] = conjugate(a(k, j));
        out.right_reflectors[k] = reflector_clearing_tail(std::move(r));
        if (!out.right_reflectors[k].empty())
            reflect_all_from_right(a.sub(k, n, 0, n), out.right_reflectors[k]);
        out.right_phases[k] = make_superdiagonal_real(a, k);
        out.e[k] = modulus(a(k, k + 1));
    }
    return out;
}

template bidiagonal_reduction<double> bidiagonalize_unblocked(aligned_vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize_unblocked(aligned_vector<complex>,
                                                               std::size_t);

} // namespace numerical::detail
