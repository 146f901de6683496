#include "numerical/eigen/symmetric_column.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/symmetric_step.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace numerical::detail;

std::vector<column_kernels> kernels_of(double)
{
    std::vector<column_kernels> forms{symmetric_column()};
    if (cpu_features().avx2)
        forms.push_back(avx2_symmetric_column());
    if (cpu_features().avx512)
        forms.push_back(avx512_symmetric_column());
    return forms;
}

std::vector<column_kernels> kernels_of(complex)
{
    std::vector<column_kernels> forms{hermitian_column()};
    if (cpu_features().avx2)
        forms.push_back(avx2_hermitian_column());
    if (cpu_features().avx512)
        forms.push_back(avx512_hermitian_column());
    return forms;
}

// What z, after a strip's y, adds to the conjugated product (symmetric_step.hpp).
double exchanged_part(const double*, std::size_t)
{
    return 0;
}

complex exchanged_part(const complex* y, std::size_t cols)
{
    return {y[cols].imag(), -y[cols].real()};
}

double real_product(double x, double y)
{
    return x * y;
}

double real_product(const complex& x, const complex& y)
{
    return (std::conj(x) * y).real();
}

// Small integers, on which every form is exact.
template <class T>
struct column_case
{
    static constexpr std::size_t strips = 3;

    explicit column_case(std::size_t of_cols)
        : cols(of_cols), v(test::integer_vector<T>(cols, 1, 9)),
          w(test::integer_vector<T>(cols, 2, 9)), x(test::integer_vector<T>(cols, 3, 9)),
          row(test::integer_vector<T>(cols, 4, 9)),
          y(test::integer_vector<T>(strips * step_of_y(), 5, 9))
    {
    }

    // y and, if complex, z.
    std::size_t step_of_y() const { return cols * sizeof(T) / sizeof(double); }

    column_vectors vectors()
    {
        return {as_doubles(v.data()),
                as_doubles(w.data()),
                as_doubles(x.data()),
                as_doubles(y.data()),
                cols,
                step_of_y()};
    }

    T product(std::size_t i, std::size_t count) const
    {
        T sum = 0;
        for (std::size_t s = 0; s < count; ++s) {
            const T* const of_strip = y.data() + s * step_of_y() + i;
            sum += *of_strip + exchanged_part(of_strip, cols);
        }
        return sum;
    }

    std::size_t cols;
    numerical::aligned_vector<T> v;
    numerical::aligned_vector<T> w;
    numerical::aligned_vector<T> x;
    numerical::aligned_vector<T> row;
    numerical::aligned_vector<T> y;
};

// run(kernels, case, from, to) for all forms and for whole blocks of several sizes.
template <class T, class F>
void for_each_case(const F& run)
{
    for (const auto& kernels : kernels_of(T()))
        for (const std::size_t cols : {8, 16, 40, 72})
            for (std::size_t from = 0; from <= cols; from += step_block)
                for (std::size_t to = from; to <= cols; to += step_block)
                    run(kernels, column_case<T>(cols), from, to);
}

template <class T>
class symmetric_column_kernels : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(symmetric_column_kernels, element_types);

TYPED_TEST(symmetric_column_kernels, take_a_row_up_to_date)
{
    using T = TypeParam;
    for_each_case<T>([](const auto& kernels, column_case<T> of, std::size_t from, std::size_t to) {
        const auto coefficients = test::integer_vector<T>(2, 6, 9);
        auto expected = of.x;
        double square = 0;
        for (std::size_t i = from; i < to; ++i) {
            expected[i] = of.row[i] - coefficients[0] * of.v[i] - coefficients[1] * of.w[i];
            square += real_product(expected[i], expected[i]);
        }
        const double found = kernels.take_row(
            as_doubles(of.row.data()), as_doubles(coefficients.data()), of.vectors(), from, to);
        EXPECT_EQ(found, square);
        EXPECT_EQ(of.x, expected);
    });
}

TYPED_TEST(symmetric_column_kernels, scale_a_reflector)
{
    using T = TypeParam;
    for_each_case<T>([](const auto& kernels, column_case<T> of, std::size_t from, std::size_t to) {
        auto expected = of.x;
        for (std::size_t i = from; i < to; ++i)
            expected[i] *= 0.5;
        kernels.scale(of.vectors(), 0.5, from, to);
        EXPECT_EQ(of.x, expected);
    });
}

TYPED_TEST(symmetric_column_kernels, add_the_strips_of_a_product)
{
    using T = TypeParam;
    for_each_case<T>([](const auto& kernels, column_case<T> of, std::size_t from, std::size_t to) {
        for (std::size_t count = 1; count <= of.strips; ++count) {
            auto found = of;
            auto expected = of.y;
            double projection = 0;
            for (std::size_t i = from; i < to; ++i) {
                expected[i] = of.product(i, count);
                projection += real_product(of.x[i], expected[i]);
            }
            EXPECT_EQ(kernels.add_strips(found.vectors(), count, from, to), projection);
            EXPECT_EQ(found.y, expected);
        }
    });
}

TYPED_TEST(symmetric_column_kernels, set_the_vector_of_the_next_update)
{
    using T = TypeParam;
    for_each_case<T>([](const auto& kernels, column_case<T> of, std::size_t from, std::size_t to) {
        auto w = of.w;
        for (std::size_t i = from; i < to; ++i)
            w[i] = 2.0 * of.y[i] - 6.0 * of.x[i];
        kernels.follow(of.vectors(), 3, from, to);
        EXPECT_EQ(of.w, w);
    });
}

} // namespace
