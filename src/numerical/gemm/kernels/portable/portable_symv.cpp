#include "numerical/gemm/kernels/symv.hpp"

#include "numerical/gemm/kernels/portable/lane_sums.hpp"

namespace numerical::detail {

template <class T>
T symmetric_row(const T* row, const T* x, const T& alpha, T* y, std::size_t n)
{
    const T scale = alpha; // a copy: y might hold alpha for all that the compiler knows
    T lane[portable_lanes] = {};
    std::size_t j = 0;
    for (; j + portable_lanes <= n; j += portable_lanes) {
        T updated[portable_lanes];
        for (std::size_t l = 0; l < portable_lanes; ++l) {
            updated[l] = y[j + l] + scale * row[j + l];
            lane[l] += row[j + l] * x[j + l];
        }
        for (std::size_t l = 0; l < portable_lanes; ++l)
            y[j + l] = updated[l];
    }
    T sum = sum_in_order(lane);
    for (; j < n; ++j) {
        sum += row[j] * x[j];
        y[j] += scale * row[j];
    }
    return sum;
}

template double symmetric_row(const double*, const double*, const double&, double*, std::size_t);

template <class T>
void symmetric_rows_tail(const T* rows, std::size_t stride, const T* x, T* y, std::size_t n,
                         std::size_t from, std::array<T, 4>& sums)
{
    for (std::size_t r = 0; r < 4; ++r) {
        const T* const row = rows + r * stride;
        const T scale = x[n + r];
        for (std::size_t j = from; j < n + r; ++j) {
            sums[r] += row[j] * x[j];
            y[j] += row[j] * scale;
        }
        sums[r] += scale * row[n + r];
    }
}

template void symmetric_rows_tail(const double*, std::size_t, const double*, double*, std::size_t,
                                  std::size_t, std::array<double, 4>&);

template <class T>
std::array<T, 4> symmetric_rows(const T* rows, std::size_t stride, const T* x, T* y, std::size_t n)
{
    constexpr std::size_t step = 2;
    T lane[4][step] = {};
    std::size_t j = 0;
    for (; j + step <= n; j += step) {
        T gain[step];
        for (std::size_t l = 0; l < step; ++l) {
            gain[l] = x[n] * rows[j + l];
            for (std::size_t r = 1; r < 4; ++r)
                gain[l] += x[n + r] * rows[r * stride + j + l];
            for (std::size_t r = 0; r < 4; ++r)
                lane[r][l] += rows[r * stride + j + l] * x[j + l];
        }
        for (std::size_t l = 0; l < step; ++l)
            y[j + l] += gain[l];
    }
    std::array<T, 4> sums;
    for (std::size_t r = 0; r < 4; ++r)
        sums[r] = lane[r][0] + lane[r][1];
    symmetric_rows_tail(rows, stride, x, y, n, j, sums);
    return sums;
}

template std::array<double, 4> symmetric_rows(const double*, std::size_t, const double*, double*,
                                              std::size_t);

} // namespace numerical::detail
