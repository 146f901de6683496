#include "general_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/nonsymmetric/balance.hpp"
#include "numerical/nonsymmetric/multishift_qr.hpp"
#include "numerical/nonsymmetric/triangular_vectors.hpp"
#include "numerical/strided/transpose.hpp"
#include "paths.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>
#include <limits>

namespace {

using numerical::eigenvector_sides;
using test::complex;
using test::matrix;

constexpr double accepted = 20;

template <class T>
class eigenpairs : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(eigenpairs, element_types);

bool are_real(const numerical::aligned_vector<complex>& values)
{
    return std::all_of(values.begin(), values.end(),
                       [](const complex& z) { return z.imag() == 0; });
}

// The element of largest modulus of a complex vector is real.
bool is_turned(const matrix<complex>& v, std::size_t k)
{
    const std::size_t n = v.rows;
    std::size_t real = n;
    double largest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const complex z = v.data[i * n + k];
        largest = std::max(largest, std::abs(z));
        if (z.imag() == 0 && (real == n || std::abs(z) > std::abs(v.data[real * n + k])))
            real = i;
    }
    return real < n && std::abs(v.data[real * n + k]) >= (1 - 1e-12) * largest;
}

// The same eigenpairs in the coordinates of the balanced matrix.
template <class T>
double balanced_ratio(const matrix<T>& a, const numerical::general_eigenpairs& e)
{
    const std::size_t n = a.rows;
    matrix<T> balanced = a;
    const auto b = numerical::detail::balance_matrix(
        balanced, numerical::detail::balancing::permute_and_scale);
    matrix<complex> v = e.right;
    for (std::size_t k = 0; k < n; ++k) {
        double square = 0;
        for (std::size_t i = 0; i < n; ++i) {
            const double scale = b.scale.empty() ? 1.0 : b.scale[i];
            v.data[i * n + k] = e.right.data[b.order[i] * n + k] / scale;
            square += std::norm(v.data[i * n + k]);
        }
        for (std::size_t i = 0; i < n; ++i)
            v.data[i * n + k] /= std::sqrt(square);
    }
    return test::eigenpair_ratio(test::as_complex(balanced), e.values, v);
}

// In the balanced coordinates they are always backward stable; in those of the matrix they need not
// be if the scaling is strong, as for a Forsythe matrix, whose corner of 1e-10 it raises (Watkins
// 2006 shows such cases).
template <class T>
void expect_eigenpairs(const matrix<T>& a, const numerical::general_eigenpairs& e,
                       const std::string& where)
{
    const matrix<complex> wide = test::as_complex(a);
    EXPECT_LT(balanced_ratio(a, e), accepted) << where;
    if (where.find("Forsythe") == std::string::npos) {
        const matrix<complex> adjoint = numerical::detail::adjoint(wide);
        EXPECT_LT(test::eigenpair_ratio(wide, e.values, e.right), accepted) << where;
        EXPECT_LT(test::eigenpair_ratio(adjoint, test::conjugates(e.values), e.left), accepted)
            << where;
    }
    EXPECT_LT(test::length_ratio(e.right), accepted) << where;
    EXPECT_LT(test::length_ratio(e.left), accepted) << where;
    EXPECT_EQ(e.real, (std::is_same_v<T, double> && are_real(e.values))) << where;
    for (std::size_t k = 0; k < a.rows; ++k)
        if (!std::is_same_v<T, double> || e.values[k].imag() != 0) {
            EXPECT_TRUE(is_turned(e.right, k)) << where << ", vector " << k;
            EXPECT_TRUE(is_turned(e.left, k)) << where << ", left vector " << k;
        }
}

template <class T>
void expect_gallery(std::size_t n)
{
    for (const auto& [name, a] : test::gallery<T>(n))
        expect_eigenpairs(a, numerical::general_eigen(a, eigenvector_sides::both),
                          name + ", n = " + std::to_string(n) + ", path " +
                              std::to_string(numerical::detail::gemm_path_current()));
}

TYPED_TEST(eigenpairs, of_hard_matrices_are_backward_stable_on_every_path)
{
    using namespace numerical::detail;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n :
             {1UL, 2UL, 3UL, 4UL, 5UL, 8UL, vector_rows - 1, vector_rows, vector_rows + 1})
            expect_gallery<TypeParam>(n);
    }
}

TYPED_TEST(eigenpairs, of_larger_hard_matrices_are_backward_stable)
{
    using namespace numerical::detail;
    for (const std::size_t n : {vector_columns - 1, vector_columns, vector_columns + 1,
                                multishift_crossover - 1, multishift_crossover, 130UL})
        expect_gallery<TypeParam>(n);
}

