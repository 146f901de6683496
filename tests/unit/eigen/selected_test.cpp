#include "numerical/eigen/selected.hpp"

#include "hermitian_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/eigen/inverse_iteration.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::eigen_method;
using numerical::eigen_selection;
using numerical::matrix;
using numerical::detail::divide_order;
using numerical::detail::index_range;
using numerical::detail::iterated_vectors;
using numerical::detail::least_iterated_order;
using complex = std::complex<double>;

constexpr double accepted = 30;
constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
class selected_eigenpairs_of : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(selected_eigenpairs_of, element_types);

template <class T>
numerical::aligned_vector<double> whole_values(const matrix<T>& a)
{
    using decomposition = std::conditional_t<std::is_same_v<T, double>, numerical::symmetric_eigen,
                                             numerical::hermitian_eigen>;
    return decomposition(a, eigen_method::divide_and_conquer, numerical::eigen_blocks::fastest)
        .values;
}

template <class T>
matrix<T> divided(matrix<T> a, double scale)
{
    for (T& x : a.data)
        x /= scale;
    return a;
}

// Of A divided by its largest entry: ‖AX - XW‖/(n·‖A‖·ε) and ‖XᴴX - I‖/(n·ε).
template <class T>
void check_ratios(const matrix<T>& given, const numerical::aligned_vector<double>& values,
                  const matrix<T>& x, const std::string& name)
{
    double scale = 0;
    for (const T& entry : given.data)
        scale = std::max(scale, std::abs(entry));
    scale = scale == 0 ? 1 : scale;
    const auto a = divided(given, scale);
    auto residual = test::reference_product(a, x);
    for (std::size_t i = 0; i < residual.data.size(); ++i)
        residual.data[i] -= x.data[i] * (values[i % x.cols] / scale);
    const double size = accepted * static_cast<double>(a.rows);
    const long double unit =
        test::norm_inf(a) * test::eps + std::numeric_limits<double>::denorm_min() / scale;
    EXPECT_LE(test::norm_inf(residual), size * unit) << name;
    EXPECT_LT(test::orthogonality_ratio(x), accepted) << name;
}

double largest_modulus(const numerical::aligned_vector<double>& values)
{
    return numerical::detail::largest_modulus(values.data(), values.size());
}

void expect_values(const numerical::aligned_vector<double>& values,
                   const numerical::aligned_vector<double>& expected, double tolerance,
                   const std::string& name)
{
    ASSERT_EQ(values.size(), expected.size()) << name;
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_NEAR(values[i], expected[i], tolerance) << name;
}

template <class T>
void check_places(const matrix<T>& a, index_range places,
                  const numerical::aligned_vector<double>& all, const std::string& name)
{
    const auto [values, vectors] =
        numerical::selected_eigenpairs(a, eigen_selection::by_place(places.first, places.last));
    const numerical::aligned_vector<double> expected(all.begin() + std::ptrdiff_t(places.first),
                                                     all.begin() + std::ptrdiff_t(places.last));
    if (places.count() > numerical::detail::most_iterated_vectors(a.rows)) {
        EXPECT_EQ(values, expected) << name; // by the same steps, and so bit by bit
    }
    expect_values(values, expected, 30 * double(a.rows) * test::eps * largest_modulus(all), name);
    ASSERT_EQ(vectors.rows, a.rows) << name;
    ASSERT_EQ(vectors.cols, places.count()) << name;
    check_ratios(a, values, vectors, name);
}

template <class T>
void check_families(std::size_t n)
{
    for (const auto& [family, a] : test::hermitian_families<T>(n)) {
        const auto all = whole_values(a);
        for (const index_range places :
             {index_range{0, 1}, index_range{n - 1, n}, index_range{n / 3, n - n / 3},
              index_range{0, n - n / 4}, index_range{n / 2, n / 2}})
            check_places(a, places, all,
                         family + ", n = " + std::to_string(n) + ", from " +
                             std::to_string(places.first) + " to " + std::to_string(places.last));
    }
}

TYPED_TEST(selected_eigenpairs_of, all_families_are_slices_of_the_whole)
{
    for (const std::size_t n :
         {std::size_t{1}, std::size_t{2}, std::size_t{3}, divide_order - 1, divide_order,
          divide_order + 1, least_iterated_order - 1, least_iterated_order, 2 * divide_order + 1})
        check_families<TypeParam>(n);
}

TYPED_TEST(selected_eigenpairs_of, large_clusters_are_orthogonal)
{
    constexpr std::size_t n = 260;
    for (const double glue : {0.0, 1e-14, 1e-9, 1e-5}) {
        const auto a = test::glued_wilkinson<TypeParam>(n, glue);
        for (const std::size_t count : {40, 24, 12, 3}) // by division and by iteration
            check_places(a, {n - count, n}, whole_values(a), "glue " + std::to_string(glue));
    }
    const auto equal = test::with_spectrum<TypeParam>(numerical::aligned_vector<double>(n, 2.0), 3);
    check_places(equal, {100, 126}, whole_values(equal), "all equal");
}

TYPED_TEST(selected_eigenpairs_of, families_are_slices_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        check_families<TypeParam>(2 * divide_order + 3);
    }
}

