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

template <class Loop>
constexpr rows_by_form<arithmetic_row> rows_of{
    {Loop::template run<1, 1>, Loop::template run<1, 0>, Loop::template run<0, 1>}};

template <class Loop>
constexpr rows_by_form<checked_row> products_of{
    {Loop::template run<1, 1>, Loop::template run<1, 0>, Loop::template run<0, 1>}};

void negatives(const double* __restrict x, double* __restrict out, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        out[i] = -x[i];
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

template <class Product>
constexpr arithmetic_kernels arithmetic_with{
    {rows_of<real_loop<plus>>, rows_of<real_loop<minus>>, rows_of<real_loop<times>>,
     rows_of<real_loop<over>>},
    {rows_of<complex_loop<plus>>, rows_of<complex_loop<minus>>},
    products_of<Product>,
    negatives,
    square_roots,
    magnitudes};

} // namespace
} // namespace numerical::detail
