#include "numerical/eigen/symmetric_step.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

// A symmetric matrix of whole blocks, of which the part that a pass may touch can be read.
struct step_case
{
    std::size_t cols;
    std::size_t stride;
    numbers full; // cols × cols
    numbers v;
    numbers w;
    numbers x;

    numbers held() const
    {
        numbers upper(cols * stride, nan);
        for (std::size_t i = 0; i < cols; ++i)
            for (std::size_t j = i - i % step_block; j < cols; ++j)
                upper[i * stride + j] = full[i * cols + j];
        return upper;
    }
};

step_case integer_case(std::size_t cols, std::size_t stride)
{
    step_case of{cols,
                 stride,
                 test::integer_vector<double>(cols * cols, 1, 9),
                 test::integer_vector<double>(cols, 2, 9),
                 test::integer_vector<double>(cols, 3, 9),
                 test::integer_vector<double>(cols, 4, 9)};
    for (std::size_t i = 0; i < cols; ++i)
        for (std::size_t j = 0; j < i; ++j)
            of.full[i * cols + j] = of.full[j * cols + i];
    return of;
}

void update(step_case& of)
{
    for (std::size_t i = 0; i < of.cols; ++i)
        for (std::size_t j = 0; j < of.cols; ++j)
            of.full[i * of.cols + j] -= of.v[i] * of.w[j] + of.w[i] * of.v[j];
}

// The rows [from, cols), in one call and in two: A is updated there, and y gains A·x of the rows
// and columns from `from` on.
void check(step_kernel run, std::size_t cols, std::size_t from, std::size_t middle)
{
    const step_case given = integer_case(cols, cols + 3);
    step_case updated = given;
    update(updated);
    numbers expected(cols, 5);
    for (std::size_t i = from; i < cols; ++i)
        for (std::size_t j = from; j < cols; ++j)
            expected[i] += updated.full[i * cols + j] * given.x[j];

    numbers matrix = given.held();
    numbers y(cols, 5);
    const step_vectors vectors{given.v.data(), given.w.data(), given.x.data(), y.data()};
    run({matrix.data(), given.stride, from, middle, cols}, vectors);
    run({matrix.data(), given.stride, middle, cols, cols}, vectors);
    EXPECT_EQ(y, expected);
    for (std::size_t i = 0; i < cols; ++i)
        for (std::size_t j = 0; j < given.stride; ++j) {
            const double found = matrix[i * given.stride + j];
            if (j < i - i % step_block || j >= cols)
                EXPECT_NE(found, found); // left alone
            else
                EXPECT_EQ(found, (i < from ? given : updated).full[i * cols + j]) << i << ", " << j;
        }
}

TEST(symmetric_step, is_exact_on_integers)
{
    std::vector<step_kernel> kernels{run_symmetric_step};
    if (cpu_features().avx2)
        kernels.push_back(avx2_run_symmetric_step);
    if (cpu_features().avx512)
        kernels.push_back(avx512_run_symmetric_step);
    for (const auto run : kernels)
        for (const std::size_t cols : {8, 16, 24, 72})
            for (std::size_t from = 0; from < cols; from += step_block)
                for (std::size_t middle = from; middle <= cols; middle += 2 * step_block)
                    check(run, cols, from, middle);
}

using complex_numbers = numerical::aligned_vector<complex>;

complex_numbers conjugated(complex_numbers v)
{
    conjugate_all(v.data(), v.size());
    return v;
}

// The rows [from, cols) as above, of a Hermitian matrix.
void check_complex(step_kernel run, std::size_t cols, std::size_t from)
{
    const std::size_t stride = cols + 3;
    const auto full = test::mirrored(
        numerical::matrix<complex>(cols, cols, test::integer_vector<complex>(cols * cols, 1, 9)));
    const auto v = test::integer_vector<complex>(cols, 2, 9);
    const auto w = test::integer_vector<complex>(cols, 3, 9);
    const auto x = test::integer_vector<complex>(cols, 4, 9);
    complex_numbers held(cols * stride, complex(nan, nan));
    complex_numbers updated(cols * cols);
    for (std::size_t i = 0; i < cols; ++i)
        for (std::size_t j = 0; j < cols; ++j) {
            const complex entry = full.data[i * cols + j];
            updated[i * cols + j] = entry - v[i] * std::conj(w[j]) - w[i] * std::conj(v[j]);
            if (j >= i - i % step_block)
                held[i * stride + j] = entry;
        }
    const complex_numbers given_v = conjugated(v);
    const complex_numbers given_w = conjugated(w);
    const complex_numbers given_x = conjugated(x);
    complex_numbers y(2 * cols);
    run({as_doubles(held.data()), stride, from, cols, cols},
        {as_doubles(given_v.data()), as_doubles(given_w.data()), as_doubles(given_x.data()),
         as_doubles(y.data())});
    for (std::size_t i = from; i < cols; ++i) {
        complex expected = 0;
        for (std::size_t j = from; j < cols; ++j)
            expected += updated[i * cols + j] * x[j];
        const complex z = y[cols + i];
        EXPECT_EQ(std::conj(y[i]) + complex(z.imag(), z.real()), expected) << i;
        for (std::size_t j = i - i % step_block; j < cols; ++j)
            EXPECT_EQ(held[i * stride + j], updated[i * cols + j]) << i << ", " << j;
    }
    for (std::size_t i = 0; i < cols; ++i) {
        for (std::size_t j = 0; j < stride; ++j)
            if (j < i - i % step_block || j >= cols) {
                EXPECT_NE(held[i * stride + j], held[i * stride + j]); // left alone
            }
        if (i < from) {
            EXPECT_EQ(y[i], complex(0));
        }
    }
}

TEST(hermitian_step, is_exact_on_integers)
{
    std::vector<step_kernel> kernels{run_hermitian_step};
    if (cpu_features().avx2)
        kernels.push_back(avx2_run_hermitian_step);
    if (cpu_features().avx512)
        kernels.push_back(avx512_run_hermitian_step);
    for (const auto run : kernels)
        for (const std::size_t cols : {8, 16, 24, 72})
            for (std::size_t from = 0; from < cols; from += step_block)
                check_complex(run, cols, from);
}

} // namespace
