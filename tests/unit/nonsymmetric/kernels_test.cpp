#include "matrices.hpp"
#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/bulge_kernels.hpp"
#include "numerical/nonsymmetric/reflector_lanes.hpp"
#include "numerical/nonsymmetric/strip_kernels.hpp"
#include "paths.hpp"
#include "ratios.hpp"

#include <array>
#include <gtest/gtest.h>
#include <limits>

namespace {

using complex = std::complex<double>;
using numerical::detail::bulge_kernels;
using numerical::detail::bulge_reflector;
using numerical::detail::strip_reflector;
using test::wide;

template <class T>
class bulge_kernel : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(bulge_kernel, element_types);

template <class T>
wide<T> conjugated(const wide<T>& x)
{
    if constexpr (std::is_same_v<T, double>)
        return x;
    else
        return std::conj(x);
}

// Row c of I - tau·w·wᴴ, times three elements.
template <class T>
std::array<wide<T>, 3> times_h(const bulge_reflector<T>& h, const std::array<T, 3>& x)
{
    const std::array<wide<T>, 3> w{wide<T>(1), wide<T>(h.w1), wide<T>(h.w2)};
    wide<T> t = 0;
    for (std::size_t i = 0; i < 3; ++i)
        t += conjugated<T>(w[i]) * wide<T>(x[i]);
    std::array<wide<T>, 3> y;
    for (std::size_t i = 0; i < 3; ++i)
        y[i] = wide<T>(x[i]) - wide<T>(h.tau) * w[i] * t;
    return y;
}

// x·H = (conj(H)·xᵀ)ᵀ.
template <class T>
bulge_reflector<T> conjugated(const bulge_reflector<T>& h)
{
    return {h.tau, numerical::detail::conjugate(h.w1), numerical::detail::conjugate(h.w2)};
}

template <class T>
bulge_reflector<T> some_reflector(unsigned seed)
{
    const auto x = test::random_vector<T>(3, seed);
    T beta;
    return numerical::detail::reflector_of_three<T>({x[0], x[1], x[2]}, beta);
}

constexpr double accepted = 8 * test::eps;

TYPED_TEST(bulge_kernel, multiplies_three_rows_of_any_length)
{
    using T = TypeParam;
    constexpr std::size_t padding = numerical::detail::row_padding<T>;
    for (const int path : test::available_paths())
        for (std::size_t n = 0; n < 20; ++n) {
            const auto h = some_reflector<T>(unsigned(n));
            const std::size_t stride = n + padding + 1;
            const auto before = test::random_vector<T>(5 * stride, 3);
            auto after = before;
            bulge_kernels<T>{path}.rows(after.data() + stride, stride, n, h);
            for (std::size_t j = 0; j < stride; ++j) { // guards before and behind the three
                EXPECT_EQ(after[j], before[j]);
                EXPECT_EQ(after[4 * stride + j], before[4 * stride + j]);
            }
            for (std::size_t j = 0; j < n; ++j) {
                const auto y = times_h<T>(
                    h, {before[stride + j], before[2 * stride + j], before[3 * stride + j]});
                for (std::size_t i = 0; i < 3; ++i)
                    EXPECT_LT(test::wide_modulus(y[i] - wide<T>(after[(i + 1) * stride + j])),
                              accepted)
                        << path << ", " << n;
            }
            for (std::size_t i = 1; i < 4; ++i) // no more than the padding is rounded up to
                EXPECT_EQ(after[i * stride + n + padding], before[i * stride + n + padding]);
        }
}

TYPED_TEST(bulge_kernel, multiplies_three_columns_and_leaves_the_fourth)
{
    using T = TypeParam;
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count < 9; ++count) {
            const auto h = some_reflector<T>(unsigned(count));
            constexpr std::size_t stride = 7;
            const auto before = test::random_vector<T>((count + 1) * stride, 4);
            auto after = before;
            bulge_kernels<T>{path}.columns(after.data() + 1, stride, count, h);
            for (std::size_t i = 0; i <= count; ++i) {
                const T* const x = before.data() + i * stride;
                const auto y = times_h<T>(conjugated(h), {x[1], x[2], x[3]});
                for (std::size_t j = 0; j < stride; ++j) {
                    const T seen = after[i * stride + j];
                    if (i == count || j < 1 || j > 3) {
                        EXPECT_EQ(seen, x[j]) << path;
                    } else {
                        EXPECT_LT(test::wide_modulus(y[j - 1] - wide<T>(seen)), accepted) << path;
                    }
                }
            }
        }
}

TYPED_TEST(bulge_kernel, multiplies_the_columns_of_two_bulges)
{
    using T = TypeParam;
    for (const int path : test::available_paths())
        for (std::size_t count = 0; count < 9; ++count) {
            const auto behind = some_reflector<T>(unsigned(count));
            const auto ahead = some_reflector<T>(unsigned(count) + 9);
            constexpr std::size_t stride = 11;
            const auto before = test::random_vector<T>((count + 1) * stride, 4);
            auto after = before;
            bulge_kernels<T>{path}.columns_of_two(after.data() + 1, stride, count, behind, ahead);
            for (std::size_t i = 0; i <= count; ++i) {
                const T* const x = before.data() + i * stride;
                const auto y = times_h<T>(conjugated(behind), {x[1], x[2], x[3]});
                const auto z = times_h<T>(conjugated(ahead), {x[4], x[5], x[6]});
                for (std::size_t j = 0; j < stride; ++j) {
                    const T seen = after[i * stride + j];
                    if (i == count || j < 1 || j > 6) {
                        EXPECT_EQ(seen, x[j]) << path;
                    } else {
                        const wide<T> expected = j < 4 ? y[j - 1] : z[j - 4];
                        EXPECT_LT(test::wide_modulus(expected - wide<T>(seen)), accepted) << path;
                    }
                }
            }
        }
}

