#include "numerical/gemm/packing.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/gemm.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <complex>
#include <cstdint>
#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;
using complex = std::complex<double>;

template <class T>
class packing : public testing::Test
{
protected:
    void SetUp() override { kept() = {}; }

    void TearDown() override { kept() = {}; }

    static aligned_block<T>& kept() { return packing_storage<T>::kept(); }

    static constexpr std::size_t most_kept = 0x2000000 / sizeof(T);
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(packing, element_types);

TYPED_TEST(packing, areas_are_aligned_apart_and_inside_the_buffer)
{
    for (const std::size_t a : {0UL, 1UL, 7UL, 100UL, 1001UL})
        for (const std::size_t b : {0UL, 1UL, 9UL, 64UL, 999UL}) {
            this->kept() = {};
            const TypeParam* end = nullptr;
            {
                const packing_storage<TypeParam> panels(a, b);
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(panels.a) % 64, 0U);
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(panels.b) % 64, 0U);
                EXPECT_GE(panels.b, panels.a + a);
                end = panels.b + b;
            }
            EXPECT_GE(this->kept().size(), a + b);
            EXPECT_LT(this->kept().size(), a + b + line_elements<TypeParam>);
            EXPECT_LE(end, this->kept().data() + this->kept().size());
        }
}

TYPED_TEST(packing, a_smaller_product_neither_shrinks_nor_moves_the_kept_buffer)
{
    {
        const packing_storage<TypeParam> panels(1000, 1000);
        EXPECT_EQ(this->kept().size(), 0U);
    }
    const TypeParam* const data = this->kept().data();
    {
        const packing_storage<TypeParam> panels(10, 10);
    }
    EXPECT_EQ(this->kept().size(), 2000U);
    EXPECT_EQ(this->kept().data(), data);
}

TYPED_TEST(packing, grows_at_least_to_the_double)
{
    {
        const packing_storage<TypeParam> panels(1000, 0);
    }
    {
        const packing_storage<TypeParam> panels(1001, 0);
    }
    EXPECT_EQ(this->kept().size(), 2000U);
}

TYPED_TEST(packing, keeps_up_to_32_mebibytes_and_no_more)
{
    {
        const packing_storage<TypeParam> panels(this->most_kept, 0);
    }
    EXPECT_EQ(this->kept().size(), this->most_kept);
    {
        const packing_storage<TypeParam> panels(this->most_kept, 1);
    }
    EXPECT_EQ(this->kept().size(), 0U);
}

TYPED_TEST(packing, a_nested_product_makes_its_own_buffer_and_the_outer_one_stays)
{
    {
        const packing_storage<TypeParam> outer(480, 0);
        outer.a[0] = TypeParam(1);
        {
            const packing_storage<TypeParam> inner(96, 0);
            EXPECT_NE(inner.a, outer.a);
        }
        EXPECT_EQ(this->kept().size(), 96U);
        EXPECT_EQ(outer.a[0], TypeParam(1));
    }
    EXPECT_EQ(this->kept().size(), 480U);
}

TYPED_TEST(packing, is_given_back_when_an_exception_passes)
{
    const auto fail = [] {
        const packing_storage<TypeParam> panels(40, 2);
        throw 1;
    };
    EXPECT_THROW(fail(), int);
    EXPECT_EQ(this->kept().size(), 42U);
}

// How many elements of T a product of m × k by k × n makes the thread keep.
template <class T>
std::size_t kept_by_product(std::size_t m, std::size_t n, std::size_t k)
{
    packing_storage<double>::kept() = {}; // complex tiles take doubles as well
    packing_storage<T>::kept() = {};
    const numerical::aligned_vector<T> a(m * k);
    const numerical::aligned_vector<T> b(k * n);
    numerical::aligned_vector<T> c(m * n);
    gemm_new(m, n, k, a.data(), k, b.data(), n, c.data(), n);
    return packing_storage<double>::kept().size() / (sizeof(T) / sizeof(double));
}

