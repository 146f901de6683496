#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/strided/transpose.hpp"

#include "ratios.hpp"
#include "sample.hpp"
#include "stack_cases.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;

constexpr double greatest_ratio = 10;

template <class T>
struct named_stack
{
    std::string name;
    dense_stack<T> a;
};

template <class T>
dense_stack<T> times(dense_stack<T> a, double factor)
{
    for (T& x : a.data)
        x *= factor;
    return a;
}

template <class T, class F>
dense_stack<T> filled(std::size_t count, std::size_t rows, std::size_t cols, const F& fill)
{
    dense_stack<T> a{count, rows, cols, {}};
    for (std::size_t i = 0; i < count; ++i) {
        const matrix<T> one = fill(unsigned(i));
        a.data.insert(a.data.end(), one.data.begin(), one.data.end());
    }
    return a;
}

// Random diagonal entries, `spread` apart; zero elsewhere.
template <class T>
dense_stack<T> diagonal(std::size_t count, std::size_t rows, std::size_t cols, double spread)
{
    dense_stack<T> a{count, rows, cols, numerical::aligned_vector<T>(count * rows * cols)};
    const auto entries = random_vector<double>(count * rows, 3);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < std::min(rows, cols); ++j)
            a.at(i)[j * (cols + 1)] = 1 + spread * entries[i * rows + j];
    return a;
}

// Sums in wider precision.
template <class T>
matrix<T> product(const matrix<T>& a, const matrix<T>& b)
{
    const auto sums = wide_product(a, std::vector<wide<T>>(b.data.begin(), b.data.end()));
    return {a.rows, b.cols, numerical::aligned_vector<T>(sums.begin(), sums.end())};
}

// H·D·H with a reflection H, whose values are those of the diagonal: repeated or clustered.
template <class T>
dense_stack<T> reflected(std::size_t count, std::size_t n, double spread)
{
    auto a = diagonal<T>(count, n, n, spread);
    for (std::size_t m = 0; m < count; ++m) {
        const auto w = random_vector<T>(n, unsigned(m));
        double square = 0;
        for (const T& x : w)
            square += std::norm(x);
        numerical::aligned_vector<T> h(n * n);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                h[i * n + j] = T(i == j) - 2.0 * w[i] * numerical::detail::conjugate(w[j]) / square;
        const matrix<T> reflection(n, n, h);
        const matrix<T> whole(n, n, {a.at(m), a.at(m) + n * n});
        const auto whole_again = product(reflection, product(whole, reflection));
        std::copy(whole_again.data.begin(), whole_again.data.end(), a.at(m));
    }
    return a;
}

template <class T>
std::vector<named_stack<T>> cases(std::size_t rows, std::size_t cols)
{
    constexpr std::size_t count = 21;
    const auto random = random_stack<T>(count, rows, cols, unsigned(rows + 17 * cols));
    const auto integers = [&](int limit) {
        return dense_stack<T>{count, rows, cols, integer_vector<T>(count * rows * cols, 5, limit)};
    };
    auto bits = integers(8);
    for (T& x : bits.data)
        x = numerical::detail::real_part(x) > 0 ? 1 : 0;
    std::vector<named_stack<T>> all{
        {"random", random},
        {"integer", integers(3)},
        {"0/1", bits},
        {"zero", times(random, 0)},
        {"diagonal", diagonal<T>(count, rows, cols, 1)},
        {"graded", filled<T>(count, rows, cols,
                             [&](unsigned seed) { return graded_matrix<T>(rows, cols, 8, seed); })},
        {"low rank", filled<T>(count, rows, cols, [&](unsigned seed) {
             return low_rank_matrix<T>(rows, cols, (std::min(rows, cols) + 1) / 2, seed);
         })}};
    if (rows == cols)
        for (const double spread : {0.0, 1e-14, 1e-7})
            all.push_back({"clustered", reflected<T>(count, rows, spread)});
    for (const double factor : {0x1p-1000, 0x1p-199, 0x1p-99, 0x1p99, 0x1p199, 0x1p1000})
        all.push_back({"scaled", times(random, factor)});
    auto mixed = random;
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t e = 0; e < rows * cols; ++e)
            mixed.at(i)[e] *= i % 3 == 0 ? 0x1p-600 : i % 3 == 1 ? 1 : 0x1p600;
    all.push_back({"mixed", mixed});
    return sampled(std::move(all), rows + cols);
}

