#include "numerical/elementwise/arithmetic.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/streamed_rows.hpp"
#include "numerical/elementwise/unary.hpp"
#include "paths.hpp"

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

extern "C" {
double _Complex __muldc3(double a, double b, double c, double d);
double _Complex __divdc3(double a, double b, double c, double d);
}

namespace {

using numerical::arithmetic;
using numerical::arithmetic_operation;
using numerical::tensor;
using numerical::detail::arithmetic_kernels;
using complex = std::complex<double>;
using extents = std::vector<std::size_t>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

const std::vector<arithmetic_operation> operations{
    arithmetic_operation::add, arithmetic_operation::subtract, arithmetic_operation::multiply,
    arithmetic_operation::divide};

// NaN is one value here: which of two payloads a sum takes is the processor's affair.
std::uint64_t bits(double x)
{
    return std::isnan(x) ? 0x7FF8000000000000 : std::bit_cast<std::uint64_t>(x);
}

bool same_bits(double x, double y)
{
    return bits(x) == bits(y);
}

bool same_bits(const complex& x, const complex& y)
{
    return same_bits(x.real(), y.real()) && same_bits(x.imag(), y.imag());
}

// One operation by itself, where no vector can be made of it.
double by_definition(arithmetic_operation operation, double x, double y)
{
    volatile double left = x;
    volatile double right = y;
    switch (operation) {
    case arithmetic_operation::add:
        return left + right;
    case arithmetic_operation::subtract:
        return left - right;
    case arithmetic_operation::multiply:
        return left * right;
    default:
        return left / right;
    }
}

complex from_c(double _Complex z)
{
    return {__real__ z, __imag__ z};
}

complex by_definition(arithmetic_operation operation, const complex& x, const complex& y)
{
    switch (operation) {
    case arithmetic_operation::multiply:
        return from_c(__muldc3(x.real(), x.imag(), y.real(), y.imag()));
    case arithmetic_operation::divide:
        return from_c(__divdc3(x.real(), x.imag(), y.real(), y.imag()));
    default:
        return {by_definition(operation, x.real(), y.real()),
                by_definition(operation, x.imag(), y.imag())};
    }
}

// Numbers of all kinds: small integers, others, zeros of both signs, subnormals, the largest and,
// where wanted, infinities and NaN.
class numbers
{
public:
    explicit numbers(bool with_specials) : specials(with_specials) {}

    double next()
    {
        const numerical::aligned_vector<double> special{
            inf, -inf, nan, 0.0, -0.0, 5e-324, -5e-324, std::numeric_limits<double>::max()};
        const auto kind = generator() % 16;
        if (kind == 0 && specials)
            return special[generator() % special.size()];
        if (kind < 4)
            return static_cast<double>(generator() % 7) - 3;
        return std::ldexp(static_cast<double>(generator()) - 0x1p31,
                          static_cast<int>(generator() % 60) - 60);
    }

    void fill(numerical::aligned_vector<double>& out)
    {
        for (double& x : out)
            x = next();
    }

    void fill(numerical::aligned_vector<complex>& out)
    {
        for (complex& z : out) {
            const double real = next();
            z = {real, next()};
        }
    }

private:
    bool specials;
    std::mt19937 generator{11};
};

template <class T>
tensor<T> some_tensor(numbers& source, extents shape)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count *= extent;
    numerical::aligned_vector<T> data(count);
    source.fill(data);
    return tensor<T>(std::move(shape), std::move(data));
}

template <class T>
void expect_by_definition(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b)
{
    const tensor<T> result = arithmetic(operation, a, b);
    const std::size_t step_a = a.data.size() == 1 ? 0 : 1;
    const std::size_t step_b = b.data.size() == 1 ? 0 : 1;
    for (std::size_t i = 0; i < result.data.size(); ++i)
        ASSERT_TRUE(same_bits(result.data[i],
                              by_definition(operation, a.data[i * step_a], b.data[i * step_b])))
            << "element " << i << " of " << result.data.size() << ": " << a.data[i * step_a]
            << " and " << b.data[i * step_b] << " give " << result.data[i];
}

