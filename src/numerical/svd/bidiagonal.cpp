#include "numerical/svd/bidiagonal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/aligned_rows.hpp"
#include "numerical/svd/bidiagonal_panel.hpp"
#include "numerical/svd/bidiagonal_steps.hpp"

#include <algorithm>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// The bidiagonal matrix as it came out.
void take_diagonals(bidiagonal_reduction<double>& out, aligned_vector<double> d,
                    aligned_vector<double> e)
{
    out.d = std::move(d);
    out.e = std::move(e);
}

// The moduli, with the phases moved into the bases: with D and E unitary and diagonal,
// conj(D[k])·d[k]·E[k] and conj(D[k])·e[k]·E[k+1] are made non-negative one after the other, from
// E[0] = 1 on.
void take_diagonals(bidiagonal_reduction<complex>& out, const aligned_vector<complex>& d,
                    const aligned_vector<complex>& e)
{
    complex right = 1;
    for (std::size_t k = 0; k < out.order; ++k) {
        out.left_phases[k] = std::conj(phase_of(d[k] * right));
        right = std::conj(phase_of(out.left_phases[k] * e[k]));
        out.right_phases[k] = right;
        out.d[k] = modulus(d[k]);
        out.e[k] = modulus(e[k]);
    }
}

} // namespace

template <class T>
bidiagonal_reduction<T> bidiagonalize(aligned_vector<T> a, std::size_t n)
{
    return n < least_order_of_panels<T> ? bidiagonalize_unblocked(std::move(a), n)
                                        : bidiagonalize_blocked(std::move(a), n);
}

template <class T>
bidiagonal_reduction<T> bidiagonalize_blocked(aligned_vector<T> a, std::size_t n)
{
    bidiagonal_reduction<T> out(n);
    aligned_vector<T> d(n);
    aligned_vector<T> e(n);
    aligned_rows<T> work(std::move(a), n);
    for (std::size_t first = 0; first < n; first += bidiagonal_panel_columns) {
        const std::size_t last = std::min(first + bidiagonal_panel_columns, n);
        bidiagonal_panel<T> panel(work.view(n), first, last, out);
        for (std::size_t c = first; c < last; ++c)
            panel.reduce(c, d[c], e[c]);
        panel.update_trailing();
    }
    take_diagonals(out, std::move(d), std::move(e));
    return out;
}

template <class T>
bidiagonal_reduction<T> bidiagonalize_fastest(aligned_vector<T> a, std::size_t n)
{
    if (n < least_order_of_bidiagonal_steps)
        return bidiagonalize_unblocked(std::move(a), n);
    bidiagonal_reduction<T> out(n);
    aligned_vector<T> d(n);
    aligned_vector<T> e(n);
    bidiagonalize_by_steps<T>({a.data(), n, n}, out.left_reflectors.data(),
                              out.right_reflectors.data(), d.data(), e.data());
    take_diagonals(out, std::move(d), std::move(e));
    out.way_back = fastest_bidiagonal_way_back(n);
    return out;
}

template bidiagonal_reduction<double> bidiagonalize(aligned_vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize(aligned_vector<complex>, std::size_t);
template bidiagonal_reduction<double> bidiagonalize_blocked(aligned_vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize_blocked(aligned_vector<complex>, std::size_t);
template bidiagonal_reduction<double> bidiagonalize_fastest(aligned_vector<double>, std::size_t);
template bidiagonal_reduction<complex> bidiagonalize_fastest(aligned_vector<complex>, std::size_t);

} // namespace numerical::detail
