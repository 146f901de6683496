#include "numerical/svd/rank.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/svd.hpp"

#include <algorithm>

namespace numerical {

std::size_t detail::count_above_threshold(const aligned_vector<double>& values, std::size_t m,
                                          std::size_t n)
{
    double largest = 0;
    for (const double value : values)
        largest = std::max(largest, value);
    const double threshold = static_cast<double>(std::max(m, n)) * (largest * detail::eps);
    return static_cast<std::size_t>(std::count_if(values.begin(), values.end(),
                                                  [=](double value) { return value > threshold; }));
}

template <class T>
std::size_t matrix_rank(const matrix<T>& a)
{
    detail::require_finite(a, "matrix_rank");
    const int guard = detail::guard_exponent(detail::largest_part(a.data));
    const aligned_vector<double> values =
        guard == 0 ? singular_values(a) : singular_values(detail::times_power(a, guard));
    return detail::count_above_threshold(values, a.rows, a.cols);
}

template std::size_t matrix_rank(const matrix<double>&);
template std::size_t matrix_rank(const matrix<detail::complex>&);

} // namespace numerical
