#include "numerical/errors.hpp"

#include "ratios.hpp"
#include "stack_cases.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;

constexpr double greatest_ratio = 10;

struct named_stack
{
    std::string name;
    dense_stack<double> a;
};

dense_stack<double> times(dense_stack<double> a, double factor)
{
    for (double& x : a.data)
        x *= factor;
    return a;
}

template <class F>
dense_stack<double> filled(std::size_t count, std::size_t rows, std::size_t cols, const F& fill)
{
    dense_stack<double> a{count, rows, cols, {}};
    for (std::size_t i = 0; i < count; ++i) {
        const matrix<double> one = fill(unsigned(i));
        a.data.insert(a.data.end(), one.data.begin(), one.data.end());
    }
    return a;
}

// Random diagonal entries, `spread` apart; zero elsewhere.
dense_stack<double> diagonal(std::size_t count, std::size_t rows, std::size_t cols, double spread)
{
    auto a = filled(count, rows, cols, [&](unsigned) {
        return matrix<double>(rows, cols, std::vector<double>(rows * cols));
    });
    const auto entries = random_vector<double>(count * rows, 3);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < std::min(rows, cols); ++j)
            a.at(i)[j * (cols + 1)] = 1 + spread * entries[i * rows + j];
    return a;
}

// Sums in wider precision.
matrix<double> product(const matrix<double>& a, const matrix<double>& b)
{
    std::vector<double> c(a.rows * b.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < b.cols; ++j) {
            long double sum = 0;
            for (std::size_t l = 0; l < a.cols; ++l)
                sum += static_cast<long double>(a.data[i * a.cols + l]) * b.data[l * b.cols + j];
            c[i * b.cols + j] = static_cast<double>(sum);
        }
    return {a.rows, b.cols, std::move(c)};
}

// H·D·H with a reflection H, whose values are those of the diagonal: repeated or clustered.
dense_stack<double> reflected(std::size_t count, std::size_t n, double spread)
{
    auto a = diagonal(count, n, n, spread);
    for (std::size_t m = 0; m < count; ++m) {
        auto w = random_vector<double>(n, unsigned(m));
        double square = 0;
        for (const double x : w)
            square += x * x;
        std::vector<double> h(n * n);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                h[i * n + j] = (i == j) - 2 * w[i] * w[j] / square;
        const matrix<double> reflection(n, n, h);
        const matrix<double> whole(n, n, {a.at(m), a.at(m) + n * n});
        const auto whole_again = product(reflection, product(whole, reflection));
        std::copy(whole_again.data.begin(), whole_again.data.end(), a.at(m));
    }
    return a;
}

std::vector<named_stack> cases(std::size_t rows, std::size_t cols)
{
    constexpr std::size_t count = 21;
    const auto random = random_stack<double>(count, rows, cols, unsigned(rows + 17 * cols));
    const auto integers = [&](int limit) {
        return dense_stack<double>{count, rows, cols,
                                   integer_vector<double>(count * rows * cols, 5, limit)};
    };
    auto bits = integers(8);
    for (double& x : bits.data)
        x = x > 0 ? 1 : 0;
    std::vector<named_stack> all{
        {"random", random},
        {"integer", integers(3)},
        {"0/1", bits},
        {"zero", times(random, 0)},
        {"diagonal", diagonal(count, rows, cols, 1)},
        {"graded",
         filled(count, rows, cols,
                [&](unsigned seed) { return graded_matrix<double>(rows, cols, 8, seed); })},
        {"low rank", filled(count, rows, cols, [&](unsigned seed) {
             return low_rank_matrix<double>(rows, cols, (std::min(rows, cols) + 1) / 2, seed);
         })}};
    if (rows == cols)
        for (const double spread : {0.0, 1e-14, 1e-7})
            all.push_back({"clustered", reflected(count, rows, spread)});
    for (const double factor : {0x1p-1000, 0x1p-199, 0x1p-99, 0x1p99, 0x1p199, 0x1p1000})
        all.push_back({"scaled", times(random, factor)});
    auto mixed = random;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t e = 0; e < rows * cols; ++e)
            mixed.at(i)[e] *= i % 3 == 0 ? 0x1p-600 : i % 3 == 1 ? 1 : 0x1p600;
    all.push_back({"mixed", mixed});
    return all;
}

matrix<double> rows_of(const std::vector<double>& from, std::size_t i, std::size_t rows,
                       std::size_t cols)
{
    const double* const first = from.data() + i * rows * cols;
    return {rows, cols, {first, first + rows * cols}};
}

// A·diag(values).
matrix<double> scaled_columns(matrix<double> a, const double* values)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            a.data[i * a.cols + j] *= values[j];
    return a;
}

