#include "numerical/svd/bidiagonal.hpp"

#include "numerical/factor/reflector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// basis := basis·Qᵀ, Q being the product of the reflectors in order; entry k of the list acts on
// coordinates k and up. The basis begins as a diagonal matrix and is built from the last
// reflectors backwards, so that the rows above each step are still zero where it acts.
template <class T>
void accumulate(const std::vector<std::vector<T>>& reflectors, std::vector<T>& basis, std::size_t n)
{
    if (n < blocked_bases_order) {
        for (std::size_t k = n; k-- > 0;)
            reflect_columns(basis, n, reflectors[k], k, k, n);
        return;
    }
    for (std::size_t to = n; to > 0;) {
        const std::size_t from = (to - 1) / bidiagonal_panel_columns * bidiagonal_panel_columns;
        const reflector_block<T> block = gather_reflectors(reflectors, from, to, n);
        apply_transposed_reflector_block(block, basis, n, from, n);
        to = from;
    }
}

} // namespace

template <class T>
bidiagonal_bases<T> form_bidiagonal_bases(bidiagonal_reduction<T>& reduction)
{
    const std::size_t n = reduction.order;
    bidiagonal_bases<T> bases{zeros<T>(n * n), zeros<T>(n * n)};
    if (n == 0)
        return bases;
    bases.right[0] = T(1);
    for (std::size_t i = 0; i < n; ++i)
        bases.left[i * n + i] = conjugate(reduction.left_phases[i]);
    for (std::size_t i = 1; i < n; ++i)
        bases.right[i * n + i] = reduction.right_phases[i - 1];
    accumulate(reduction.left_reflectors, bases.left, n);

    // Right reflector i acts from coordinate i + 1 on: moved on by one place, the list is like the
    // left one.
    std::vector<std::vector<T>> shifted(n);
    for (std::size_t i = 0; i + 1 < n; ++i)
        shifted[i + 1] = std::move(reduction.right_reflectors[i]);
    accumulate(shifted, bases.right, n);
    return bases;
}

template bidiagonal_bases<double> form_bidiagonal_bases(bidiagonal_reduction<double>&);
template bidiagonal_bases<complex> form_bidiagonal_bases(bidiagonal_reduction<complex>&);

} // namespace numerical::detail