template <class T>
matrix<T> rows_of(const numerical::aligned_vector<T>& from, std::size_t i, std::size_t rows,
                  std::size_t cols)
{
    const T* const first = from.data() + i * rows * cols;
    return {rows, cols, {first, first + rows * cols}};
}

// A·diag(values).
template <class T>
matrix<T> scaled_columns(matrix<T> a, const double* values)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            a.data[i * a.cols + j] *= values[j];
    return a;
}

// To about one from wherever it lies, by a power of two.
template <class T>
double unit_of(const matrix<T>& a)
{
    double largest = 0;
    for (const double x : bits_of(a.data))
        largest = std::max(largest, std::abs(x));
    return largest == 0 ? 1 : std::ldexp(1.0, -std::ilogb(largest));
}

template <class T>
matrix<T> hermitian(matrix<T> lower)
{
    for (std::size_t i = 0; i < lower.rows; ++i) {
        for (std::size_t j = 0; j < i; ++j)
            lower.data[j * lower.cols + i] =
                numerical::detail::conjugate(lower.data[i * lower.cols + j]);
        lower.data[i * lower.cols + i] =
            numerical::detail::real_part(lower.data[i * lower.cols + i]);
    }
    return lower;
}

template <class T>
struct eigen_results
{
    numerical::aligned_vector<double> values;
    numerical::aligned_vector<T> vectors;
};

template <class T>
eigen_results<T> eigen_of(std::size_t count, const matrix_stack<T>& a)
{
    eigen_results<T> of{numerical::aligned_vector<double>(count * a.rows),
                        numerical::aligned_vector<T>(count * a.rows * a.rows)};
    stacks::small_eigh(count, a, of.values.data(), of.vectors.data());
    return of;
}

template <class T>
eigen_results<T> eigen_of(const dense_stack<T>& a)
{
    return eigen_of<T>(a.count, a);
}

template <class T>
struct svd_results
{
    numerical::aligned_vector<T> u;
    numerical::aligned_vector<double> values;
    numerical::aligned_vector<T> vh;
};

template <class T>
svd_results<T> svd_of(std::size_t count, const matrix_stack<T>& a)
{
    const std::size_t k = std::min(a.rows, a.cols);
    svd_results<T> of{numerical::aligned_vector<T>(count * a.rows * k),
                      numerical::aligned_vector<double>(count * k),
                      numerical::aligned_vector<T>(count * k * a.cols)};
    stacks::small_svd(count, a, of.u.data(), of.values.data(), of.vh.data());
    return of;
}

template <class T>
svd_results<T> svd_of(const dense_stack<T>& a)
{
    return svd_of<T>(a.count, a);
}

// Everything at once, for comparisons of bits.
template <class T>
numerical::aligned_vector<double> all_results(const dense_stack<T>& a)
{
    numerical::aligned_vector<double> all;
    if (a.rows == a.cols) {
        const eigen_results<T> eigen = eigen_of(a);
        numerical::aligned_vector<double> values(a.count * a.rows);
        stacks::small_eigenvalues<T>(a.count, a, values.data());
        append_bits(all, eigen.values);
        append_bits(all, eigen.vectors);
        append_bits(all, values);
    }
    const svd_results<T> svd = svd_of(a);
    numerical::aligned_vector<double> values(svd.values.size());
    numerical::aligned_vector<T> inverses(a.data.size());
    stacks::small_singular_values<T>(a.count, a, values.data());
    stacks::small_pinv<T>(a.count, a, inverses.data());
    append_bits(all, svd.u);
    append_bits(all, svd.values);
    append_bits(all, svd.vh);
    append_bits(all, values);
    append_bits(all, inverses);
    return all;
}