template <class T>
class arithmetic_of : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(arithmetic_of, element_types);

TYPED_TEST(arithmetic_of, has_the_bits_of_single_operations_in_every_row_form)
{
    std::vector<std::size_t> lengths;
    for (std::size_t n = 0; n < 40; ++n)
        lengths.push_back(n);
    for (const std::size_t n : {255, 256, 257, 259, 511, 512, 513, 1023, 1025, 1030})
        lengths.push_back(n);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        numbers source(true);
        for (const std::size_t n : lengths)
            for (const arithmetic_operation operation : operations) {
                const auto a = some_tensor<TypeParam>(source, {n});
                const auto b = some_tensor<TypeParam>(source, {n});
                const auto one = some_tensor<TypeParam>(source, {});
                expect_by_definition(operation, a, b);
                expect_by_definition(operation, a, one);
                expect_by_definition(operation, one, b);
                ASSERT_FALSE(testing::Test::HasFatalFailure()) << "path " << path;
            }
    }
}

TYPED_TEST(arithmetic_of, rows_of_a_broadcast_keep_the_order_of_operands)
{
    numbers source(false);
    const auto a = some_tensor<TypeParam>(source, {5, 3, 300});
    const auto rows = some_tensor<TypeParam>(source, {3, 300});
    const auto columns = some_tensor<TypeParam>(source, {5, 3, 1});
    for (const arithmetic_operation operation : operations) {
        const auto by_rows = arithmetic(operation, a, rows);
        const auto by_columns = arithmetic(operation, columns, a);
        for (std::size_t i = 0; i < a.data.size(); ++i) {
            ASSERT_TRUE(same_bits(by_rows.data[i],
                                  by_definition(operation, a.data[i], rows.data[i % 900])));
            ASSERT_TRUE(same_bits(by_columns.data[i],
                                  by_definition(operation, columns.data[i / 300], a.data[i])));
        }
    }
}

TEST(complex_product, recovers_infinities_anywhere_in_a_long_row)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t at : {0, 1, 255, 511, 512, 1022}) {
            numerical::aligned_vector<complex> left(1023, complex(1, 2));
            left[at] = complex(inf, nan);
            const tensor<complex> a({1023}, left);
            const tensor<complex> b({}, {complex(3, -1)});
            const auto product = arithmetic(arithmetic_operation::multiply, a, b);
            EXPECT_EQ(product.data[at].real(), inf);
            EXPECT_EQ(product.data[(at + 1) % 1023], complex(5, 5));
        }
    }
}

// Every kernel of a build at every alignment, with guards round the row.
void expect_guarded_rows(const arithmetic_kernels& kernels)
{
    constexpr double guard = -777.25;
    const numerical::aligned_vector<double> x{9, 8, 7, 6, 5, 4, 3, 2, 1, 2,
                                              3, 4, 5, 6, 7, 8, 9, 1, 2, 3};
    const numerical::aligned_vector<double> y{2, 4, 8, 2, 4, 8, 2, 4, 8, 2,
                                              4, 8, 2, 4, 8, 2, 4, 8, 2, 4};
    for (std::size_t offset = 0; offset < 4; ++offset)
        for (std::size_t n = 0; n <= 16; ++n)
            for (std::size_t form = 0; form < 3; ++form)
                for (std::size_t op = 0; op < 4; ++op) {
                    numerical::aligned_vector<double> out(24, guard);
                    kernels.real[op].by_form[form](x.data() + offset, y.data() + offset,
                                                   out.data() + offset + 1, n);
                    for (std::size_t j = 0; j < out.size(); ++j) {
                        double expected = guard;
                        if (j > offset && j <= offset + n) {
                            const std::size_t i = j - 1;
                            expected = by_definition(operations[op], x[form == 2 ? offset : i],
                                                     y[form == 1 ? offset : i]);
                        }
                        ASSERT_EQ(out[j], expected) << "n " << n << " form " << form;
                    }
                }
}