TYPED_TEST(eigenpairs, have_one_side_or_both)
{
    const auto a = test::random_matrix<TypeParam>(12, 12, 2);
    const auto both = numerical::general_eigen(a, eigenvector_sides::both);
    const auto right = numerical::general_eigen(a, eigenvector_sides::right);
    const auto left = numerical::general_eigen(a, eigenvector_sides::left);
    EXPECT_EQ(right.right.data, both.right.data);
    EXPECT_EQ(left.left.data, both.left.data);
    EXPECT_EQ(right.left.rows, 0U);
    EXPECT_EQ(left.right.rows, 0U);
}

TEST(eigenpairs, of_a_real_matrix_come_in_conjugate_pairs)
{
    const auto a = test::random_matrix<double>(51, 51, 3);
    const auto e = numerical::general_eigen(a, eigenvector_sides::both);
    std::size_t pairs = 0;
    for (std::size_t k = 0; k < 51; ++k) {
        if (e.values[k].imag() == 0)
            continue;
        EXPECT_GT(e.values[k].imag(), 0);
        ASSERT_EQ(e.values[k + 1], std::conj(e.values[k]));
        for (std::size_t i = 0; i < 51; ++i) {
            EXPECT_EQ(e.right.data[i * 51 + k + 1], std::conj(e.right.data[i * 51 + k]));
            EXPECT_EQ(e.left.data[i * 51 + k + 1], std::conj(e.left.data[i * 51 + k]));
        }
        ++pairs;
        ++k;
    }
    EXPECT_GT(pairs, 0U);
}

// Eigenvalues by mpmath with 60 digits, of integer matrices of each kind.
struct known_spectrum
{
    std::string name;
    matrix<complex> a;
    numerical::aligned_vector<complex> values;
};

std::vector<known_spectrum> known_spectra()
{
    const auto residue = [](std::size_t i, std::size_t j) {
        return double((7 * i * i + 3 * j * j + 5 * i * j + 11 * i + 2 * j) % 13) - 6;
    };
    const auto other = [](std::size_t i, std::size_t j) {
        return double((5 * i * i + 4 * j * j + 3 * i * j + i + 9 * j) % 11) - 5;
    };
    return {
        {"Frank",
         test::frank<complex>(8),
         {0.0522876261215396472, 0.1025496153285331275, 0.22453441998550185197,
          0.58698447618254432841, 1.7036225668240898464, 4.4536601562672209643,
          9.751377387388041286, 19.124983751902528948}},
        {"Grcar",
         test::grcar<complex>(8),
         {{0.25468288373570102729, -2.0669945603770027505},
          {0.25468288373570102729, 2.0669945603770027505},
          {0.77287339449156463632, -1.5520438054452886884},
          {0.77287339449156463632, 1.5520438054452886884},
          {1.4713207856435415843, -1.0791119026219294681},
          {1.4713207856435415843, 1.0791119026219294681},
          {1.5011229361291927521, -0.48431662555725945854},
          {1.5011229361291927521, 0.48431662555725945854}}},
        {"companion", test::companion<complex>(8), {1, 2, 3, 4, 5, 6, 7, 8}},
        {"real integers",
         test::filled<complex>(6, residue),
         {{-6.9694592018530169174, 0},
          {-2.283209661874581779, -7.1547188546940025062},
          {-2.283209661874581779, 7.1547188546940025062},
          {-0.019772240277296897021, -6.7084747190475929749},
          {-0.019772240277296897021, 6.7084747190475929749},
          {7.5754230061567742694, 0}}},
        {"complex integers",
         test::filled<complex>(5,
                               [&](auto i, auto j) { return complex(residue(i, j), other(i, j)); }),
         {{-6.4129901179237762524, -5.4440307367572499467},
          {-5.555088558910829404, 8.6171090472420566147},
          {-5.4795174330305697604, -11.393224969939272243},
          {-0.78325825484541829059, -3.2296028730221450798},
          {9.2308543647105937074, -4.5502504675233893451}}},
    };
}

// A perturbation of size ε·‖A‖ moves a simple eigenvalue by ε·‖A‖/|uᴴv|.
template <class T>
void expect_known_values(const matrix<T>& a, const known_spectrum& known)
{
    const std::size_t n = a.rows;
    const auto e = numerical::general_eigen(a, eigenvector_sides::both);
    const auto alone = numerical::general_eigenvalues(a);
    const auto norm = double(test::norm_inf(a));
    for (const complex& exact : known.values) {
        const auto distance = [&](const complex& x, const complex& y) {
            return std::abs(x - exact) < std::abs(y - exact);
        };
        const auto nearest = std::min_element(e.values.begin(), e.values.end(), distance);
        const auto k = std::size_t(nearest - e.values.begin());
        complex product = 0;
        for (std::size_t i = 0; i < n; ++i)
            product += std::conj(e.left.data[i * n + k]) * e.right.data[i * n + k];
        const double bound = double(n) * test::eps * norm / std::abs(product);
        EXPECT_LT(std::abs(*nearest - exact), bound) << known.name;
        EXPECT_LT(std::abs(*std::min_element(alone.begin(), alone.end(), distance) - exact), bound)
            << known.name;
    }
}

