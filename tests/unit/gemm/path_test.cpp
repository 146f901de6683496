#include "numerical/gemm/path.hpp"

#include "paths.hpp"

#include <gtest/gtest.h>

namespace {

using namespace numerical::detail;

constexpr unsigned int osxsave = 1U << 27;
constexpr unsigned int avx = 1U << 28;
constexpr unsigned int fma = 1U << 12;
constexpr unsigned int avx2 = 1U << 5;
constexpr unsigned int avx512f = 1U << 16;
constexpr std::uint64_t sse_and_ymm = 0x7;
constexpr std::uint64_t all_state = 0xE7;

// A processor with everything, whose system saves everything.
const cpu_registers whole{osxsave | avx | fma, avx2 | avx512f, all_state};

TEST(cpu_features, of_a_whole_processor_are_both)
{
    const cpu_feature_set features = features_from(whole);
    EXPECT_TRUE(features.avx2);
    EXPECT_TRUE(features.avx512);
}

TEST(cpu_features, are_none_without_avx_or_saved_state)
{
    cpu_registers without_avx = whole;
    without_avx.leaf1_ecx &= ~avx;
    EXPECT_FALSE(features_from(without_avx).avx2);
    EXPECT_FALSE(features_from(without_avx).avx512);
    cpu_registers unsaved = whole;
    unsaved.xcr0 = 0;
    EXPECT_FALSE(features_from(unsaved).avx2);
    EXPECT_FALSE(features_from(unsaved).avx512);
}

TEST(cpu_features, of_avx2_need_fma_and_ymm_state_but_not_avx512)
{
    cpu_registers without_fma = whole;
    without_fma.leaf1_ecx &= ~fma;
    EXPECT_FALSE(features_from(without_fma).avx2);
    EXPECT_TRUE(features_from(without_fma).avx512);
    cpu_registers without_avx2 = whole;
    without_avx2.leaf7_ebx &= ~avx2;
    EXPECT_FALSE(features_from(without_avx2).avx2);
    EXPECT_TRUE(features_from(without_avx2).avx512);
    cpu_registers only_ymm = whole;
    only_ymm.xcr0 = sse_and_ymm;
    EXPECT_TRUE(features_from(only_ymm).avx2);
    EXPECT_FALSE(features_from(only_ymm).avx512);
}

TEST(cpu_features, of_avx512_need_opmask_and_both_zmm_states)
{
    for (const std::uint64_t missing : {0x2U, 0x4U, 0x20U, 0x40U, 0x80U}) {
        cpu_registers partly = whole;
        partly.xcr0 &= ~missing;
        EXPECT_FALSE(features_from(partly).avx512) << missing;
    }
    cpu_registers without_avx512f = whole;
    without_avx512f.leaf7_ebx &= ~avx512f;
    EXPECT_FALSE(features_from(without_avx512f).avx512);
    EXPECT_TRUE(features_from(without_avx512f).avx2);
}

TEST(saved_state, is_nothing_without_xsave)
{
    EXPECT_EQ(saved_state(0), 0U);
    EXPECT_EQ(saved_state(~osxsave), 0U);
}

TEST(path_choice, follows_the_table)
{
    struct row
    {
        int cap;
        bool avx512, avx2;
        int path;
    };

    for (const row& r : {row{0, true, true, 0},
                         {0, false, false, 0},
                         {1, true, true, 1},
                         {1, false, true, 1},
                         {1, true, false, 0},
                         {1, false, false, 0},
                         {2, true, true, 2},
                         {2, true, false, 2},
                         {2, false, true, 1},
                         {2, false, false, 0},
                         {3, true, true, 2},
                         {3, true, false, 2},
                         {3, false, true, 1},
                         {3, false, false, 0}})
        EXPECT_EQ(path_under(r.cap, {r.avx2, r.avx512}), r.path) << r.cap << r.avx512 << r.avx2;
}

TEST(path_choice, obeys_the_cap_at_once)
{
    for (const int cap : {0, 1, 2, 3}) {
        const test::path_limit limit(cap);
        EXPECT_EQ(gemm_path_current(), path_under(cap, cpu_features()));
    }
    EXPECT_EQ(gemm_path_cap().load(), 3);
    EXPECT_EQ(gemm_path_current(), path_under(3, cpu_features()));
}

} // namespace