TEST(arithmetic_kernels, write_their_row_and_nothing_else)
{
    expect_guarded_rows(numerical::detail::portable_arithmetic);
    if (numerical::detail::cpu_features().avx2)
        expect_guarded_rows(numerical::detail::avx2_unfused_arithmetic);
}

// Long enough to be written past the caches, in real and in complex numbers.
TEST(arithmetic_kernels, long_rows_have_the_elements_of_short_ones)
{
    constexpr std::size_t count = numerical::detail::streamed_from / 2 + 13;
    numerical::aligned_vector<complex> left(count);
    numerical::aligned_vector<complex> right(count);
    for (std::size_t j = 0; j < count; ++j) {
        left[j] = {static_cast<double>(j), 0.5 - static_cast<double>(j % 7)};
        right[j] = {static_cast<double>(j % 5), -0.0};
    }
    const tensor<complex> a({count}, left);
    const tensor<complex> b({count}, right);
    const tensor<complex> one({}, {complex(3.0, -1.0)});
    numerical::aligned_vector<double> reals(2 * count);
    for (std::size_t j = 0; j < reals.size(); ++j)
        reals[j] = static_cast<double>(j) / 3;
    const tensor<double> x({reals.size()}, reals);
    for (const int path : test::available_paths()) {
        const test::path_limit limited(path);
        const tensor<complex> sums = arithmetic(arithmetic_operation::add, a, b);
        const tensor<complex> differences = arithmetic(arithmetic_operation::subtract, one, b);
        const tensor<double> quotients = arithmetic(arithmetic_operation::divide, x, x);
        const tensor<double> opposite = negative(x);
        for (std::size_t j = 0; j < count; ++j) {
            ASSERT_TRUE(same_bits(sums.data[j], left[j] + right[j])) << j;
            ASSERT_TRUE(same_bits(differences.data[j], one.data[0] - right[j])) << j;
        }
        for (std::size_t j = 0; j < reals.size(); ++j) {
            ASSERT_TRUE(same_bits(quotients.data[j], reals[j] / reals[j])) << j;
            ASSERT_TRUE(same_bits(opposite.data[j], -reals[j])) << j;
        }
    }
}

TEST(power, by_two_a_half_and_minus_one_is_not_that_of_the_library)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const tensor<double> x({4}, {-0.0, -inf, 1e200, 3.0});
        const auto to = [&](double exponent) {
            return arithmetic(arithmetic_operation::power, x, tensor<double>({}, {exponent}));
        };
        EXPECT_TRUE(std::signbit(to(0.5).data[0]));
        EXPECT_TRUE(std::isnan(to(0.5).data[1]));
        EXPECT_EQ(to(2.0).data[2], inf);
        EXPECT_EQ(to(-1.0).data[0], -inf);
        EXPECT_EQ(to(-1.0).data[3], 1.0 / 3.0);
        EXPECT_EQ(to(3.0).data[3], 27.0);
        EXPECT_FALSE(std::signbit(to(4.0).data[0]));
    }
}

TEST(power, takes_the_fast_form_only_if_the_exponent_has_no_more_axes)
{
    const tensor<double> x({3}, {-0.0, 4.0, 9.0});
    const tensor<double> half({1, 1}, {0.5});
    const auto y = arithmetic(arithmetic_operation::power, x, half);
    EXPECT_EQ(y.shape, (extents{1, 3}));
    EXPECT_FALSE(std::signbit(y.data[0]));
    const auto same_rank = arithmetic(arithmetic_operation::power, x, tensor<double>({1}, {0.5}));
    EXPECT_EQ(same_rank.shape, extents{3});
    EXPECT_TRUE(std::signbit(same_rank.data[0]));
    const tensor<double> scalar({}, {-3.0});
    EXPECT_EQ(arithmetic(arithmetic_operation::power, scalar, tensor<double>({}, {2.0})).data[0],
              9.0);
}

