#include "numerical/systems/vector_system.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/systems/triangle.hpp"

namespace numerical {

template <class T>
aligned_vector<T> solve_vector(const lu_decomposition<T>& lu, const aligned_vector<T>& b)
{
    if (lu.order <= greatest_order_by_elements<T>)
        return lu.solve_vector(b);
    aligned_vector<T> solution;
    solution.reserve(lu.order);
    for (const std::size_t row : lu.permutation)
        solution.push_back(b[row]);
    const detail::block_view<const T> factors = lu.factors.view();
    const detail::block_view<T> x{solution.data(), lu.order, 1};
    solve_triangle<T>({factors, triangle_half::lower, triangle_diagonal::ones}, matrix_form::plain,
                      x);
    solve_triangle<T>({factors, triangle_half::upper}, matrix_form::plain, x);
    return solution;
}

template aligned_vector<double> solve_vector(const lu_decomposition<double>&,
                                             const aligned_vector<double>&);
template aligned_vector<detail::complex> solve_vector(const lu_decomposition<detail::complex>&,
                                                      const aligned_vector<detail::complex>&);

} // namespace numerical
