#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/eigen/hermitian_band.hpp"
#include "numerical/eigen/selected.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/matrix_functions/exponential.hpp"
#include "numerical/matrix_functions/logarithm.hpp"
#include "numerical/matrix_functions/matrix_equations.hpp"
#include "numerical/matrix_functions/square_root.hpp"
#include "numerical/nonsymmetric/nonsymmetric.hpp"
#include "numerical/svd/band_bidiagonal.hpp"
#include "numerical/svd/leading_triplets.hpp"
#include "numerical/svd/least_squares.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/randomized.hpp"
#include "numerical/svd/svd.hpp"
#include "numerical/svd/values_only.hpp"
#include "numerical/systems/indefinite.hpp"

#include "many.hpp"
#include "matrices.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::eigen_method;
using numerical::matrix;
using numerical::svd_method;

template <class T>
class decompositions_on_64_cores : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(decompositions_on_64_cores, element_types);

// compute() on one thread and on many, on every path; it gives a list of vectors.
template <class F>
void expect_bits_of_one_core(const F& compute)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            return compute();
        };
        const auto serial = on(1);
        for (const std::size_t threads : test::numbers_of_threads(path))
            ASSERT_TRUE(on(threads) == serial) << "path " << path << ", threads " << threads;
    }
}

template <class T>
matrix<std::complex<double>> as_complex(const matrix<T>& a)
{
    return {a.rows, a.cols, {a.data.begin(), a.data.end()}};
}

template <class T>
using vectors = std::vector<numerical::aligned_vector<T>>;

// The slabs to which blocks of reflectors are applied depend on the threads. Next to last panels,
// and what is right of them, are narrower and wider than what may be updated by itself.
TYPED_TEST(decompositions_on_64_cores, qr_has_the_bits_of_one_core)
{
    struct extents
    {
        std::size_t rows;
        std::size_t cols;
    };

    const std::vector<extents> shapes{{150, 150}, {33, 1100}, {36, 530}, {700, 70}, {90, 39},
                                      {90, 40},   {90, 71},   {45, 52},  {45, 53}};
    for (const auto& [rows, cols] : shapes) {
        const auto a = test::random_matrix<TypeParam>(rows, cols, 1);
        expect_bits_of_one_core([&, m = rows, n = cols] {
            auto [q, r] = numerical::detail::householder_qr(a.data, m, n);
            return vectors<TypeParam>{std::move(q), std::move(r)};
        });
    }
}

// Products with few reflectors are summed by tiles only over many columns.
TYPED_TEST(decompositions_on_64_cores, blocks_of_few_reflectors_have_the_bits_of_one_core)
{
    using numerical::detail::block_operator;
    const std::size_t rows = 20;
    const std::size_t width = 200;
    for (const std::size_t count : {1, 2, 7, 8}) {
        const auto a = test::random_matrix<TypeParam>(rows, count, 1);
        const auto reflections = numerical::detail::householder_reflect(a.data, rows, count);
        const auto c = test::random_matrix<TypeParam>(rows, width, 2);
        expect_bits_of_one_core([&] {
            numerical::aligned_vector<TypeParam> target = c.data;
            numerical::detail::apply_reflector_block<block_operator::adjoint>(
                reflections.blocks.front(), target, width, 0, width);
            return vectors<TypeParam>{std::move(target)};
        });
    }
}

// The first order has block columns in one piece, the second in several.
TYPED_TEST(decompositions_on_64_cores, cholesky_has_the_bits_of_one_core)
{
    for (const std::size_t n : {300UL, 643UL}) {
        auto a = test::random_matrix<TypeParam>(n, n, 2);
        for (std::size_t i = 0; i < n; ++i)
            a.data[i * n + i] = 2.0 * double(n); // the lower triangle alone is read
        expect_bits_of_one_core([&] {
            return numerical::cholesky_decomposition<TypeParam>(matrix<TypeParam>(a)).factors;
        });
    }
}

// Zeros on the diagonal make panels of 32 and 33 columns, and strips that begin at any row.
TYPED_TEST(decompositions_on_64_cores, ldl_has_the_bits_of_one_core)
{
    using numerical::symmetry;
    for (const std::size_t n : {401UL, 577UL, 650UL}) {
        auto a = test::random_matrix<TypeParam>(n, n, 2);
        for (std::size_t i = 0; n > 401 && i < n; ++i)
            a.data[i * (n + 1)] = 0;
        for (const symmetry kind : {symmetry::hermitian, symmetry::symmetric})
            expect_bits_of_one_core([&] {
                using factors_of = numerical::indefinite_decomposition<TypeParam>;
                factors_of f({a.data.data(), n, n}, kind);
                return std::pair(std::move(f.lower), std::move(f.diagonal));
            });
    }
}