template <class T>
class small_spectra : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(small_spectra, element_types);

TYPED_TEST(small_spectra, decompose_every_kind_of_hermitian_matrix_on_every_path)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t n = stacks::least_small_order; n <= stacks::greatest_small_order; ++n)
            for (const auto& [name, a] : cases<TypeParam>(n, n)) {
                const eigen_results<TypeParam> of = eigen_of(a);
                for (std::size_t i = 0; i < a.count; ++i) {
                    SCOPED_TRACE(name + ", order " + std::to_string(n) + ", place " +
                                 std::to_string(i) + ", path " + std::to_string(path));
                    const matrix<TypeParam> whole = hermitian(rows_of(a.data, i, n, n));
                    const double unit = unit_of(whole);
                    numerical::aligned_vector<double> values(of.values.begin() + long(i * n),
                                                             of.values.begin() + long(i * n + n));
                    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
                    for (double& value : values)
                        value *= unit;
                    const matrix<TypeParam> vectors = rows_of(of.vectors, i, n, n);
                    EXPECT_LT(orthogonality_ratio(vectors), greatest_ratio);
                    EXPECT_LT(difference_ratio(scaled(whole, unit),
                                               product(scaled_columns(vectors, values.data()),
                                                       numerical::detail::adjoint(vectors))),
                              greatest_ratio);
                }
            }
    }
}

