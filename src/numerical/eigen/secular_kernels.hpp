#pragma once

// Sums of the secular equation for four roots at once, one in each lane, in two forms with the same
// bits: every lane adds its terms in ascending order, and nothing is fused. They are bound by
// division, which has no more throughput at eight lanes than at four, so the wider path takes the
// same form.
// Paired sums have the quotients of two poles from one division, zx/x = zx·y·(1/(x·y)), in two
// thirds of the time. Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

constexpr std::size_t secular_lane_count = 4;

// gap(i) - tau is the distance of pole i from the present point of a lane.
struct secular_lanes
{
    double origin[secular_lane_count]; // the pole that tau counts from
    double tau[secular_lane_count];
    double value[secular_lane_count]; // += zᵢ²/(gap(i) - tau)
    double slope[secular_lane_count]; // += (zᵢ/(gap(i) - tau))²
};

// Adds the terms of the poles [from, to), gap(i) being d[i] - origin, or, if squared,
// (d[i] - origin)·(d[i] + origin).
using secular_kernel = void (*)(const double* d, const double* z, std::size_t from, std::size_t to,
                                secular_lanes& lanes);
void add_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                       secular_lanes& lanes);
void add_squared_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                               secular_lanes& lanes);
void avx2_unfused_add_secular_terms(const double* d, const double* z, std::size_t from,
                                    std::size_t to, secular_lanes& lanes);
void avx2_unfused_add_squared_secular_terms(const double* d, const double* z, std::size_t from,
                                            std::size_t to, secular_lanes& lanes);

// With paired quotients, an odd last one by itself. Products of two distances must not underflow.
void add_paired_secular_terms(const double* d, const double* z, std::size_t from, std::size_t to,
                              secular_lanes& lanes);
void avx2_unfused_add_paired_secular_terms(const double* d, const double* z, std::size_t from,
                                           std::size_t to, secular_lanes& lanes);

} // namespace numerical::detail
