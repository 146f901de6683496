#include "numerical/eigen/tridiagonal.hpp"

#include "numerical/factor/reflector_block.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>

namespace numerical::detail {
namespace {

constexpr std::size_t block_reflectors = 32;

// All reflectors from the right, in blocks, the last block first. Before a block comes, the rows
// above its first index have nothing for it if they are still those of the identity.
template <class T>
void apply_reflectors(const tridiagonal_reduction<T>& reduction, std::vector<T>& rows,
                      std::size_t n, bool rows_of_identity)
{
    for (std::size_t to = n; to >= 2;) {
        const std::size_t from = to - std::min(to - 1, block_reflectors);
        const auto block = gather_reflectors(reduction.reflectors, from, to, n);
        apply_transposed_reflector_block(block, rows, n, rows_of_identity ? from : 0, n);
        to = from;
    }
}

} // namespace

template <class T>
std::vector<T> tridiagonal_basis(const tridiagonal_reduction<T>& reduction, std::size_t n)
{
    constexpr bool rows_of_identity = true;
    std::vector<T> basis = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        basis[i * n + i] = 1;
    apply_reflectors(reduction, basis, n, rows_of_identity);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            basis[i * n + j] *= conjugate(reduction.phases[i]);
    return basis;
}

template <class T>
void to_matrix_basis(const tridiagonal_reduction<T>& reduction, std::vector<T>& rows, std::size_t n)
{
    constexpr bool full_rows = false;
    if constexpr (!std::is_same_v<T, double>) {
        const auto scale_row = [&](std::size_t r) {
            for (std::size_t j = 0; j < n; ++j)
                rows[r * n + j] *= conjugate(reduction.phases[j]);
        };
        parallel_for(n, n, scale_row);
    }
    apply_reflectors(reduction, rows, n, full_rows);
}

template std::vector<double> tridiagonal_basis(const tridiagonal_reduction<double>&, std::size_t);
template std::vector<complex> tridiagonal_basis(const tridiagonal_reduction<complex>&, std::size_t);
template void to_matrix_basis(const tridiagonal_reduction<double>&, std::vector<double>&,
                              std::size_t);
template void to_matrix_basis(const tridiagonal_reduction<complex>&, std::vector<complex>&,
                              std::size_t);

} // namespace numerical::detail