TYPED_TEST(small_spectra, decompose_every_kind_of_matrix_on_every_path)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t m = 1; m <= stacks::greatest_small_length; ++m)
            for (std::size_t n = 1; n <= stacks::greatest_small_length; ++n) {
                if (!stacks::is_small(m, n))
                    continue;
                const std::size_t k = std::min(m, n);
                for (const auto& [name, a] : cases<TypeParam>(m, n)) {
                    const svd_results<TypeParam> of = svd_of(a);
                    for (std::size_t i = 0; i < a.count; ++i) {
                        SCOPED_TRACE(name + ", " + std::to_string(m) + " x " + std::to_string(n) +
                                     ", place " + std::to_string(i) + ", path " +
                                     std::to_string(path));
                        const matrix<TypeParam> whole = rows_of(a.data, i, m, n);
                        const double unit = unit_of(whole);
                        numerical::aligned_vector<double> values(
                            of.values.begin() + long(i * k), of.values.begin() + long(i * k + k));
                        EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
                        EXPECT_GE(values.back(), 0);
                        for (double& value : values)
                            value *= unit;
                        const matrix<TypeParam> u = rows_of(of.u, i, m, k);
                        const matrix<TypeParam> vh = rows_of(of.vh, i, k, n);
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

long double product_of(const numerical::aligned_vector<double>& values)
{
    long double all = 1;
    for (const double value : values)
        all *= value;
    return all;
}

long double determinant(const numerical::aligned_vector<double>& a)
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
TEST(real_small_spectra, small_values_of_graded_matrices_have_all_digits)
{
    const numerical::aligned_vector<double> grade{1, 0x1p-30, 0x1p-60};
    const numerical::aligned_vector<double> regular{3, 1, 1, -1, 3, 1, 1, -1, 2};
    const numerical::aligned_vector<double> definite{3, 1, 1, 1, 3, -1, 1, -1, 3};
    numerical::aligned_vector<double> columns = regular;
    numerical::aligned_vector<double> both = definite;
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            columns[3 * i + j] *= grade[j];
            both[3 * i + j] *= grade[i] * grade[j];
        }
    const auto of_columns = product_of(svd_of<double>(1, {columns.data(), 3, 3, 9}).values);
    const auto of_both = product_of(eigen_of<double>(1, {both.data(), 3, 3, 9}).values);
    EXPECT_NEAR(double(of_columns / (determinant(regular) * 0x1p-90L)), 1, 20 * eps);
    EXPECT_NEAR(double(of_both / (determinant(definite) * 0x1p-180L)), 1, 20 * eps);
}

TYPED_TEST(small_spectra, invert_regular_matrices_and_drop_what_rounding_left)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] : {std::pair(3UL, 3UL), {7UL, 4UL}, {4UL, 7UL}, {16UL, 8UL}}) {
            const std::size_t rank = std::min(m, n) - 1;
            for (const auto& a : {random_stack<TypeParam>(9, m, n, 1),
                                  filled<TypeParam>(9, m, n, [&, r = m, c = n](unsigned seed) {
                                      return low_rank_matrix<TypeParam>(r, c, rank, seed);
                                  })}) {
                numerical::aligned_vector<TypeParam> inverses(a.data.size());
                stacks::small_pinv<TypeParam>(9, a, inverses.data());
                for (std::size_t i = 0; i < 9; ++i) {
                    const matrix<TypeParam> one = rows_of(a.data, i, m, n);
                    const matrix<TypeParam> inverse = rows_of(inverses, i, n, m);
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

TYPED_TEST(small_spectra, values_alone_have_the_bits_of_those_with_vectors)
{
    for (const std::size_t n : {2, 3, 4, 5, 8})
        for (const auto& [name, a] : cases<TypeParam>(n, n)) {
            if (name == "zero" || name == "low rank" || name == "mixed" || name == "scaled")
                continue; // not by these methods
            numerical::aligned_vector<double> values(a.count * n);
            stacks::small_eigenvalues<TypeParam>(a.count, a, values.data());
            EXPECT_TRUE(same_bits(values, eigen_of(a).values)) << name << n;
        }
}

TYPED_TEST(small_spectra, bits_depend_neither_on_neighbours_nor_on_place_or_count)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] :
             {std::pair(2UL, 2UL), {3UL, 3UL}, {4UL, 4UL}, {8UL, 8UL}, {9UL, 5UL}, {3UL, 16UL}})
            for (const auto& [name, a] : cases<TypeParam>(m, n)) {
                dense_stack<TypeParam> shuffled = a; // backwards, among others of every kind
                for (std::size_t i = 0; i < a.count; ++i)
                    std::copy_n(a.data.data() + i * m * n, m * n, shuffled.at(a.count - 1 - i));
                for (std::size_t i = 0; i < a.count; ++i) {
                    const matrix_stack<TypeParam> alone{a.data.data() + i * m * n, m, n, 0};
                    const std::size_t mirrored = a.count - 1 - i;
                    for (const std::size_t count : {1UL, 3UL, 9UL}) {
                        const std::size_t from = std::min(mirrored, a.count - count);
                        const matrix_stack<TypeParam> among{shuffled.data.data() + from * m * n, m,
                                                            n, m * n};
                        const auto one = svd_of(1, alone);
                        const auto many = svd_of(count, among);
                        const std::size_t k = std::min(m, n);
                        const std::size_t place = mirrored - from;
                        EXPECT_TRUE(
                            same_bits(bits_of(one.u), bits_of(rows_of(many.u, place, m, k).data)))
                            << name;
                        EXPECT_TRUE(
                            same_bits(bits_of(one.vh), bits_of(rows_of(many.vh, place, k, n).data)))
                            << name;
                        EXPECT_TRUE(same_bits(one.values, rows_of(many.values, place, 1, k).data))
                            << name;
                        if (m != n)
                            continue;
                        EXPECT_TRUE(same_bits(
                            bits_of(eigen_of(1, alone).vectors),
                            bits_of(rows_of(eigen_of(count, among).vectors, place, n, n).data)))
                            << name;
                    }
                }
            }
    }
}