TYPED_TEST(packing, has_no_panels_for_an_operand_that_stays_where_it_lies)
{
    for (const int path : test::available_paths()) {
        if (path == portable_path) // packs both
            continue;
        const test::path_limit limit(path);
        EXPECT_LT(kept_by_product<TypeParam>(5000, 8, 9), 500) << "tall A";
        if (std::is_same_v<TypeParam, double>) {
            EXPECT_LT(kept_by_product<TypeParam>(16, 1000, 9), 500) << "wide B";
        }
    }
}

TEST(packing_panels, of_a_hold_rows_side_by_side_and_zeros_beyond)
{
    constexpr std::size_t lda = 11;
    const auto a = test::integer_vector<double>(20 * lda, 1);
    for (std::size_t rows = 1; rows <= 14; ++rows)
        for (const std::size_t depth : {1UL, 2UL, 7UL, 8UL}) {
            numerical::aligned_vector<double> panels((rows + 11) / 12 * 12 * depth, -1.0);
            pack_a<12>(a.data(), lda, 0, rows, depth, panels.data());
            for (std::size_t at = 0; at < panels.size(); ++at) {
                const std::size_t i = at / (12 * depth) * 12 + at % 12;
                const std::size_t p = at % (12 * depth) / 12;
                ASSERT_EQ(panels[at], i < rows ? a[i * lda + p] : 0.0);
            }
        }
}

TEST(packing_panels, of_b_hold_columns_side_by_side_and_zeros_beyond)
{
    constexpr std::size_t ldb = 40;
    const auto b = test::integer_vector<complex>(9 * ldb, 2);
    for (std::size_t cols = 1; cols <= 26; ++cols) {
        constexpr std::size_t depth = 9;
        numerical::aligned_vector<complex> panels((cols + 5) / 6 * 6 * depth, complex(-1.0));
        pack_b<6>(b.data(), ldb, 0, cols, depth, panels.data());
        for (std::size_t at = 0; at < panels.size(); ++at) {
            const std::size_t j = at / (6 * depth) * 6 + at % 6;
            const std::size_t p = at % (6 * depth) / 6;
            ASSERT_EQ(panels[at], j < cols ? b[p * ldb + j] : complex(0));
        }
    }
}

TEST(packing_panels, of_complex_a_hold_real_parts_then_imaginary_ones)
{
    constexpr std::size_t lda = 11;
    const auto a = test::integer_vector<complex>(20 * lda, 3);
    const auto* const parts = reinterpret_cast<const double*>(a.data());
    for (std::size_t rows = 1; rows <= 14; ++rows)
        for (const std::size_t depth : {1UL, 2UL, 7UL, 8UL}) {
            numerical::aligned_vector<double> panels((rows + 5) / 6 * 6 * 2 * depth, -99.0);
            pack_parts_of_a<6>(parts, 2 * lda, 0, rows, depth, panels.data());
            for (std::size_t at = 0; at < panels.size(); ++at) {
                const std::size_t i = at / (12 * depth) * 6 + at % 6;
                const bool imaginary = at % (12 * depth) >= 6 * depth;
                const complex element = i < rows ? a[i * lda + at % (6 * depth) / 6] : complex(0);
                ASSERT_EQ(panels[at], imaginary ? element.imag() : element.real());
            }
        }
}

TEST(packing_panels, of_complex_b_interleave_the_real_parts_of_both_vectors_then_the_imaginary)
{
    constexpr std::size_t ldb = 30;
    constexpr std::size_t depth = 11;
    const auto b = test::integer_vector<complex>(depth * ldb, 4);
    const auto* const parts = reinterpret_cast<const double*>(b.data());
    for (std::size_t cols = 1; cols <= 26; ++cols) {
        numerical::aligned_vector<double> panels((cols + 7) / 8 * 16 * depth, -99.0);
        pack_parts_of_b<16>(parts, 2 * ldb, 0, 2 * cols, depth, panels.data());
        for (std::size_t at = 0; at < panels.size(); ++at) {
            const std::size_t lane = at % 8;
            const std::size_t j = at / (16 * depth) * 8 + lane / 2 + lane % 2 * 4;
            const std::size_t p = at % (16 * depth) / 16;
            const complex element = j < cols ? b[p * ldb + j] : complex(0);
            ASSERT_EQ(panels[at], at % 16 >= 8 ? element.imag() : element.real());
        }
    }
}

} // namespace
