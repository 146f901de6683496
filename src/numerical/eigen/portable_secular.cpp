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

void add_paired_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                              secular_lanes& lanes)
{
    secular_lanes at = lanes;
    std::size_t i = from;
    for (; i + 2 <= to; i += 2)
        for (std::size_t l = 0; l < secular_lane_count; ++l) {
            const double x = (d[i] - at.origin[l]) - at.tau[l];
            const double y = (d[i + 1] - at.origin[l]) - at.tau[l];
            const double inverse = 1 / (x * y);
            const double over_x = (z[i] * y) * inverse;
            const double over_y = (z[i + 1] * x) * inverse;
            at.value[l] += z[i] * over_x;
            at.value[l] += z[i + 1] * over_y;
            at.slope[l] += over_x * over_x;
            at.slope[l] += over_y * over_y;
        }
    lanes = at;
    add_secular_terms(d, z, i, to, lanes);
}

} // namespace numerical::detail