TYPED_TEST(small_spectra, bits_are_the_same_on_all_paths)
{
    for (const auto& [m, n] :
         {std::pair(2UL, 2UL), {3UL, 3UL}, {4UL, 4UL}, {8UL, 8UL}, {16UL, 8UL}, {5UL, 12UL}})
        for (const auto& a : {random_stack<TypeParam>(37, m, n, 1),
                              times(random_stack<TypeParam>(37, m, n, 2), 0x1p90)}) {
            const auto on = [&](int path) {
                const path_limit limit(path);
                return all_results(a);
            };
            for (const int path : available_paths())
                EXPECT_TRUE(same_bits(on(path), on(numerical::detail::portable_path)))
                    << m << " x " << n << ", path " << path;
        }
}

TYPED_TEST(small_spectra, bits_are_the_same_at_every_thread_count)
{
    for (const std::size_t n : {3, 8}) {
        const auto a = random_stack<TypeParam>(3000, n, n, 1);
        const auto on = [&](std::size_t threads) {
            const thread_limit limit(threads);
            return all_results(a);
        };
        const auto serial = on(1);
        for (const std::size_t threads : thread_counts)
            EXPECT_TRUE(same_bits(on(threads), serial)) << threads;
    }
}

TYPED_TEST(small_spectra, of_hermitian_matrices_read_the_lower_triangle_alone)
{
    auto a = random_stack<TypeParam>(9, 4, 4, 1);
    const auto clean = eigen_of(a);
    for (std::size_t i = 0; i < 9; ++i)
        for (std::size_t r = 0; r < 4; ++r)
            for (std::size_t c = r + 1; c < 4; ++c)
                a.at(i)[r * 4 + c] = std::numeric_limits<double>::quiet_NaN();
    const auto dirty = eigen_of(a);
    EXPECT_TRUE(same_bits(clean.values, dirty.values));
    EXPECT_TRUE(same_bits(bits_of(clean.vectors), bits_of(dirty.vectors)));
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

TYPED_TEST(small_spectra, name_the_first_matrix_that_is_not_finite)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        auto a = random_stack<TypeParam>(40, 3, 3, 1);
        a.at(29)[0] = std::numeric_limits<double>::infinity();
        a.at(13)[3] = std::numeric_limits<double>::quiet_NaN();
        const std::string kind = std::is_same_v<TypeParam, double> ? "symmetric" : "Hermitian";
        const std::string end = ": the matrix holds an infinite or NaN entry at 13";
        EXPECT_EQ(failure_of([&] { eigen_of(a); }), kind + " eigendecomposition" + end);
        EXPECT_EQ(failure_of([&] { svd_of(a); }), "SVD" + end);
        numerical::aligned_vector<TypeParam> inverses(360);
        EXPECT_EQ(failure_of([&] { stacks::small_pinv<TypeParam>(40, a, inverses.data()); }),
                  "pinv" + end);
    }
}

TYPED_TEST(small_spectra, count_the_values_above_the_threshold)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] : {std::pair(2UL, 2UL), {5UL, 4UL}, {3UL, 12UL}, {8UL, 8UL}})
            for (const auto& [name, a] : cases<TypeParam>(m, n)) {
                std::vector<std::size_t> ranks(a.count);
                stacks::small_matrix_rank<TypeParam>(a.count, a, ranks.data());
                for (std::size_t i = 0; i < a.count; ++i)
                    EXPECT_EQ(ranks[i], numerical::matrix_rank(rows_of(a.data, i, m, n)))
                        << name << ", " << m << " x " << n << ", place " << i;
            }
    }
}

TEST(hermitian_small_spectra, are_free_of_imaginary_parts_on_the_diagonal)
{
    auto a = random_stack<complex>(9, 5, 5, 3);
    const auto with = eigen_of(a);
    for (std::size_t i = 0; i < 9; ++i)
        for (std::size_t j = 0; j < 5; ++j)
            a.at(i)[6 * j] = a.at(i)[6 * j].real();
    const auto without = eigen_of(a);
    EXPECT_TRUE(same_bits(with.values, without.values));
    EXPECT_TRUE(same_bits(bits_of(with.vectors), bits_of(without.vectors)));
}

TEST(sizes_of_small_spectra, are_those_of_orders_2_to_8_and_length_16)
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
