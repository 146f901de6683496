#include "numerical/gemm/kernels/trsv.hpp"

#include "guarded.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;
using std::size_t;

using substitution = void (*)(vector_triangle, double*, const double*, size_t, size_t);
using dots = void (*)(double*, const double*, size_t, size_t, const double*, size_t);

struct kernel_set
{
    const char* name;
    substitution plain;
    substitution transposed;
    dots subtract_dots;
};

std::vector<kernel_set> kernels()
{
    std::vector<kernel_set> found;
    if (cpu_features().avx2)
        found.push_back({"avx2", avx2_substitute, avx2_substitute_transposed, avx2_subtract_dots});
    if (cpu_features().avx512)
        found.push_back(
            {"avx512", avx512_substitute, avx512_substitute_transposed, avx512_subtract_dots});
    return found;
}

const std::vector<vector_triangle> all_triangles{
    vector_triangle::lower, vector_triangle::unit_lower, vector_triangle::upper,
    vector_triangle::unit_upper};

bool is_lower(vector_triangle of)
{
    return of == vector_triangle::lower || of == vector_triangle::unit_lower;
}

bool has_ones(vector_triangle of)
{
    return of == vector_triangle::unit_lower || of == vector_triangle::unit_upper;
}

// A triangle of small integers with powers of two on the diagonal; what must not be read is NaN.
numerical::aligned_vector<double> triangle_of(vector_triangle of, size_t n, size_t stride)
{
    numerical::aligned_vector<double> m = test::integer_vector<double>(n * stride, unsigned(n), 3);
    for (size_t i = 0; i < n; ++i)
        for (size_t j = 0; j < stride; ++j) {
            const bool beyond = j >= n || (is_lower(of) ? j > i : j < i);
            if (beyond || (i == j && has_ones(of)))
                m[i * stride + j] = test::quiet_nan;
            else if (i == j)
                m[i * stride + j] = i % 3 == 0 ? -4 : 2;
        }
    return m;
}

double element(vector_triangle of, const numerical::aligned_vector<double>& m, size_t stride,
               size_t i, size_t j)
{
    if (i == j && has_ones(of))
        return 1;
    return (is_lower(of) ? j > i : j < i) ? 0 : m[i * stride + j];
}

// M·x or Mᵀ·x, exactly.
numerical::aligned_vector<double>
multiplied(vector_triangle of, const numerical::aligned_vector<double>& m, size_t stride,
           const numerical::aligned_vector<double>& x, bool transposed)
{
    numerical::aligned_vector<double> b(x.size());
    for (size_t i = 0; i < x.size(); ++i)
        for (size_t j = 0; j < x.size(); ++j)
            b[i] +=
                (transposed ? element(of, m, stride, j, i) : element(of, m, stride, i, j)) * x[j];
    return b;
}

// The solutions are integers, so that any order of exact steps gives them back.
void expect_solved(const kernel_set& tested, vector_triangle of, size_t n, size_t stride)
{
    const auto m = triangle_of(of, n, stride);
    const auto x = test::integer_vector<double>(n, 7, 9);
    for (const bool transposed : {false, true}) {
        test::guarded vector(multiplied(of, m, stride, x, transposed), test::quiet_nan);
        (transposed ? tested.transposed : tested.plain)(of, vector.data(), m.data(), stride, n);
        ASSERT_EQ(vector.values(), x) << tested.name << ", triangle " << int(of) << ", order " << n
                                      << (transposed ? ", transposed" : "");
        ASSERT_TRUE(vector.intact());
    }
}

TEST(substitution_of_a_vector, gives_back_integer_solutions_of_every_order)
{
    for (const auto& tested : kernels())
        for (const auto of : all_triangles)
            for (size_t n = 0; n <= 41; ++n)
                for (const size_t stride : {n, n + 3})
                    expect_solved(tested, of, n, stride);
}

TEST(substitution_of_a_vector, gives_back_integer_solutions_of_long_rows)
{
    for (const auto& tested : kernels())
        for (const auto of : all_triangles)
            for (const size_t n : {95UL, 96UL, 200UL})
                expect_solved(tested, of, n, n + 1);
}

TEST(substitution_of_a_vector, divides_by_a_zero_on_the_diagonal)
{
    for (const auto& tested : kernels()) {
        const numerical::aligned_vector<double> m{0};
        numerical::aligned_vector<double> x{1};
        tested.plain(vector_triangle::upper, x.data(), m.data(), 1, 1);
        EXPECT_EQ(x[0], std::numeric_limits<double>::infinity()) << tested.name;
    }
}

TEST(dots_that_are_subtracted, take_every_number_of_rows)
{
    for (const auto& tested : kernels())
        for (size_t rows = 0; rows <= 18; ++rows)
            for (const size_t n : {0UL, 8UL, 16UL, 72UL}) {
                const size_t stride = n + 3;
                test::guarded_numbers<double> a(rows * stride, 3);
                test::spoil_beyond(a, rows, stride, n);
                test::guarded_numbers<double> x(n, 4);
                test::guarded y = test::integers(rows, 5);
                numerical::aligned_vector<double> expected = y.values();
                for (size_t i = 0; i < rows; ++i)
                    for (size_t j = 0; j < n; ++j)
                        expected[i] -= a.data()[i * stride + j] * x.data()[j];
                tested.subtract_dots(y.data(), a.data(), stride, rows, x.data(), n);
                ASSERT_EQ(y.values(), expected) << tested.name << ", " << rows << " x " << n;
                ASSERT_TRUE(y.intact());
            }
}

} // namespace