TYPED_TEST(decompositions_on_64_cores, eigenvectors_have_the_bits_of_one_core)
{
    using decomposition =
        std::conditional_t<std::is_same_v<TypeParam, double>, numerical::symmetric_eigen,
                           numerical::hermitian_eigen>;
    const auto a = test::random_matrix<TypeParam>(150, 150, 3);
    for (const auto method : {eigen_method::tridiagonal_ql, eigen_method::divide_and_conquer})
        for (const auto blocks : {numerical::eigen_blocks::fixed, numerical::eigen_blocks::fastest})
            expect_bits_of_one_core([&] {
                decomposition eigen(a, method, blocks);
                return std::pair(std::move(eigen.values), std::move(eigen.vectors.data));
            });
}

TYPED_TEST(decompositions_on_64_cores, eigenvectors_of_pairs_and_parts_have_the_bits_of_one_core)
{
    constexpr std::size_t n = 270;
    const auto a = test::random_matrix<TypeParam>(n, n, 31);
    auto b = test::random_matrix<TypeParam>(n, n, 32);
    for (std::size_t i = 0; i < n; ++i)
        b.data[i * n + i] = 2.0 * n; // the lower triangle alone is read
    using numerical::pencil_form;
    for (const auto form : {pencil_form::a_and_b, pencil_form::b_times_a})
        for (const std::size_t last : {110, 40})
            expect_bits_of_one_core([&] {
                const auto selection = numerical::eigen_selection::by_place(20, last);
                auto part = numerical::selected_eigenpairs(a, b, form, selection);
                return std::pair(std::move(part.values), std::move(part.vectors.data));
            });
}

TYPED_TEST(decompositions_on_64_cores, singular_vectors_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(190, 150, 4);
    for (const auto method : {svd_method::bidiagonal_qr, svd_method::divide_and_conquer})
        expect_bits_of_one_core([&] {
            numerical::svd_decomposition<TypeParam> svd(a, method);
            return std::tuple(std::move(svd.values), std::move(svd.u.data), std::move(svd.v.data));
        });
}

TYPED_TEST(decompositions_on_64_cores, singular_vectors_in_the_fastest_blocks_have_them_too)
{
    const auto a = test::random_matrix<TypeParam>(260, 230, 5);
    expect_bits_of_one_core([&] {
        numerical::svd_decomposition<TypeParam> svd(a, svd_method::divide_and_conquer,
                                                    numerical::svd_blocks::fastest);
        return std::tuple(std::move(svd.values), std::move(svd.u.data), std::move(svd.v.data));
    });
}

TYPED_TEST(decompositions_on_64_cores, leading_triplets_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(190, 150, 33);
    const auto sample = test::random_matrix<TypeParam>(150, 30, 34);
    const auto parts = [](numerical::singular_triplets<TypeParam> found) {
        return std::tuple(std::move(found.values), std::move(found.u.data),
                          std::move(found.v.data));
    };
    expect_bits_of_one_core([&] { return parts(numerical::leading_triplets(a, 70)); });
    expect_bits_of_one_core(
        [&] { return parts(numerical::randomized_triplets(a, sample, 20, 2)); });
}

TYPED_TEST(decompositions_on_64_cores, values_without_vectors_have_the_bits_of_one_core)
{
    for (const std::size_t n : {40, 119, 250}) {
        const auto a = test::random_matrix<TypeParam>(n, n, 11);
        const auto tall = test::random_matrix<TypeParam>(n + 40, n, 12);
        expect_bits_of_one_core([&] {
            return vectors<double>{numerical::eigenvalues(a), numerical::singular_values_only(a),
                                   numerical::singular_values_only(tall)};
        });
    }
}

// The sweeps of several groups run side by side.
TYPED_TEST(decompositions_on_64_cores, narrowed_bands_have_the_bits_of_one_core)
{
    using namespace numerical::detail;
    constexpr std::size_t n = 350;
    const auto a = test::random_matrix<TypeParam>(n, n, 13);
    expect_bits_of_one_core([&] {
        vectors<double> found(2, numerical::aligned_vector<double>(n));
        auto hermitian = reduce_to_hermitian_band(a.data, n, 16);
        narrow_hermitian_band(hermitian, found[0], found[1]);
        auto upper = reduce_to_band(a.data, n, 16);
        auto [d, e] = narrow_band(upper);
        found.push_back(std::move(d));
        found.push_back(std::move(e));
        return found;
    });
}

