#pragma once

// Eight doubles, for the algorithms that are written once over a type of lanes. Every operation
// rounds as the scalar one does. portable_lanes.hpp says what each function means. In an unnamed
// namespace, so that what is built for this instruction set is no symbol for others.

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

namespace numerical::vector_math {
namespace {

struct eight_flags
{
    __mmask8 v;

    explicit eight_flags(int flags) : v(static_cast<__mmask8>(flags)) {}

    friend eight_flags operator|(eight_flags a, eight_flags b) { return eight_flags(a.v | b.v); }

    friend eight_flags operator&(eight_flags a, eight_flags b) { return eight_flags(a.v & b.v); }

    unsigned int pattern() const { return v; }
};

struct eight_words
{
    __m512i v;

    explicit eight_words(__m512i w) : v(w) {}

    explicit eight_words(std::uint64_t w) : v(_mm512_set1_epi64(static_cast<long long>(w))) {}

    friend eight_words operator+(eight_words a, eight_words b)
    {
        return eight_words(_mm512_add_epi64(a.v, b.v));
    }

    friend eight_words operator-(eight_words a, eight_words b)
    {
        return eight_words(_mm512_sub_epi64(a.v, b.v));
    }

    friend eight_words operator&(eight_words a, eight_words b)
    {
        return eight_words(_mm512_and_si512(a.v, b.v));
    }

    friend eight_words operator|(eight_words a, eight_words b)
    {
        return eight_words(_mm512_or_si512(a.v, b.v));
    }

    friend eight_words operator^(eight_words a, eight_words b)
    {
        return eight_words(_mm512_xor_si512(a.v, b.v));
    }

    template <unsigned int by>
    eight_words left() const
    {
        return eight_words(_mm512_slli_epi64(v, by));
    }

    template <unsigned int by>
    eight_words right() const
    {
        return eight_words(_mm512_srli_epi64(v, by));
    }

    friend eight_flags operator>(eight_words a, eight_words b)
    {
        return eight_flags(_mm512_cmpgt_epi64_mask(a.v, b.v));
    }

    eight_flags odd() const { return eight_flags(_mm512_test_epi64_mask(v, _mm512_set1_epi64(1))); }
};

struct eight
{
    using words = eight_words;
    using flags = eight_flags;
    static constexpr std::size_t width = 8;

    __m512d v;

    explicit eight(__m512d lanes) : v(lanes) {}

    eight(double x) : v(_mm512_set1_pd(x)) {}

    static eight load(const double* from) { return eight(_mm512_loadu_pd(from)); }

    void store(double* to) const { _mm512_storeu_pd(to, v); }

    friend eight operator+(eight a, eight b) { return eight(_mm512_add_pd(a.v, b.v)); }

    friend eight operator-(eight a, eight b) { return eight(_mm512_sub_pd(a.v, b.v)); }

    friend eight operator*(eight a, eight b) { return eight(_mm512_mul_pd(a.v, b.v)); }

    friend eight operator/(eight a, eight b) { return eight(_mm512_div_pd(a.v, b.v)); }

    friend eight fma(eight a, eight b, eight c) { return eight(_mm512_fmadd_pd(a.v, b.v, c.v)); }

    friend eight fms(eight a, eight b, eight c) { return eight(_mm512_fmsub_pd(a.v, b.v, c.v)); }

    friend eight fnma(eight a, eight b, eight c) { return eight(_mm512_fnmadd_pd(a.v, b.v, c.v)); }

    friend eight root(eight a) { return eight(_mm512_sqrt_pd(a.v)); }

    friend eight larger(eight a, eight b) { return eight(_mm512_max_pd(a.v, b.v)); }

    friend eight smaller(eight a, eight b) { return eight(_mm512_min_pd(a.v, b.v)); }

    friend eight_flags operator<(eight a, eight b)
    {
        return eight_flags(_mm512_cmp_pd_mask(a.v, b.v, _CMP_LT_OQ));
    }

    friend eight_flags not_less(eight a, eight b)
    {
        return eight_flags(_mm512_cmp_pd_mask(a.v, b.v, _CMP_NLT_UQ));
    }

    friend eight_flags not_equal(eight a, eight b)
    {
        return eight_flags(_mm512_cmp_pd_mask(a.v, b.v, _CMP_NEQ_UQ));
    }

    friend eight select(eight_flags choice, eight a, eight b)
    {
        return eight(_mm512_mask_blend_pd(choice.v, b.v, a.v));
    }

    eight_words bits() const { return eight_words(_mm512_castpd_si512(v)); }

    static eight from_bits(eight_words w) { return eight(_mm512_castsi512_pd(w.v)); }

    static eight lookup(const double (&table)[16], eight_words index)
    {
        return eight(
            _mm512_permutex2var_pd(_mm512_loadu_pd(table), index.v, _mm512_loadu_pd(table + 8)));
    }

    static eight lookup(const double (&table)[32], eight_words index)
    {
        const __m512d low =
            _mm512_permutex2var_pd(_mm512_loadu_pd(table), index.v, _mm512_loadu_pd(table + 8));
        const __m512d high = _mm512_permutex2var_pd(_mm512_loadu_pd(table + 16), index.v,
                                                    _mm512_loadu_pd(table + 24));
        const __mmask8 upper = _mm512_test_epi64_mask(index.v, _mm512_set1_epi64(16));
        return eight(_mm512_mask_blend_pd(upper, low, high));
    }
};

} // namespace
} // namespace numerical::vector_math
