#include "general_matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/nonsymmetric/block_exchange.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::schur_vectors;
using test::complex;
using test::matrix;

constexpr double accepted = 20;

template <class T>
class ordered_schur : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(ordered_schur, element_types);

template <class F>
std::vector<bool> flags(const numerical::aligned_vector<complex>& values, const F& select)
{
    std::vector<bool> selected;
    for (const complex& value : values)
        selected.push_back(select(value));
    return selected;
}

TYPED_TEST(ordered_schur, moves_the_selected_values_to_the_top)
{
    for (const std::size_t n : {1, 2, 3, 4, 5, 8, 30}) {
        const auto a = test::random_matrix<TypeParam>(n, n, unsigned(n));
        auto s = numerical::schur_form(a, schur_vectors::compute);
        const auto stable = [](const complex& z) { return z.real() < 0; };
        const auto selected = flags(s.values, stable);
        const auto expected = std::size_t(std::count(selected.begin(), selected.end(), true));
        EXPECT_EQ(numerical::order_schur_form(s, selected), expected);
        for (std::size_t k = 0; k < n; ++k)
            EXPECT_EQ(stable(s.values[k]), k < expected) << n;
        EXPECT_LT(test::similarity_ratio(a, s.q, s.t), accepted);
        EXPECT_LT(test::probed_orthogonality_ratio(s.q), accepted);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j + 1 < i; ++j)
                EXPECT_EQ(s.t.data[i * n + j], TypeParam(0));
    }
}

TYPED_TEST(ordered_schur, keeps_the_order_of_all_or_none)
{
    const auto a = test::random_matrix<TypeParam>(9, 9, 2);
    const auto s = numerical::schur_form(a, schur_vectors::compute);
    for (const bool all : {true, false}) {
        auto same = s;
        EXPECT_EQ(numerical::order_schur_form(same, std::vector<bool>(9, all)), all ? 9U : 0U);
        EXPECT_EQ(same.t.data, s.t.data);
        EXPECT_EQ(same.q.data, s.q.data);
    }
}

TYPED_TEST(ordered_schur, needs_no_basis)
{
    const auto a = test::random_matrix<TypeParam>(12, 12, 3);
    auto with = numerical::schur_form(a, schur_vectors::compute);
    auto without = numerical::schur_form(a, schur_vectors::none);
    const auto selected = flags(with.values, [](const complex& z) { return z.real() > 0; });
    numerical::order_schur_form(with, selected);
    numerical::order_schur_form(without, selected);
    EXPECT_EQ(with.t.data, without.t.data);
    EXPECT_EQ(without.q.rows, 0U);
}

TEST(ordered_schur, moves_a_pair_if_either_is_selected)
{
    // Blocks 1 and the pair 2 ± i.
    numerical::schur_factors<double> s{{3, 3, {1, 5, 6, 0, 2, 1, 0, -1, 2}}, {0, 0, {}}, {}};
    for (const std::size_t which : {1, 2}) {
        auto moved = s;
        std::vector<bool> selected(3);
        selected[which] = true;
        EXPECT_EQ(numerical::order_schur_form(moved, selected), 2U);
        EXPECT_NEAR(moved.values[0].real(), 2, 1e-14);
        EXPECT_NEAR(moved.values[0].imag(), 1, 1e-14);
        EXPECT_EQ(moved.values[1], std::conj(moved.values[0]));
        EXPECT_NEAR(moved.values[2].real(), 1, 1e-14);
    }
}

TEST(ordered_schur, wants_a_flag_for_each_value)
{
    auto s = numerical::schur_form(test::random_matrix<double>(3, 3, 1), schur_vectors::none);
    EXPECT_EQ(test::text_thrown_by<numerical::dimension_error>(
                  [&] { numerical::order_schur_form(s, {true}); }),
              "ordered Schur form: there must be a flag for each eigenvalue");
}

// Two badly scaled pairs, whose exchange would leave more below the diagonal than rounding does.
TEST(ordered_schur, refuses_to_exchange_what_is_too_close)
{
    const numerical::schur_factors<double> s{
        {4, 4, {3, 7e5, 1e3, 6e-7, -1e-8, 3, 8, -1, 0, 0, 3.1, 4e4, 0, 0, -3e-8, 3.1}},
        {0, 0, {}},
        {}};
    auto moved = s;
    EXPECT_EQ(test::text_thrown_by<numerical::convergence_error>([&] {
                  numerical::order_schur_form(moved, {false, false, true, true});
              }),
              "ordered Schur form: two eigenvalues are too close to change places");
    EXPECT_EQ(moved.t.data, s.t.data);
}

TEST(standard_block, has_the_form_and_the_values_of_any_block)
{
    const numerical::aligned_vector<double> entries{0, 1, -1, 2.5, -3, 1e-8, 1e8, -1e-160, 1e150};
    for (const double a : entries)
        for (const double b : entries)
            for (const double c : entries)
                for (const double d : entries) {
                    numerical::detail::real_block m{a, b, c, d};
                    const auto g = numerical::detail::standardize(m);
                    const double norm =
                        std::max({std::abs(a), std::abs(b), std::abs(c), std::abs(d)});
                    EXPECT_LT(std::abs(g.c * g.c + g.s * g.s - 1), 8 * test::eps);
                    if (m.c != 0) {
                        EXPECT_EQ(m.a, m.d);
                        EXPECT_NE(std::signbit(m.b), std::signbit(m.c));
                    }
                    // Gᵀ·M·G is the block again.
                    const double x = g.c * m.a - g.s * m.c;
                    const double y = g.c * m.b - g.s * m.d;
                    const double z = g.s * m.a + g.c * m.c;
                    const double w = g.s * m.b + g.c * m.d;
                    const double bound = 16 * test::eps * norm;
                    EXPECT_LE(std::abs(x * g.c - y * g.s - a), bound);
                    EXPECT_LE(std::abs(x * g.s + y * g.c - b), bound);
                    EXPECT_LE(std::abs(z * g.c - w * g.s - c), bound);
                    EXPECT_LE(std::abs(z * g.s + w * g.c - d), bound);
                }
}

} // namespace