TEST(power, of_complex_numbers_by_two_recovers_no_infinity)
{
    const tensor<complex> z({2}, {complex(inf, 1), complex(3, 4)});
    const auto to = [&](const complex& exponent) {
        return arithmetic(arithmetic_operation::power, z, tensor<complex>({}, {exponent})).data;
    };
    EXPECT_EQ(to(2.0)[0].imag(), inf);
    EXPECT_EQ(to(2.0)[1], complex(-7, 24));
    EXPECT_EQ(to(0.5)[1], complex(2, 1));
    const complex inverse = from_c(__divdc3(1, 0, 3, 4));
    EXPECT_TRUE(same_bits(to(-1.0)[1], inverse));
    volatile double one = 1.0; // a constant would let the compiler fold the call
    EXPECT_TRUE(same_bits(to(complex(2, one))[1], std::pow(complex(3 * one, 4), complex(2, one))));
    // (inf + nan i) squared by the full rules would be infinite in a part.
    const tensor<complex> w({}, {complex(inf, nan)});
    const auto square = arithmetic(arithmetic_operation::power, w, tensor<complex>({}, {2.0}));
    EXPECT_TRUE(std::isnan(square.data[0].real()));
    EXPECT_TRUE(std::isnan(square.data[0].imag()));
}

// Normal ones among zeros, infinities, NaN and the largest and least.
numerical::aligned_vector<double> numbers_of_all_kinds(std::size_t count)
{
    constexpr double special[]{0.0, -0.0, inf, -inf, nan, 1e300, 5e-324};
    std::mt19937_64 generator(count);
    std::normal_distribution<double> normal;
    numerical::aligned_vector<double> numbers(count);
    for (std::size_t i = 0; i < count; ++i)
        numbers[i] = i % 3 == 0 ? special[i / 3 % 7] : normal(generator);
    return numbers;
}

tensor<double> real_of_all_kinds(const extents& shape)
{
    std::size_t count = 1;
    for (const std::size_t extent : shape)
        count *= extent;
    return tensor<double>(shape, numbers_of_all_kinds(count));
}

tensor<complex> widened(const tensor<double>& a)
{
    return tensor<complex>(a.shape,
                           numerical::aligned_vector<complex>(a.data.begin(), a.data.end()));
}

tensor<complex> complex_of_all_kinds(const extents& shape)
{
    tensor<complex> z = widened(real_of_all_kinds(shape));
    for (std::size_t i = 0; i < z.data.size(); ++i)
        z.data[i].imag(z.data[z.data.size() - 1 - i].real());
    return z;
}

void expect_same_bits(const tensor<complex>& x, const tensor<complex>& y)
{
    ASSERT_EQ(x.shape, y.shape);
    for (std::size_t i = 0; i < x.data.size(); ++i)
        ASSERT_TRUE(same_bits(x.data[i], y.data[i])) << i;
}

TEST(arithmetic, of_a_real_and_a_complex_operand_is_that_of_the_widened_one)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t count : {1, 2, 255, 256, 257, 600})
            for (const auto& [one, other] :
                 {std::pair(extents{count}, extents{count}), std::pair(extents{count}, extents{1}),
                  std::pair(extents{}, extents{3, count}),
                  std::pair(extents{count, 1}, extents{1, 5})})
                for (const arithmetic_operation operation : operations) {
                    const tensor<double> a = real_of_all_kinds(one);
                    const tensor<complex> z = complex_of_all_kinds(other);
                    expect_same_bits(arithmetic(operation, a, z),
                                     arithmetic(operation, widened(a), z));
                    expect_same_bits(arithmetic(operation, z, a),
                                     arithmetic(operation, z, widened(a)));
                }
    }
}

} // namespace
