#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"

#include "ratios.hpp"
#include "stack_cases.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;

constexpr double greatest_ratio = 10;
constexpr std::size_t greatest_rows = 16;

struct factors
{
    numerical::aligned_vector<complex> q;
    numerical::aligned_vector<complex> r;
};

factors factors_of(std::size_t count, const matrix_stack<complex>& a)
{
    factors of{numerical::aligned_vector<complex>(count * a.rows * a.cols),
               numerical::aligned_vector<complex>(count * a.cols * a.cols)};
    stacks::small_qr(count, a, of.q.data(), of.r.data());
    return of;
}

factors factors_of(const dense_stack<complex>& a)
{
    return factors_of(a.count, a);
}

numerical::aligned_vector<double> all_bits(const factors& of)
{
    numerical::aligned_vector<double> all;
    append_bits(all, of.q);
    append_bits(all, of.r);
    return all;
}

matrix<complex> one_of(const numerical::aligned_vector<complex>& from, std::size_t i,
                       std::size_t rows, std::size_t cols)
{
    const complex* const first = from.data() + i * rows * cols;
    return {rows, cols, {first, first + rows * cols}};
}

struct named_stack
{
    std::string name;
    dense_stack<complex> a;
};

std::vector<named_stack> cases(std::size_t rows, std::size_t cols)
{
    constexpr std::size_t count = 19;
    const std::size_t size = rows * cols;
    const dense_stack<complex> random = random_stack<complex>(count, rows, cols, unsigned(size));
    const auto changed = [&](const auto& element) {
        dense_stack<complex> a = random;
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t e = 0; e < size; ++e)
                a.at(i)[e] = element(i, e, a.at(i)[e]);
        return a;
    };
    const auto filled = [&](const auto& fill) {
        dense_stack<complex> a = random;
        for (std::size_t i = 0; i < count; ++i) {
            const matrix<complex> one = fill(unsigned(i));
            std::copy(one.data.begin(), one.data.end(), a.at(i));
        }
        return a;
    };
    std::vector<named_stack> all{
        {"random", random},
        {"integers", {count, rows, cols, integer_vector<complex>(count * size, 5, 3)}},
        {"real", changed([](auto, auto, complex z) { return complex(z.real()); })},
        {"zero", changed([](auto, auto, complex) { return complex(0); })},
        {"zero above", changed([&](auto, std::size_t e, complex z) { return e < cols ? 0 : z; })},
        {"triangular",
         changed([&](auto, std::size_t e, complex z) { return e % cols < e / cols ? 0 : z; })},
        {"graded",
         filled([&](unsigned seed) { return graded_matrix<complex>(rows, cols, 8, seed); })},
        {"low rank", filled([&](unsigned seed) {
             return low_rank_matrix<complex>(rows, cols, (cols + 1) / 2, seed);
         })}};
    for (const double factor : {0x1p-1000, 0x1p-460, 0x1p-440, 0x1p440, 0x1p460, 0x1p1000})
        all.push_back({"scaled", changed([=](auto, auto, complex z) { return factor * z; })});
    all.push_back({"mixed", changed([](std::size_t i, auto, complex z) {
                       return z * (i % 3 == 0 ? 0x1p-600 : i % 3 == 1 ? 1 : 0x1p600);
                   })});
    return all;
}

// To about one from wherever it lies, by a power of two.
double unit_of(const matrix<complex>& a)
{
    double largest = 0;
    for (const double x : bits_of(a.data))
        largest = std::max(largest, std::abs(x));
    return largest == 0 ? 1 : std::ldexp(1.0, -std::ilogb(largest));
}

void expect_factors(const matrix<complex>& a, const matrix<complex>& q, const matrix<complex>& r)
{
    for (std::size_t i = 0; i < r.rows; ++i) {
        EXPECT_EQ(r.data[i * r.cols + i].imag(), 0);
        EXPECT_GE(r.data[i * r.cols + i].real(), 0);
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_EQ(r.data[i * r.cols + j], complex(0));
    }
    const double unit = unit_of(a);
    const matrix<complex> right = scaled(r, unit);
    const auto sums =
        wide_product(q, std::vector<wide<complex>>(right.data.begin(), right.data.end()));
    EXPECT_LT(orthogonality_ratio(q), greatest_ratio);
    EXPECT_LT(difference_ratio(scaled(a, unit), {a.rows, a.cols, {sums.begin(), sums.end()}}),
              greatest_ratio);
}