// To about one from wherever it lies, by a power of two.
double unit_of(const matrix<double>& a)
{
    double largest = 0;
    for (const double x : a.data)
        largest = std::max(largest, std::abs(x));
    return largest == 0 ? 1 : std::ldexp(1.0, -std::ilogb(largest));
}

matrix<double> symmetric(matrix<double> lower)
{
    for (std::size_t i = 0; i < lower.rows; ++i)
        for (std::size_t j = 0; j < i; ++j)
            lower.data[j * lower.cols + i] = lower.data[i * lower.cols + j];
    return lower;
}

struct eigen_results
{
    std::vector<double> values;
    std::vector<double> vectors;
};

eigen_results eigen_of(std::size_t count, const matrix_stack<double>& a)
{
    eigen_results of{std::vector<double>(count * a.rows),
                     std::vector<double>(count * a.rows * a.rows)};
    stacks::small_eigh(count, a, of.values.data(), of.vectors.data());
    return of;
}

struct svd_results
{
    std::vector<double> u;
    std::vector<double> values;
    std::vector<double> vh;
};

svd_results svd_of(std::size_t count, const matrix_stack<double>& a)
{
    const std::size_t k = std::min(a.rows, a.cols);
    svd_results of{std::vector<double>(count * a.rows * k), std::vector<double>(count * k),
                   std::vector<double>(count * k * a.cols)};
    stacks::small_svd(count, a, of.u.data(), of.values.data(), of.vh.data());
    return of;
}

// Everything at once, for comparisons of bits.
std::vector<double> all_results(std::size_t count, const matrix_stack<double>& a)
{
    std::vector<double> all;
    const auto append = [&](const std::vector<double>& x) {
        all.insert(all.end(), x.begin(), x.end());
    };
    if (a.rows == a.cols) {
        const eigen_results eigen = eigen_of(count, a);
        std::vector<double> values(count * a.rows);
        stacks::small_eigenvalues(count, a, values.data());
        append(eigen.values);
        append(eigen.vectors);
        append(values);
    }
    const svd_results svd = svd_of(count, a);
    std::vector<double> values(svd.values.size());
    std::vector<double> inverses(count * a.rows * a.cols);
    stacks::small_singular_values(count, a, values.data());
    stacks::small_pinv(count, a, inverses.data());
    for (const auto& x : {svd.u, svd.values, svd.vh, values, inverses})
        append(x);
    return all;
}

TEST(small_eigh, decomposes_every_kind_of_matrix_on_every_path)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t n = stacks::least_small_order; n <= stacks::greatest_small_order; ++n)
            for (const auto& [name, a] : cases(n, n)) {
                const eigen_results of = eigen_of(a.count, a);
                for (std::size_t i = 0; i < a.count; ++i) {
                    SCOPED_TRACE(name + ", order " + std::to_string(n) + ", place " +
                                 std::to_string(i) + ", path " + std::to_string(path));
                    const matrix<double> whole = symmetric(rows_of(a.data, i, n, n));
                    const double unit = unit_of(whole);
                    std::vector<double> values(of.values.begin() + long(i * n),
                                               of.values.begin() + long(i * n + n));
                    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
                    for (double& value : values)
                        value *= unit;
                    const matrix<double> vectors = rows_of(of.vectors, i, n, n);
                    EXPECT_LT(orthogonality_ratio(vectors), greatest_ratio);
                    EXPECT_LT(difference_ratio(scaled(whole, unit),
                                               product(scaled_columns(vectors, values.data()),
                                                       numerical::detail::adjoint(vectors))),
                              greatest_ratio);
                }
            }
    }
}

TEST(small_svd, decomposes_every_kind_of_matrix_on_every_path)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t m = 1; m <= stacks::greatest_small_length; ++m)
            for (std::size_t n = 1; n <= stacks::greatest_small_length; ++n) {
                if (!stacks::is_small(m, n))
                    continue;
                const std::size_t k = std::min(m, n);
                for (const auto& [name, a] : cases(m, n)) {
                    const svd_results of = svd_of(a.count, a);
                    for (std::size_t i = 0; i < a.count; ++i) {
                        SCOPED_TRACE(name + ", " + std::to_string(m) + " x " + std::to_string(n) +
                                     ", place " + std::to_string(i) + ", path " +
                                     std::to_string(path));
                        const matrix<double> whole = rows_of(a.data, i, m, n);
                        const double unit = unit_of(whole);
                        std::vector<double> values(of.values.begin() + long(i * k),
                                                   of.values.begin() + long(i * k + k));
                        EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
                        EXPECT_GE(values.back(), 0);
                        for (double& value : values)
                            value *= unit;
                        const matrix<double> u = rows_of(of.u, i, m, k);
                        const matrix<double> vh = rows_of(of.vh, i, k, n);
                        EXPECT_LT(orthogonality_ratio(u), greatest_ratio);
                        EXPECT_LT(orthogonality_ratio(numerical::detail::adjoint(vh)),
                                  greatest_ratio);
                        EXPECT_LT(difference_ratio(scaled(whole, unit),
                                                   product(scaled_columns(u, values.data()), vh)),
                                  greatest_ratio);
                    }
                }
            }
    }
}