TEST(eigenpairs, have_the_values_of_sixty_digits)
{
    for (const auto& known : known_spectra()) {
        const std::size_t n = known.a.rows;
        expect_known_values(known.a, known);
        if (std::all_of(known.a.data.begin(), known.a.data.end(),
                        [](const complex& z) { return z.imag() == 0; }))
            expect_known_values(
                test::filled<double>(
                    n, [&](auto i, auto j) { return known.a.data[i * n + j].real(); }),
                known);
    }
}

TYPED_TEST(eigenpairs, values_alone_agree_with_those_of_the_pairs)
{
    using numerical::detail::multishift_crossover;
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t n : {1UL, 2UL, 3UL, 10UL, 33UL, multishift_crossover - 1,
                                    multishift_crossover, multishift_crossover + 1, 200UL}) {
            const auto a = test::random_matrix<TypeParam>(n, n, 5);
            auto alone = numerical::general_eigenvalues(a);
            const auto pairs = numerical::general_eigen(a, eigenvector_sides::right).values;
            ASSERT_EQ(alone.size(), n);
            for (const complex& value : pairs) { // each has a partner of its own
                const auto nearest = std::min_element(
                    alone.begin(), alone.end(), [&](const complex& x, const complex& y) {
                        return std::abs(x - value) < std::abs(y - value);
                    });
                EXPECT_LT(std::abs(*nearest - value), 1e-10) << n;
                alone.erase(nearest);
            }
        }
    }
}

TYPED_TEST(eigenpairs, of_a_triangular_matrix_are_its_diagonal_to_the_bit)
{
    const std::size_t n = 40;
    const auto random = test::random_matrix<TypeParam>(n, n, 6);
    const auto a = test::filled<TypeParam>(
        n, [&](auto i, auto j) { return i <= j ? random.data[i * n + j] : TypeParam(0); });
    const auto values = numerical::general_eigenvalues(a);
    for (std::size_t k = 0; k < n; ++k)
        EXPECT_NE(std::find(values.begin(), values.end(), complex(a.data[k * n + k])),
                  values.end());
}

TYPED_TEST(eigenpairs, scale_with_the_matrix)
{
    const auto a = test::random_matrix<TypeParam>(20, 20, 7);
    const auto values = numerical::general_eigenvalues(a);
    for (const int exponent : {1000, -1000}) {
        const auto large = numerical::general_eigenvalues(test::scaled(a, std::ldexp(1, exponent)));
        for (std::size_t k = 0; k < 20; ++k)
            EXPECT_LT(std::abs(numerical::detail::scaled_by_power(large[k], -exponent) - values[k]),
                      1e-12);
    }
}

TYPED_TEST(eigenpairs, of_an_empty_matrix_are_none)
{
    EXPECT_TRUE(numerical::general_eigenvalues(matrix<TypeParam>(0, 0, {})).empty());
    const auto e = numerical::general_eigen(matrix<TypeParam>(0, 0, {}), eigenvector_sides::both);
    EXPECT_TRUE(e.values.empty());
    EXPECT_EQ(e.right.rows, 0U);
}

TYPED_TEST(eigenpairs, of_what_is_not_square_or_not_finite_are_refused)
{
    using test::text_thrown_by;
    const auto tall = test::random_matrix<TypeParam>(3, 2, 1);
    EXPECT_EQ(
        text_thrown_by<numerical::dimension_error>([&] { numerical::general_eigenvalues(tall); }),
        "eigenvalues requires a square matrix");
    EXPECT_EQ(text_thrown_by<numerical::dimension_error>(
                  [&] { numerical::general_eigen(tall, eigenvector_sides::right); }),
              "eigendecomposition requires a square matrix");
    auto a = test::random_matrix<TypeParam>(2, 2, 1);
    a.data[2] = std::numeric_limits<double>::infinity();
    EXPECT_EQ(
        text_thrown_by<numerical::non_finite_error>([&] { numerical::general_eigenvalues(a); }),
        "eigenvalues: the matrix holds an infinite or NaN entry");
    EXPECT_EQ(text_thrown_by<numerical::non_finite_error>(
                  [&] { numerical::general_eigen(a, eigenvector_sides::left); }),
              "eigendecomposition: the matrix holds an infinite or NaN entry");
}

TYPED_TEST(eigenpairs, have_the_same_bits_at_every_number_of_threads)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto a = test::random_matrix<TypeParam>(210, 210, 8);
        const auto run = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            auto e = numerical::general_eigen(a, eigenvector_sides::both);
            return std::tuple(std::move(e.values), std::move(e.right.data), std::move(e.left.data),
                              numerical::general_eigenvalues(a));
        };
        const auto serial = run(1);
        for (const std::size_t threads : test::thread_counts)
            EXPECT_TRUE(run(threads) == serial) << path << ", " << threads;
    }
}

} // namespace