// All `doubles` of a row, or the first ones: the last vectors of a row may be left out.
template <class T>
void expect_strip(int path, std::size_t count, std::size_t doubles)
{
    constexpr std::size_t width = numerical::detail::strip_columns<T>;
    std::vector<bulge_reflector<T>> list;
    std::vector<strip_reflector<T>> strip_list;
    for (unsigned i = 0; i < count; ++i) {
        const auto h = some_reflector<T>(i);
        list.push_back(h);
        strip_list.push_back({h.tau, h.w1, h.w2, h.tau * h.w1, h.tau * h.w2});
    }
    const auto before = test::random_vector<T>((count + 4) * width, 5);
    auto after = before;
    auto plain = before;
    reflect_strip_on(path, after.data() + width, strip_list.data(), count, doubles);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < width; ++j) {
            T* const x = plain.data() + (i + 1) * width + j;
            const auto y = times_h<T>(list[i], {x[0], x[width], x[2 * width]});
            for (std::size_t l = 0; l < 3; ++l)
                x[l * width] = static_cast<T>(y[l]);
        }
    for (std::size_t i = 0; i < after.size(); ++i)
        if (i % width < doubles * sizeof(double) / sizeof(T)) {
            EXPECT_LT(test::wide_modulus(wide<T>(plain[i]) - wide<T>(after[i])),
                      double(count) * accepted + 1e-300)
                << path << ", " << doubles;
        }
    for (std::size_t j = 0; j < width; ++j) {
        EXPECT_EQ(after[j], before[j]);
        EXPECT_EQ(after[(count + 3) * width + j], before[(count + 3) * width + j]);
    }
}

TYPED_TEST(bulge_kernel, goes_down_a_strip)
{
    using numerical::detail::strip_doubles;
    for (const int path : test::available_paths())
        for (const std::size_t count : {0UL, 1UL, 2UL, 3UL, 10UL})
            for (const std::size_t doubles :
                 {2UL, 12UL, 14UL, 16UL, 18UL, 32UL, 34UL, strip_doubles})
                expect_strip<TypeParam>(path, count, doubles);
}

// Also where squares underflow, wholly or in part.
TYPED_TEST(bulge_kernel, reflector_maps_its_vector_to_the_first_unit_vector)
{
    using T = TypeParam;
    for (const double head : {1.0, 0x1p-300, 0x1p-530, 0x1p-700, 0x1p-1050, 0.0})
        for (const double tail : {1.0, 0x1p-300, 0x1p-530, 0x1p-700, 0x1p-1040, 0.0}) {
            const auto random = test::random_vector<T>(3, 6);
            const T x[3] = {random[0] * head, random[1] * tail, random[2] * tail};
            T beta;
            const auto h = numerical::detail::reflector_of_three(x, beta);
            const double norm = 1 + std::norm(h.w1) + std::norm(h.w2);
            if (h.tau != 0) {
                EXPECT_LT(std::abs(h.tau * norm - 2), 20 * test::eps) << head << ", " << tail;
            }
            const auto y = times_h<T>(h, {x[0], x[1], x[2]});
            const double size = std::max(std::abs(x[0]), std::max(std::abs(x[1]), std::abs(x[2])));
            const double bound =
                std::max(16 * test::eps * size, 16 * std::numeric_limits<double>::denorm_min());
            EXPECT_LE(test::wide_modulus(y[0] - wide<T>(beta)), bound) << head << ", " << tail;
            EXPECT_LE(test::wide_modulus(y[1]), bound) << head << ", " << tail;
            EXPECT_LE(test::wide_modulus(y[2]), bound) << head << ", " << tail;
        }
}

template <class T>
void expect_reflectors(int path, const T (&x)[numerical::detail::reflector_lanes][3],
                       std::size_t count)
{
    bulge_reflector<T> seen[numerical::detail::reflector_lanes];
    T beta[numerical::detail::reflector_lanes];
    numerical::detail::reflectors_of_three(path, x, count, seen, beta);
    for (std::size_t l = 0; l < count; ++l) {
        T expected_beta;
        const auto expected = numerical::detail::reflector_of_three(x[l], expected_beta);
        EXPECT_EQ(seen[l].tau, expected.tau) << path << ", " << l;
        EXPECT_EQ(seen[l].w1, expected.w1) << path << ", " << l;
        EXPECT_EQ(seen[l].w2, expected.w2) << path << ", " << l;
        EXPECT_EQ(beta[l], expected_beta) << path << ", " << l;
    }
}

// Some elements of one lane are zero or have squares that underflow; the other lanes are ordinary.
TYPED_TEST(bulge_kernel, reflectors_in_lanes_are_those_of_single_vectors)
{
    using T = TypeParam;
    using numerical::detail::reflector_lanes;
    const auto random = test::random_vector<T>(3 * reflector_lanes, 7);
    for (const int path : test::available_paths())
        for (std::size_t count = 1; count <= reflector_lanes; ++count)
            for (const double scale : {1.0, 0.0, -0.0, 0x1p-430, 0x1p-452, 0x1p-700, 0x1p450})
                for (unsigned elements = 1; elements < 8; ++elements) {
                    T x[reflector_lanes][3] = {};
                    for (std::size_t l = 0; l < count; ++l)
                        for (std::size_t i = 0; i < 3; ++i) {
                            const bool hard = l == count / 2 && (elements >> i & 1) != 0;
                            x[l][i] = random[3 * l + i] * (hard ? scale : 1.0);
                        }
                    expect_reflectors<T>(path, x, count);
                }
}

} // namespace