long double product_of(const std::vector<double>& values)
{
    long double all = 1;
    for (const double value : values)
        all *= value;
    return all;
}

long double determinant(const std::vector<double>& a)
{
    const auto at = [&](std::size_t i, std::size_t j) {
        return static_cast<long double>(a[3 * i + j]);
    };
    return at(0, 0) * (at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1)) -
           at(0, 1) * (at(1, 0) * at(2, 2) - at(1, 2) * at(2, 0)) +
           at(0, 2) * (at(1, 0) * at(2, 1) - at(1, 1) * at(2, 0));
}

// The small values of graded matrices have as many digits as the large ones: their product is that
// of the grades and the determinant of what is graded.
TEST(small_spectra, small_values_of_graded_matrices_have_all_digits)
{
    const std::vector<double> grade{1, 0x1p-30, 0x1p-60};
    const std::vector<double> regular{3, 1, 1, -1, 3, 1, 1, -1, 2};
    const std::vector<double> definite{3, 1, 1, 1, 3, -1, 1, -1, 3};
    std::vector<double> columns = regular;
    std::vector<double> both = definite;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            columns[3 * i + j] *= grade[j];
            both[3 * i + j] *= grade[i] * grade[j];
        }
    const auto of_columns = product_of(svd_of(1, {columns.data(), 3, 3, 9}).values);
    const auto of_both = product_of(eigen_of(1, {both.data(), 3, 3, 9}).values);
    EXPECT_NEAR(double(of_columns / (determinant(regular) * 0x1p-90L)), 1, 20 * eps);
    EXPECT_NEAR(double(of_both / (determinant(definite) * 0x1p-180L)), 1, 20 * eps);
}

TEST(small_pinv, is_the_inverse_of_regular_matrices_and_drops_what_rounding_left)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] : {std::pair(3UL, 3UL), {7UL, 4UL}, {4UL, 7UL}, {16UL, 8UL}}) {
            const std::size_t rank = std::min(m, n) - 1;
            for (const auto& a : {random_stack<double>(9, m, n, 1),
                                  filled(9, m, n, [&, r = m, c = n](unsigned seed) {
                                      return low_rank_matrix<double>(r, c, rank, seed);
                                  })}) {
                std::vector<double> inverses(a.data.size());
                stacks::small_pinv(9, a, inverses.data());
                for (std::size_t i = 0; i < 9; ++i) {
                    const matrix<double> one = rows_of(a.data, i, m, n);
                    const matrix<double> inverse = rows_of(inverses, i, n, m);
                    const double condition =
                        double(norm_inf(one) * norm_inf(inverse)); // of what counts
                    EXPECT_LT(difference_ratio(one, product(product(one, inverse), one)),
                              greatest_ratio * condition);
                    EXPECT_LT(difference_ratio(inverse, product(product(inverse, one), inverse)),
                              greatest_ratio * condition);
                }
            }
        }
    }
}

TEST(small_spectra, values_alone_have_the_bits_of_those_with_vectors)
{
    for (const std::size_t n : {2, 3, 4, 5, 8})
        for (const auto& [name, a] : cases(n, n)) {
            if (name == "zero" || name == "low rank" || name == "mixed" || name == "scaled")
                continue; // not by these methods
            std::vector<double> values(a.count * n);
            stacks::small_eigenvalues(a.count, a, values.data());
            EXPECT_TRUE(same_bits(values, eigen_of(a.count, a).values)) << name << n;
        }
}

