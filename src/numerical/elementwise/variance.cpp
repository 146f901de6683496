#include "numerical/elementwise/variance.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/squares.hpp"

#include <complex>
#include <limits>

namespace numerical::detail {

template <class T>
aligned_vector<double> variances(const T* data, const walk_shape& walk, double correction)
{
    const double degrees = static_cast<double>(walk.extent) - correction;
    if (!(degrees > 0))
        return aligned_vector<double>(walk.outer * walk.inner,
                                      std::numeric_limits<double>::quiet_NaN());
    aligned_vector<double> results = sums_of_squares(data, walk, means(data, walk), {});
    for (double& result : results)
        result /= degrees;
    return results;
}

template aligned_vector<double> variances(const double*, const walk_shape&, double);
template aligned_vector<double> variances(const std::complex<double>*, const walk_shape&, double);

} // namespace numerical::detail