// Bounds that are eigenvalues: the lower one is excluded, the upper one included.
TYPED_TEST(selected_eigenpairs_of, an_interval_is_open_below_and_closed_above)
{
    for (const std::size_t n : {8, 64}) { // powers of two, by which division is exact
        numerical::aligned_vector<double> diagonal(n);
        for (std::size_t i = 0; i < n; ++i)
            diagonal[i] = double(n - i);
        const auto a =
            test::tridiagonal_matrix<TypeParam>(diagonal, numerical::aligned_vector<double>(n));
        const auto in = [&](double above, double upto) {
            const auto selection = eigen_selection::by_value(above, upto);
            const auto pairs = numerical::selected_eigenpairs(a, selection);
            EXPECT_EQ(pairs.vectors.cols, pairs.values.size());
            EXPECT_EQ(pairs.values, numerical::selected_eigenvalues(a, selection));
            return pairs.values;
        };
        EXPECT_EQ(in(2, 5), (numerical::aligned_vector<double>{3, 4, 5}));
        EXPECT_EQ(in(-infinity, 1), (numerical::aligned_vector<double>{1}));
        EXPECT_EQ(in(double(n) - 1, infinity), (numerical::aligned_vector<double>{double(n)}));
        EXPECT_EQ(in(2.25, 2.75), numerical::aligned_vector<double>());
        EXPECT_EQ(in(-infinity, infinity).size(), n);
    }
}

TYPED_TEST(selected_eigenpairs_of, values_alone_are_slices_of_the_eigenvalues)
{
    for (const std::size_t n : {1, 7, 130}) {
        const auto a = test::random_hermitian<TypeParam>(n, 5);
        const auto all = numerical::eigenvalues(a);
        const auto some =
            numerical::selected_eigenvalues(a, eigen_selection::by_place(n / 2, n / 2 + 1));
        EXPECT_EQ(some, (numerical::aligned_vector<double>{all[n / 2]}));
    }
}

TYPED_TEST(selected_eigenpairs_of, nothing_is_nothing)
{
    const auto pairs = numerical::selected_eigenpairs(matrix<TypeParam>(0, 0, {}),
                                                      eigen_selection::by_value(0, 1));
    EXPECT_TRUE(pairs.values.empty());
    EXPECT_EQ(pairs.vectors.rows, 0U);
}

// What divide and conquer gets to do: a value that is none, and entries beyond all range.
TEST(selected_eigenpairs, iteration_refuses_what_does_not_pass)
{
    numerical::aligned_vector<double> d(80);
    for (std::size_t i = 0; i < d.size(); ++i)
        d[i] = double(i);
    const numerical::aligned_vector<double> e(80, 0.125);
    EXPECT_FALSE(iterated_vectors(d, e, numerical::aligned_vector<double>{0.4}).has_value());
    d[7] = infinity;
    EXPECT_FALSE(iterated_vectors(d, e, numerical::aligned_vector<double>{3.0}).has_value());
    // No third vector is orthogonal to two of one double value.
    numerical::aligned_vector<double> apart(80);
    for (std::size_t i = 0; i < apart.size(); ++i)
        apart[i] = double(i / 2);
    const numerical::aligned_vector<double> none(80);
    EXPECT_TRUE(
        iterated_vectors(apart, none, numerical::aligned_vector<double>{5.0, 5.0}).has_value());
    EXPECT_FALSE(iterated_vectors(apart, none, numerical::aligned_vector<double>{5.0, 5.0, 5.0})
                     .has_value());
}

// Of -1, 2, -1, whose values and vectors are known: z_i is sin(i·j·π/(n + 1)).
TEST(selected_eigenpairs, iterated_vectors_are_those_of_the_second_difference_on_all_threads)
{
    constexpr std::size_t n = 700;
    constexpr double pi = 3.14159265358979323846;
    constexpr std::size_t together = numerical::detail::vectors_together;
    const numerical::aligned_vector<double> d(n, 2.0);
    numerical::aligned_vector<double> e(n, -1.0);
    e.back() = 0;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t count :
             {std::size_t{1}, together - 1, together, together + 1, 2 * together + 1}) {
            numerical::aligned_vector<double> values(count);
            for (std::size_t j = 0; j < count; ++j)
                values[j] = 2 - 2 * std::cos(double(j + 1) * pi / (n + 1));
            std::optional<numerical::aligned_vector<double>> on_one;
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                const auto rows = iterated_vectors(d, e, values);
                ASSERT_TRUE(rows.has_value()) << count << ", path " << path;
                if (!on_one)
                    on_one = rows;
                EXPECT_EQ(*rows, *on_one) << count << ", path " << path << ", " << threads;
            }
            for (std::size_t j = 0; j < count; ++j) {
                double product = 0;
                for (std::size_t i = 0; i < n; ++i)
                    product += (*on_one)[j * n + i] *
                               std::sin(double(i + 1) * double(j + 1) * pi / (n + 1));
                EXPECT_NEAR(std::abs(product) * std::sqrt(2.0 / (n + 1)), 1, 1e-12) << j;
            }
        }
    }
}

TEST(selected_eigenpairs, keep_the_words_of_the_whole_problem)
{
    const auto find = [](const auto& a) {
        return [&] { numerical::selected_eigenpairs(a, eigen_selection::by_place(0, 1)); };
    };
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(
                  find(test::random_matrix<double>(3, 4, 1))),
              "symmetric eigendecomposition requires a square matrix");
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(
                  find(test::random_matrix<complex>(3, 4, 1))),
              "Hermitian eigendecomposition requires a square matrix");
    auto spoiled = test::random_hermitian<double>(3, 1);
    spoiled.data[6] = infinity;
    EXPECT_EQ(test::text_thrown_by<numerical::non_finite_error>(find(spoiled)),
              "symmetric eigendecomposition: the matrix holds an infinite or NaN entry");
}

} // namespace
