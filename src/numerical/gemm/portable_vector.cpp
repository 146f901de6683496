#include "numerical/gemm/vector_kernels.hpp"

namespace numerical::detail {
namespace {

// Four two-wide vectors: the sums stay in eight lanes until the end, so that the loops below
// become two-wide code without any leave to reorder.
constexpr std::size_t lanes = 8;

template <class T>
T sum_in_order(const T (&lane)[lanes])
{
    T sum = 0;
    for (const T& part : lane)
        sum += part;
    return sum;
}

} // namespace

template <class T>
T dot_product(const T* a, const T* b, std::size_t n)
{
    T lane[lanes] = {};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            lane[l] += a[i + l] * b[i + l];
    T sum = sum_in_order(lane);
    for (; i < n; ++i)
        sum += a[i] * b[i];
    return sum;
}

template double dot_product(const double*, const double*, std::size_t);

template <class T>
void subtract_products(T* out, const T* coeffs, const T* rows, std::size_t row_stride,
                       std::size_t terms, std::size_t n)
{
    std::size_t j = 0;
    for (; j + lanes <= n; j += lanes) {
        T block[lanes];
        for (std::size_t l = 0; l < lanes; ++l)
            block[l] = out[j + l];
        for (std::size_t t = 0; t < terms; ++t)
            for (std::size_t l = 0; l < lanes; ++l)
                block[l] -= coeffs[t] * rows[t * row_stride + j + l];
        for (std::size_t l = 0; l < lanes; ++l)
            out[j + l] = block[l];
    }
    for (; j < n; ++j) {
        T element = out[j];
        for (std::size_t t = 0; t < terms; ++t)
            element -= coeffs[t] * rows[t * row_stride + j];
        out[j] = element;
    }
}

template void subtract_products(double*, const double*, const double*, std::size_t, std::size_t,
                                std::size_t);

template <class T>
T symmetric_row(const T* row, const T* x, const T& alpha, T* y, std::size_t n)
{
    const T scale = alpha; // a copy: y might hold alpha for all that the compiler knows
    T lane[lanes] = {};
    std::size_t j = 0;
    for (; j + lanes <= n; j += lanes) {
        T updated[lanes];
        for (std::size_t l = 0; l < lanes; ++l) {
            updated[l] = y[j + l] + scale * row[j + l];
            lane[l] += row[j + l] * x[j + l];
        }
        for (std::size_t l = 0; l < lanes; ++l)
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
