#include "numerical/svd/bidiagonal_qr.hpp"

#include "numerical/svd/bidiagonal_iteration.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {

bidiagonal_operations iterate_bidiagonal(std::vector<double>& d, std::vector<double>& e,
                                         std::size_t n, std::size_t max_steps)
{
    bidiagonal_iteration iteration(d, e, n, max_steps);
    iteration.run();
    return std::move(iteration.recorded);
}

std::pair<bidiagonal_operations, bidiagonal_operations>
iterate_bidiagonal_pair(bidiagonal_entries& a, bidiagonal_entries& b, std::size_t steps_per_value)
{
    bidiagonal_iteration first(a.d, a.e, a.d.size(), steps_per_value * a.d.size());
    bidiagonal_iteration second(b.d, b.e, b.d.size(), steps_per_value * b.d.size());
    bidiagonal_iteration::run(first, second);
    return {std::move(first.recorded), std::move(second.recorded)};
}

void bidiagonal_operations::make_room(std::size_t more)
{
    const std::size_t longer = std::max(left_count, right_count);
    if (half - longer >= more)
        return;
    bidiagonal_operations larger(2 * (longer + more));
    std::ranges::copy(left(), larger.store.begin());
    std::ranges::copy(right(), larger.store.begin() + static_cast<std::ptrdiff_t>(larger.half));
    store = std::move(larger.store);
    half = larger.half;
}

template <class T>
void bidiagonal_qr(std::vector<double>& d, std::vector<double>& e, std::vector<T>& left,
                   std::vector<T>& right, std::size_t n, std::size_t max_steps)
{
    const bidiagonal_operations operations = iterate_bidiagonal(d, e, n, max_steps);
    apply_row_operations(right, n, operations.right());
    apply_row_operations(left, n, operations.left());
}

template void bidiagonal_qr(std::vector<double>&, std::vector<double>&, std::vector<double>&,
                            std::vector<double>&, std::size_t, std::size_t);
template void bidiagonal_qr(std::vector<double>&, std::vector<double>&,
                            std::vector<std::complex<double>>&, std::vector<std::complex<double>>&,
                            std::size_t, std::size_t);

} // namespace numerical::detail
