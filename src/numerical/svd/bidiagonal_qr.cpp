#include "numerical/svd/bidiagonal_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/bidiagonal_iteration.hpp"

#include <complex>

namespace numerical::detail {
namespace {

// Two chases per singular value, half the order long on average, plus a margin; a longer list is
// reallocated.
std::size_t usual_operations(std::size_t order)
{
    return order * (order + 8);
}

} // namespace

bidiagonal_operations iterate_bidiagonal(aligned_vector<double>& d, aligned_vector<double>& e,
                                         std::size_t n, std::size_t max_steps)
{
    bidiagonal_iteration iteration(d, e, n, max_steps, bidiagonal_operations(usual_operations(n)));
    iteration.run();
    return std::move(iteration.recorded);
}

std::pair<bidiagonal_operations, bidiagonal_operations>
iterate_bidiagonal_pair(bidiagonal_entries& a, bidiagonal_entries& b, std::size_t steps_per_value)
{
    const std::size_t n_a = a.d.size();
    const std::size_t n_b = b.d.size();
    auto [of_a, of_b] =
        bidiagonal_operations::pair_with_room(usual_operations(n_a), usual_operations(n_b));
    bidiagonal_iteration first(a.d, a.e, n_a, steps_per_value * n_a, std::move(of_a));
    bidiagonal_iteration second(b.d, b.e, n_b, steps_per_value * n_b, std::move(of_b));
    bidiagonal_iteration::run(first, second);
    return {std::move(first.recorded), std::move(second.recorded)};
}

template <class T>
void bidiagonal_qr(aligned_vector<double>& d, aligned_vector<double>& e, aligned_vector<T>& left,
                   aligned_vector<T>& right, std::size_t n, std::size_t max_steps)
{
    const bidiagonal_operations operations = iterate_bidiagonal(d, e, n, max_steps);
    apply_row_operations(right, n, operations.right_operations());
    apply_row_operations(left, n, operations.left_operations());
}

template void bidiagonal_qr(aligned_vector<double>&, aligned_vector<double>&,
                            aligned_vector<double>&, aligned_vector<double>&, std::size_t,
                            std::size_t);
template void bidiagonal_qr(aligned_vector<double>&, aligned_vector<double>&,
                            aligned_vector<std::complex<double>>&,
                            aligned_vector<std::complex<double>>&, std::size_t, std::size_t);

} // namespace numerical::detail
