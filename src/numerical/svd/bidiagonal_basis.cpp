#include "numerical/svd/bidiagonal.hpp"

#include "numerical/factor/reflector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
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
    if (n < blocked_bases_order<T>) {
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

// Right reflector i acts from coordinate i + 1 on: moved on by one place, the list is like the left
// one.
template <class T>
std::vector<std::vector<T>> shifted_right_reflectors(bidiagonal_reduction<T>& reduction)
{
    std::vector<std::vector<T>> shifted(reduction.order);
    for (std::size_t i = 0; i + 1 < reduction.order; ++i)
        shifted[i + 1] = std::move(reduction.right_reflectors[i]);
    return shifted;
}

// The product of the reflectors, in order, times the n × n target.
void apply_reflectors(const std::vector<std::vector<double>>& reflectors,
                      std::vector<double>& target, std::size_t n)
{
    for (std::size_t to = n; to > 0;) {
        const std::size_t from = (to - 1) / bidiagonal_panel_columns * bidiagonal_panel_columns;
        const reflector_block<double> block = gather_reflectors(reflectors, from, to, n);
        apply_reflector_block<block_operator::direct>(block, target, n, 0, n);
        to = from;
    }
}

void scale_row(std::vector<double>& a, std::size_t n, std::size_t i, double factor)
{
    double* const row = a.data() + i * n;
    std::transform(row, row + n, row, [factor](double x) { return factor * x; });
}

} // namespace

std::vector<double> multiply_left_basis(const bidiagonal_reduction<double>& reduction,
                                        std::vector<double> vectors)
{
    const std::size_t n = reduction.order;
    for (std::size_t i = 0; i < n; ++i)
        if (reduction.left_phases[i] != 1)
            scale_row(vectors, n, i, reduction.left_phases[i]);
    apply_reflectors(reduction.left_reflectors, vectors, n);
    return vectors;
}

std::vector<double> multiply_right_basis(bidiagonal_reduction<double>& reduction,
                                         std::vector<double> vectors)
{
    const std::size_t n = reduction.order;
    for (std::size_t i = 1; i < n; ++i)
        if (reduction.right_phases[i - 1] != 1)
            scale_row(vectors, n, i, reduction.right_phases[i - 1]);
    apply_reflectors(shifted_right_reflectors(reduction), vectors, n);
    return vectors;
}

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

    accumulate(shifted_right_reflectors(reduction), bases.right, n);
    return bases;
}

template bidiagonal_bases<double> form_bidiagonal_bases(bidiagonal_reduction<double>&);
template bidiagonal_bases<complex> form_bidiagonal_bases(bidiagonal_reduction<complex>&);

} // namespace numerical::detail
