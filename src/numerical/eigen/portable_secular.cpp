#include "numerical/eigen/secular_kernels.hpp"

namespace numerical::detail {
namespace {

double linear_gap(double d, double origin)
{
    return d - origin;
}

double squared_gap(double d, double origin)
{
    return (d - origin) * (d + origin);
}

template <double (*gap)(double, double)>
void add_terms(const double* d, const double* z, std::size_t from, std::size_t to,
               secular_lanes& lanes)
{
    secular_lanes at = lanes;
    for (std::size_t i = from; i < to; ++i)
        for (std::size_t l = 0; l < secular_lane_count; ++l) {
            const double ratio = z[i] / (gap(d[i], at.origin[l]) - at.tau[l]);
            at.value[l] += z[i] * ratio;
            at.slope[l] += ratio * ratio;
        }
    lanes = at;
}

} // namespace

void add_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                       secular_lanes& lanes)
{
    add_terms<linear_gap>(d, z, from, to, lanes);
}

void add_squared_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                               secular_lanes& lanes)
{
    add_terms<squared_gap>(d, z, from, to, lanes);
}

} // namespace numerical::detail
