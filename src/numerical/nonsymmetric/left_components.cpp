#include "numerical/nonsymmetric/left_components.hpp"

#include "numerical/nonsymmetric/triangular_vectors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

namespace numerical::detail {

// By the right eigenvectors of J·Tᴴ·J, which come in reverse order.
template <class T>
std::vector<double> first_of_left_vectors(block_view<const T> t, block_view<const T> adjoint)
{
    const std::size_t n = t.rows;
    const aligned_vector<T> reversed = reversed_adjoint(t);
    aligned_vector<T> basis = uninitialized<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < n; ++k)
            basis[i * n + k] = conjugate(adjoint(n - 1 - k, i));
    const aligned_vector<T> vectors =
        multiplied_vectors<T>({reversed.data(), n, n}, {basis.data(), n, n});
    std::vector<double> lengths(n); // squared
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < n; ++k)
            lengths[k] += std::norm(vectors[i * n + k]);

    std::vector<double> components(n);
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t end = k + 1 < n && reversed[(k + 1) * n + k] != T(0) ? k + 2 : k + 1;
        double first = 0;
        double length = 0;
        for (std::size_t part = k; part < end; ++part) {
            first += std::norm(vectors[part]);
            length += lengths[part];
        }
        std::fill(components.end() - static_cast<std::ptrdiff_t>(end),
                  components.end() - static_cast<std::ptrdiff_t>(k), std::sqrt(first / length));
        k = end - 1;
    }
    return components;
}

template std::vector<double> first_of_left_vectors(block_view<const double>,
                                                   block_view<const double>);
template std::vector<double> first_of_left_vectors(block_view<const complex>,
                                                   block_view<const complex>);

} // namespace numerical::detail