TEST(small_spectra, bits_depend_neither_on_neighbours_nor_on_place_or_count)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] :
             {std::pair(2UL, 2UL), {3UL, 3UL}, {4UL, 4UL}, {8UL, 8UL}, {9UL, 5UL}, {3UL, 16UL}})
            for (const auto& [name, a] : cases(m, n)) {
                dense_stack<double> shuffled = a; // backwards, among others of every kind
                for (std::size_t i = 0; i < a.count; ++i)
                    std::copy_n(a.data.data() + i * m * n, m * n, shuffled.at(a.count - 1 - i));
                for (std::size_t i = 0; i < a.count; ++i) {
                    const matrix_stack<double> alone{a.data.data() + i * m * n, m, n, 0};
                    const std::size_t mirrored = a.count - 1 - i;
                    for (const std::size_t count : {1UL, 3UL, 9UL}) {
                        const std::size_t from = std::min(mirrored, a.count - count);
                        const matrix_stack<double> among{shuffled.data.data() + from * m * n, m, n,
                                                         m * n};
                        const svd_results one = svd_of(1, alone);
                        const svd_results many = svd_of(count, among);
                        const std::size_t k = std::min(m, n);
                        const std::size_t place = mirrored - from;
                        EXPECT_TRUE(same_bits(one.u, rows_of(many.u, place, m, k).data)) << name;
                        EXPECT_TRUE(same_bits(one.vh, rows_of(many.vh, place, k, n).data)) << name;
                        EXPECT_TRUE(same_bits(one.values, rows_of(many.values, place, 1, k).data))
                            << name;
                        if (m != n)
                            continue;
                        EXPECT_TRUE(
                            same_bits(eigen_of(1, alone).vectors,
                                      rows_of(eigen_of(count, among).vectors, place, n, n).data))
                            << name;
                    }
                }
            }
    }
}

TEST(small_spectra, bits_are_the_same_on_all_paths)
{
    for (const auto& [m, n] :
         {std::pair(2UL, 2UL), {3UL, 3UL}, {4UL, 4UL}, {8UL, 8UL}, {16UL, 8UL}, {5UL, 12UL}})
        for (const auto& a : {random_stack<double>(37, m, n, 1),
                              times(random_stack<double>(37, m, n, 2), 0x1p90)}) {
            const auto on = [&](int path) {
                const path_limit limit(path);
                return all_results(a.count, a);
            };
            for (const int path : available_paths())
                EXPECT_TRUE(same_bits(on(path), on(numerical::detail::portable_path)))
                    << m << " x " << n << ", path " << path;
        }
}

TEST(small_spectra, bits_are_the_same_at_every_thread_count)
{
    for (const std::size_t n : {3, 8}) {
        const auto a = random_stack<double>(3000, n, n, 1);
        const auto on = [&](std::size_t threads) {
            const thread_limit limit(threads);
            return all_results(a.count, a);
        };
        const auto serial = on(1);
        for (const std::size_t threads : thread_counts)
            EXPECT_TRUE(same_bits(on(threads), serial)) << threads;
    }
}

TEST(small_eigh, reads_the_lower_triangle_alone)
{
    auto a = random_stack<double>(9, 4, 4, 1);
    const eigen_results clean = eigen_of(9, a);
    for (std::size_t i = 0; i < 9; ++i)
        for (std::size_t r = 0; r < 4; ++r)
            for (std::size_t c = r + 1; c < 4; ++c)
                a.at(i)[r * 4 + c] = std::numeric_limits<double>::quiet_NaN();
    const eigen_results dirty = eigen_of(9, a);
    EXPECT_TRUE(same_bits(clean.values, dirty.values));
    EXPECT_TRUE(same_bits(clean.vectors, dirty.vectors));
}

// What fails, where, and with which words.
template <class F>
std::string failure_of(const F& f)
{
    try {
        f();
    } catch (const numerical::stack_error& error) {
        try {
            std::rethrow_exception(error.cause());
        } catch (const numerical::non_finite_error& cause) {
            return std::string(cause.what()) + " at " + std::to_string(error.index());
        }
    }
    return "nothing";
}

TEST(small_spectra, the_first_matrix_that_is_not_finite_is_named)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        auto a = random_stack<double>(40, 3, 3, 1);
        a.at(29)[0] = std::numeric_limits<double>::infinity();
        a.at(13)[3] = std::numeric_limits<double>::quiet_NaN();
        const std::string end = ": the matrix holds an infinite or NaN entry at 13";
        EXPECT_EQ(failure_of([&] { eigen_of(40, a); }), "symmetric eigendecomposition" + end);
        EXPECT_EQ(failure_of([&] { svd_of(40, a); }), "SVD" + end);
        std::vector<double> inverses(360);
        EXPECT_EQ(failure_of([&] { stacks::small_pinv(40, a, inverses.data()); }), "pinv" + end);
    }
}

TEST(small_spectra, are_those_of_orders_2_to_8_and_length_16)
{
    EXPECT_FALSE(stacks::is_small(1));
    EXPECT_TRUE(stacks::is_small(2));
    EXPECT_TRUE(stacks::is_small(8));
    EXPECT_FALSE(stacks::is_small(9));
    EXPECT_TRUE(stacks::is_small(16, 8));
    EXPECT_TRUE(stacks::is_small(8, 16));
    EXPECT_FALSE(stacks::is_small(17, 8));
    EXPECT_FALSE(stacks::is_small(9, 9));
    EXPECT_FALSE(stacks::is_small(1, 3));
}

} // namespace
