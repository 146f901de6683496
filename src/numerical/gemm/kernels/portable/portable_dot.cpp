#include "numerical/gemm/kernels/dot.hpp"

#include "numerical/gemm/kernels/portable/lane_sums.hpp"

namespace numerical::detail {

template <class T>
T dot_product(const T* a, const T* b, std::size_t n)
{
    T lane[portable_lanes] = {};
    std::size_t i = 0;
    for (; i + portable_lanes <= n; i += portable_lanes)
        for (std::size_t l = 0; l < portable_lanes; ++l)
            lane[l] += a[i + l] * b[i + l];
    T sum = sum_in_order(lane);
    for (; i < n; ++i)
        sum += a[i] * b[i];
    return sum;
}

template double dot_product(const double*, const double*, std::size_t);

} // namespace numerical::detail
