#pragma once

// Four doubles, for the algorithms that are written once over a type of lanes. Every operation
// rounds as the scalar one does. portable_lanes.hpp says what each function means. In an unnamed
// namespace, so that what is built for this instruction set is no symbol for others.

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace numerical::vector_math {
namespace {

// The sign bit of each lane is the flag: blends and the pattern look at no other.
struct four_flags
{
    __m256d v;

    explicit four_flags(__m256d flags) : v(flags) {}

    friend four_flags operator|(four_flags a, four_flags b)
    {
        return four_flags(_mm256_or_pd(a.v, b.v));
    }

    friend four_flags operator&(four_flags a, four_flags b)
    {
        return four_flags(_mm256_and_pd(a.v, b.v));
    }

    unsigned int pattern() const { return static_cast<unsigned int>(_mm256_movemask_pd(v)); }
};

struct four_words
{
    __m256i v;

    explicit four_words(__m256i w) : v(w) {}

    explicit four_words(std::uint64_t w) : v(_mm256_set1_epi64x(static_cast<long long>(w))) {}

    friend four_words operator+(four_words a, four_words b)
    {
        return four_words(_mm256_add_epi64(a.v, b.v));
    }

    friend four_words operator-(four_words a, four_words b)
    {
        return four_words(_mm256_sub_epi64(a.v, b.v));
    }

    friend four_words operator&(four_words a, four_words b)
    {
        return four_words(_mm256_and_si256(a.v, b.v));
    }

    friend four_words operator|(four_words a, four_words b)
    {
        return four_words(_mm256_or_si256(a.v, b.v));
    }

    friend four_words operator^(four_words a, four_words b)
    {
        return four_words(_mm256_xor_si256(a.v, b.v));
    }

    template <int by>
    four_words left() const
    {
        return four_words(_mm256_slli_epi64(v, by));
    }

    template <int by>
    four_words right() const
    {
        return four_words(_mm256_srli_epi64(v, by));
    }

    friend four_flags operator>(four_words a, four_words b)
    {
        return four_flags(_mm256_castsi256_pd(_mm256_cmpgt_epi64(a.v, b.v)));
    }

    four_flags odd() const { return four_flags(_mm256_castsi256_pd(_mm256_slli_epi64(v, 63))); }
};

struct four
{
    using words = four_words;
    using flags = four_flags;
    static constexpr std::size_t width = 4;

    __m256d v;

    explicit four(__m256d lanes) : v(lanes) {}

    four(double x) : v(_mm256_set1_pd(x)) {}

    static four load(const double* from) { return four(_mm256_loadu_pd(from)); }

    void store(double* to) const { _mm256_storeu_pd(to, v); }

    friend four operator+(four a, four b) { return four(_mm256_add_pd(a.v, b.v)); }

    friend four operator-(four a, four b) { return four(_mm256_sub_pd(a.v, b.v)); }

    friend four operator*(four a, four b) { return four(_mm256_mul_pd(a.v, b.v)); }

    friend four operator/(four a, four b) { return four(_mm256_div_pd(a.v, b.v)); }

    friend four fma(four a, four b, four c) { return four(_mm256_fmadd_pd(a.v, b.v, c.v)); }

    friend four fms(four a, four b, four c) { return four(_mm256_fmsub_pd(a.v, b.v, c.v)); }

    friend four fnma(four a, four b, four c) { return four(_mm256_fnmadd_pd(a.v, b.v, c.v)); }

    friend four root(four a) { return four(_mm256_sqrt_pd(a.v)); }

    friend four larger(four a, four b) { return four(_mm256_max_pd(a.v, b.v)); }

    friend four smaller(four a, four b) { return four(_mm256_min_pd(a.v, b.v)); }

    friend four_flags operator<(four a, four b)
    {
        return four_flags(_mm256_cmp_pd(a.v, b.v, _CMP_LT_OQ));
    }

    friend four_flags not_less(four a, four b)
    {
        return four_flags(_mm256_cmp_pd(a.v, b.v, _CMP_NLT_UQ));
    }

    friend four_flags not_equal(four a, four b)
    {
        return four_flags(_mm256_cmp_pd(a.v, b.v, _CMP_NEQ_UQ));
    }

    friend four select(four_flags choice, four a, four b)
    {
        return four(_mm256_blendv_pd(b.v, a.v, choice.v));
    }

    four_words bits() const { return four_words(_mm256_castpd_si256(v)); }

    static four from_bits(four_words w) { return four(_mm256_castsi256_pd(w.v)); }

    template <std::size_t size>
    static four lookup(const double (&table)[size], four_words index)
    {
        const __m256i low_bits = _mm256_and_si256(index.v, _mm256_set1_epi64x(size - 1));
        return four(_mm256_i64gather_pd(table, low_bits, 8));
    }
};

} // namespace
} // namespace numerical::vector_math
