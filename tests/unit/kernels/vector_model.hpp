#pragma once

// The stated order of summation of each form, written out one element at a time: what the vector
// kernels must give to the bit.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"

#include <array>
#include <cmath>
#include <cstddef>

namespace model {

struct form
{
    std::size_t width; // lanes of a vector
    bool fused;
};

inline form form_of(int path)
{
    using namespace numerical::detail;
    if (path == avx512_path)
        return {8, true};
    return path == avx2_path ? form{4, true} : form{2, false};
}

// sum + a·b with one rounding or two.
inline double add_product(const form& how, double sum, double a, double b)
{
    return how.fused ? std::fma(a, b, sum) : sum + a * b;
}

// Upper half plus lower half until one lane is left.
inline double folded(numerical::aligned_vector<double> lanes)
{
    while (lanes.size() > 1) {
        const std::size_t half = lanes.size() / 2;
        for (std::size_t l = 0; l < half; ++l)
            lanes[l] += lanes[l + half];
        lanes.resize(half);
    }
    return lanes[0];
}

// The sum over the whole turns of four vectors, reduced.
inline double main_sum(const form& how, const double* a, const double* b, std::size_t n)
{
    const std::size_t turn = 4 * how.width;
    numerical::aligned_vector<double> lanes(turn, 0.0);
    for (std::size_t i = 0; i < n - n % turn; ++i)
        lanes[i % turn] = add_product(how, lanes[i % turn], a[i], b[i]);
    double sum = 0;
    for (std::size_t v = 0; v < 4; ++v) {
        const auto from = lanes.begin() + static_cast<std::ptrdiff_t>(v * how.width);
        if (how.fused)
            sum += folded({from, from + static_cast<std::ptrdiff_t>(how.width)});
        else
            for (std::size_t l = 0; l < how.width; ++l)
                sum += from[static_cast<std::ptrdiff_t>(l)];
    }
    return sum;
}

// Beyond the turns fours are multiplied as vectors and added lane by lane, the last three fused.
inline double dot(const form& how, const double* a, const double* b, std::size_t n)
{
    double sum = main_sum(how, a, b, n);
    for (std::size_t i = n - n % (4 * how.width); i < n; ++i)
        sum = i < n - n % 4 ? sum + a[i] * b[i] : add_product(how, sum, a[i], b[i]);
    return sum;
}

inline double symmetric_row(const form& how, const double* row, const double* x, double alpha,
                            double* y, std::size_t n)
{
    double sum = main_sum(how, row, x, n);
    for (std::size_t j = n - n % (4 * how.width); j < n; ++j)
        sum = add_product(how, sum, row[j], x[j]);
    for (std::size_t j = 0; j < n; ++j)
        y[j] = add_product(how, y[j], alpha, row[j]);
    return sum;
}

// One accumulator a row, on four lanes two in turn; y gains the four rows' sum in one addition.
inline std::array<double, 4> symmetric_rows(const form& how, const double* rows, std::size_t stride,
                                            const double* x, double* y, std::size_t n)
{
    const std::size_t accumulators = how.width == 4 ? 2 : 1;
    const std::size_t end = n - n % how.width;
    std::array<double, 4> sums{};
    for (std::size_t r = 0; r < 4; ++r) {
        numerical::aligned_vector<double> lanes(accumulators * how.width, 0.0);
        for (std::size_t j = 0; j < end; ++j) {
            double& lane = lanes[j % lanes.size()];
            lane = add_product(how, lane, rows[r * stride + j], x[j]);
        }
        sums[r] = folded(lanes);
    }
    for (std::size_t j = 0; j < end; ++j) {
        double gain = x[n] * rows[j];
        for (std::size_t r = 1; r < 4; ++r)
            gain = add_product(how, gain, x[n + r], rows[r * stride + j]);
        y[j] += gain;
    }
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t j = end; j < n + r; ++j) {
            sums[r] += rows[r * stride + j] * x[j];
            y[j] += rows[r * stride + j] * x[n + r];
        }
        sums[r] += x[n + r] * rows[r * stride + n + r];
    }
    return sums;
}

} // namespace model
