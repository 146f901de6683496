#pragma once

// The loops behind arithmetic_kernels.hpp, plain C++ that the compiler turns into vector code for
// the target that includes them. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/arithmetic_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

struct plus
{
    static double of(double x, double y) { return x + y; }
};

struct minus
{
    static double of(double x, double y) { return x - y; }
};

struct times
{
    static double of(double x, double y) { return x * y; }
};

struct over
{
    static double of(double x, double y) { return x / y; }
};

template <class Operation>
struct real_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static void run(const double* __restrict left, const double* __restrict right,
                    double* __restrict out, std::size_t n)
    {
        for (std::size_t j = 0; j < n; ++j)
            out[j] = Operation::of(left[j * left_step], right[j * right_step]);
    }
};

// Sums and differences, part by part.
template <class Operation>
struct complex_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static void run(const double* __restrict left, const double* __restrict right,
                    double* __restrict out, std::size_t n)
    {
        for (std::size_t j = 0; j < 2 * n; j += 2) {
            const double* x = left + j * left_step;
            const double* y = right + j * right_step;
            out[j] = Operation::of(x[0], y[0]);
            out[j + 1] = Operation::of(x[1], y[1]);
        }
    }
};

// (ac - bd) + (ad + bc)i, each product and each sum rounded.
struct complex_product_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static void run(const double* __restrict left, const double* __restrict right,
                    double* __restrict out, std::size_t n)
    {
        for (std::size_t j = 0; j < 2 * n; j += 2) {
            const double* x = left + j * left_step;
            const double* y = right + j * right_step;
            const double real = x[0] * y[0] - x[1] * y[1];
            const double imag = x[0] * y[1] + x[1] * y[0];
            out[j] = real;
            out[j + 1] = imag;
        }
    }
};

template <class Loop>
constexpr arithmetic_rows rows_of{
    {Loop::template run<1, 1>, Loop::template run<1, 0>, Loop::template run<0, 1>}};

bool any_nan(const double* x, std::size_t n)
{
    unsigned long found = 0; // as wide as an element, so that the comparison's mask fits
    for (std::size_t i = 0; i < n; ++i)
        found |= x[i] != x[i] ? ~0UL : 0UL;
    return found != 0;
}

void square_roots(const double* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = __builtin_sqrt(x[i]);
}

void magnitudes(const double* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = __builtin_fabs(x[i]);
}

constexpr arithmetic_kernels arithmetic_of_this_target{
    {rows_of<real_loop<plus>>, rows_of<real_loop<minus>>, rows_of<real_loop<times>>,
     rows_of<real_loop<over>>},
    {rows_of<complex_loop<plus>>, rows_of<complex_loop<minus>>, rows_of<complex_product_loop>},
    any_nan,
    square_roots,
    magnitudes};

} // namespace
} // namespace numerical::detail