// The order is one whose triangle is multiplied in several groups of rows.
TYPED_TEST(decompositions_on_64_cores, large_bands_have_the_bits_of_one_core)
{
    using namespace numerical::detail;
    constexpr std::size_t n = 500;
    constexpr std::size_t width = 64;
    const auto a = test::random_matrix<TypeParam>(n, n, 14);
    expect_bits_of_one_core([&] {
        auto band = reduce_to_hermitian_band(a.data, n, width);
        numerical::aligned_vector<TypeParam> found;
        for (std::size_t i = width; i < n; ++i)
            for (std::size_t j = i - width; j <= i; ++j)
                found.push_back(band(i, j));
        return found;
    });
}

TYPED_TEST(decompositions_on_64_cores, schur_forms_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(220, 220, 11);
    expect_bits_of_one_core([&] {
        auto s = numerical::schur_form(a, numerical::schur_vectors::compute);
        return vectors<TypeParam>{std::move(s.t.data), std::move(s.q.data)};
    });
}

TYPED_TEST(decompositions_on_64_cores, general_eigenpairs_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(220, 220, 12);
    expect_bits_of_one_core([&] {
        auto e = numerical::general_eigen(a, numerical::eigenvector_sides::both);
        return vectors<std::complex<double>>{std::move(e.values), std::move(e.right.data),
                                             std::move(e.left.data),
                                             numerical::general_eigenvalues(a)};
    });
}

// From order 400 on a sweep has 64 shifts: two chains of bulges.
TYPED_TEST(decompositions_on_64_cores, schur_forms_by_two_chains_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(410, 410, 14);
    expect_bits_of_one_core([&] {
        auto s = numerical::schur_form(a, numerical::schur_vectors::compute);
        return vectors<TypeParam>{std::move(s.t.data), std::move(s.q.data)};
    });
}

// The second block of 40 × 33 is one reflector of 8 elements: its products are so small that it
// depends on the columns of a slab whether they go by tiles.
TYPED_TEST(decompositions_on_64_cores, many_right_sides_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(40, 33, 9);
    for (const std::size_t columns : {80, 160, 513, 1023, 1535}) {
        const auto b = test::random_matrix<TypeParam>(40, columns, 10);
        expect_bits_of_one_core([&] { return numerical::lstsq(a, b).data; });
    }
}

TYPED_TEST(decompositions_on_64_cores, least_squares_have_the_bits_of_one_core)
{
    const auto tall = test::random_matrix<TypeParam>(260, 90, 5);
    const auto deficient = test::low_rank_matrix<TypeParam>(90, 140, 20, 6);
    const auto b = test::random_matrix<TypeParam>(260, 70, 7);
    const auto c = test::random_matrix<TypeParam>(90, 70, 8);
    expect_bits_of_one_core([&] {
        return vectors<TypeParam>{
            numerical::lstsq(tall, b).data, numerical::lstsq(deficient, c).data,
            numerical::pinv(deficient).data, numerical::pseudo_inverse(deficient).data,
            numerical::pseudo_inverse(tall).data};
    });
}

TYPED_TEST(decompositions_on_64_cores, matrix_functions_have_the_bits_of_one_core)
{
    const auto a = test::random_matrix<TypeParam>(100, 100, 13);
    const auto b = test::random_matrix<TypeParam>(70, 70, 14);
    const auto q = test::random_matrix<TypeParam>(100, 70, 15);
    expect_bits_of_one_core([&] {
        return vectors<TypeParam>{numerical::matrix_exponential(a).data,
                                  numerical::solve_sylvester(a, b, q).data,
                                  numerical::solve_discrete_lyapunov(a, a).data};
    });
    expect_bits_of_one_core([&] {
        return vectors<std::complex<double>>{numerical::square_root(as_complex(a)).data,
                                             numerical::logarithm(as_complex(a)).data};
    });
}

// Up to four threads subtract the products of four blocks together from order 1536 on, more of them
// those of one. The orders end in a whole block and in blocks so narrow that depth decides how they
// are summed.
TEST(cholesky_on_64_cores, in_groups_of_blocks_has_the_bits_of_single_blocks)
{
    std::vector<int> paths = test::available_paths();
    std::erase(paths, int(numerical::detail::portable_path));
    for (const int path : paths)
        for (const std::size_t n : {1535, 1536, 1537, 1538, 1600}) {
            const test::path_limit limit(path);
            auto a = test::random_matrix<double>(n, n, 5);
            for (std::size_t i = 0; i < n; ++i)
                a.data[i * n + i] = double(n);
            const auto on = [&](std::size_t threads) {
                const test::thread_limit some(threads);
                return numerical::cholesky_decomposition<double>(matrix<double>(a)).factors;
            };
            const auto single_blocks = on(5);
            for (const std::size_t threads : {1, 2, 4})
                ASSERT_TRUE(on(threads) == single_blocks) << "order " << n << ", path " << path;
        }
}

} // namespace