TEST(small_qr, factors_every_kind_of_matrix_on_every_path)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t m = 1; m <= greatest_rows; ++m)
            for (std::size_t n = 1; n <= m; ++n)
                for (const auto& [name, a] : cases(m, n)) {
                    const factors of = factors_of(a);
                    for (std::size_t i = 0; i < a.count; ++i) {
                        SCOPED_TRACE(name + ", " + std::to_string(m) + " x " + std::to_string(n) +
                                     ", place " + std::to_string(i) + ", path " +
                                     std::to_string(path));
                        expect_factors(one_of(a.data, i, m, n), one_of(of.q, i, m, n),
                                       one_of(of.r, i, n, n));
                    }
                }
    }
}

TEST(small_qr, is_there_for_tall_and_square_matrices_of_few_rows)
{
    EXPECT_TRUE(stacks::has_small_qr(1, 1));
    EXPECT_TRUE(stacks::has_small_qr(greatest_rows, greatest_rows));
    EXPECT_FALSE(stacks::has_small_qr(greatest_rows + 1, 1));
    EXPECT_FALSE(stacks::has_small_qr(2, 3));
    EXPECT_FALSE(stacks::has_small_qr(3, 0));
    EXPECT_FALSE(stacks::has_small_qr(0, 0));
}

TEST(small_qr, bits_depend_neither_on_neighbours_nor_on_place_or_count)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] : {std::pair(2UL, 2UL), {3UL, 3UL}, {8UL, 8UL}, {16UL, 5UL}})
            for (const auto& [name, a] : cases(m, n)) {
                const factors whole = factors_of(a);
                for (std::size_t i = 0; i < a.count; ++i)
                    for (const std::size_t count : {1UL, 3UL, 9UL}) {
                        const std::size_t from = std::min(i, a.count - count);
                        const factors some =
                            factors_of(count, {a.data.data() + from * m * n, m, n, m * n});
                        EXPECT_TRUE(same_bits(bits_of(one_of(some.q, i - from, m, n).data),
                                              bits_of(one_of(whole.q, i, m, n).data)))
                            << name;
                        EXPECT_TRUE(same_bits(bits_of(one_of(some.r, i - from, n, n).data),
                                              bits_of(one_of(whole.r, i, n, n).data)))
                            << name;
                    }
            }
    }
}

TEST(small_qr, bits_are_the_same_on_all_paths)
{
    for (const auto& [m, n] : {std::pair(1UL, 1UL), {2UL, 2UL}, {5UL, 3UL}, {16UL, 16UL}}) {
        const auto a = random_stack<complex>(37, m, n, 1);
        const auto on = [&, &stack = a](int path) {
            const path_limit limit(path);
            return all_bits(factors_of(stack));
        };
        for (const int path : available_paths())
            EXPECT_TRUE(same_bits(on(path), on(numerical::detail::portable_path)))
                << m << " x " << n << ", path " << path;
    }
}

TEST(small_qr, bits_are_the_same_at_every_thread_count)
{
    for (const std::size_t n : {3, 16}) {
        const auto a = random_stack<complex>(2000, n, n, 1);
        const auto on = [&](std::size_t threads) {
            const thread_limit limit(threads);
            return all_bits(factors_of(a));
        };
        const auto serial = on(1);
        for (const std::size_t threads : thread_counts)
            EXPECT_TRUE(same_bits(on(threads), serial)) << threads;
    }
}

TEST(small_qr, names_the_first_matrix_that_is_not_finite)
{
    for (const double fault :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        auto a = random_stack<complex>(9, 4, 3, 1);
        a.at(5)[2] = {1, fault};
        a.at(7)[0] = fault;
        try {
            factors_of(a);
            FAIL() << "nothing was thrown";
        } catch (const numerical::stack_error& error) {
            EXPECT_EQ(error.index(), 5U);
            try {
                std::rethrow_exception(error.cause());
            } catch (const numerical::non_finite_error& cause) {
                EXPECT_STREQ(cause.what(),
                             "QR decomposition: the matrix holds an infinite or NaN entry");
            }
        }
    }
}

} // namespace
