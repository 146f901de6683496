#include "numerical/systems/kept_lu.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/norm_estimate.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::lu_decomposition;
using numerical::matrix;
using numerical::matrix_form;
namespace detail = numerical::detail;

template <class T>
class kept_lu_system : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(kept_lu_system, element_types);

template <class T>
struct factors_of
{
    lu_decomposition<T> lu;
    numerical::aligned_vector<std::ptrdiff_t> exchanges;

    explicit factors_of(const matrix<T>& a)
        : lu(matrix<T>(a)), exchanges(numerical::exchanges_of(lu.permutation))
    {
    }

    numerical::kept_lu<T> kept() const { return {lu.factors.view(), exchanges.data()}; }
};

template <class T>
matrix<T> solved(const factors_of<T>& factors, matrix_form form, matrix<T> b)
{
    numerical::solve_kept<T>(factors.kept(), form, {b.data.data(), b.rows, b.cols, b.cols});
    return b;
}

template <class T>
matrix<T> in_form(const matrix<T>& a, matrix_form form)
{
    matrix<T> adjoint = detail::adjoint(a);
    if (form == matrix_form::transposed)
        for (T& x : adjoint.data)
            x = detail::conjugate(x);
    return form == matrix_form::plain ? a : adjoint;
}

TYPED_TEST(kept_lu_system, gives_back_the_right_sides_in_every_form)
{
    for (const int path : test::available_paths())
        for (const std::size_t n : {1UL, 5UL, 32UL, 65UL, 130UL})
            for (const std::size_t columns : {1UL, 2UL, 20UL})
                for (const auto form :
                     {matrix_form::plain, matrix_form::transposed, matrix_form::adjoint})
                    for (const double decades : {0.0, 12.0}) {
                        const test::path_limit limit(path);
                        const auto a = test::graded_matrix<TypeParam>(n, n, decades, 7);
                        const auto b = test::random_matrix<TypeParam>(n, columns, 8);
                        const auto x = solved(factors_of<TypeParam>(a), form, b);
                        EXPECT_LT(test::residual_ratio(in_form(a, form), x, b), 4)
                            << n << " x " << columns << ", path " << path;
                    }
}

TYPED_TEST(kept_lu_system, tells_a_permutation_by_exchanges)
{
    const std::vector<std::size_t> permutation{3, 0, 4, 1, 2};
    const auto exchanges = numerical::exchanges_of(permutation);
    std::vector<std::size_t> rows{0, 1, 2, 3, 4};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_GE(exchanges[i], std::ptrdiff_t(i));
        std::swap(rows[i], rows[std::size_t(exchanges[i])]);
    }
    EXPECT_EQ(rows, permutation);
}

TYPED_TEST(kept_lu_system, estimates_the_condition)
{
    for (const double decades : {0.0, 2.0, 5.0}) {
        const auto a = test::graded_matrix<TypeParam>(60, 60, decades, 3);
        const auto norm_of = [](const matrix<TypeParam>& m) {
            return numerical::one_norm<TypeParam>({m.data.data(), m.rows, m.cols, m.cols});
        };
        const factors_of<TypeParam> factors(a);
        const double rcond = numerical::reciprocal_condition(factors.kept(), norm_of(a));
        const double norm_of_inverse = norm_of(lu_decomposition<TypeParam>(matrix(a)).inverse());
        const double exact = 1 / (norm_of(a) * norm_of_inverse);
        EXPECT_GE(rcond, exact * 0.999);
        EXPECT_LE(rcond, exact * 3);
    }
}

TYPED_TEST(kept_lu_system, of_a_singular_matrix_has_no_condition)
{
    const factors_of<TypeParam> factors(matrix<TypeParam>(2, 2, {1, 2, 2, 4}));
    EXPECT_EQ(numerical::reciprocal_condition(factors.kept(), 6), 0);
}

} // namespace
