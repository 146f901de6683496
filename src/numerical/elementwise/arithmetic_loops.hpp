#pragma once

// The loops behind arithmetic_kernels.hpp, plain C++ that the compiler turns into vector code for
// the target that includes them. Each target needs its own copy: hence the internal linkage.

#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/streamed_rows.hpp"

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

// Sums and differences of n / 2 complex numbers, part by part.
template <class Operation>
struct complex_loop
{
    template <std::size_t left_step, std::size_t right_step>
    static void run(const double* __restrict left, const double* __restrict right,
                    double* __restrict out, std::size_t n)
    {
        for (std::size_t j = 0; j < n; j += 2) {
            const double* x = left + j * left_step;
            const double* y = right + j * right_step;
            out[j] = Operation::of(x[0], y[0]);
            out[j + 1] = Operation::of(x[1], y[1]);
        }
    }
};

// Makes a row kernel for numbers of `parts` doubles of a loop over doubles.
template <class Stream, class Loop, std::size_t parts>
struct streamed
{
    template <std::size_t left_step, std::size_t right_step>
    static void run(const double* left, const double* right, double* out, std::size_t n)
    {
        write_row<Stream>(out, parts * n, [=](std::size_t first, double* to, std::size_t count) {
            Loop::template run<left_step, right_step>(left + first * left_step,
                                                      right + first * right_step, to, count);
        });
    }
};

template <class Loop>
constexpr rows_by_form<arithmetic_row> rows_of{
    {Loop::template run<1, 1>, Loop::template run<1, 0>, Loop::template run<0, 1>}};

template <class Loop>
constexpr rows_by_form<checked_row> products_of{
    {Loop::template run<1, 1>, Loop::template run<1, 0>, Loop::template run<0, 1>}};

constexpr auto negative_of = [](double x) { return -x; };
constexpr auto square_root_of = [](double x) { return __builtin_sqrt(x); };
constexpr auto magnitude_of = [](double x) { return __builtin_fabs(x); };

template <class Stream, class Operation>
constexpr auto real_rows_of = rows_of<streamed<Stream, real_loop<Operation>, 1>>;

template <class Stream, class Operation>
constexpr auto complex_rows_of = rows_of<streamed<Stream, complex_loop<Operation>, 2>>;

template <class Stream, class Product>
constexpr arithmetic_kernels arithmetic_with{
    .real = {real_rows_of<Stream, plus>, real_rows_of<Stream, minus>, real_rows_of<Stream, times>,
             real_rows_of<Stream, over>},
    .complex = {complex_rows_of<Stream, plus>, complex_rows_of<Stream, minus>},
    .products = products_of<Product>,
    .negatives = number_row_of<Stream>(negative_of),
    .square_roots = number_row_of<Stream>(square_root_of),
    .magnitudes = number_row_of<Stream>(magnitude_of),
};

} // namespace
} // namespace numerical::detail
