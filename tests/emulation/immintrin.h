#pragma once

// The AVX-512F intrinsics that the kernels use, as C++ over two halves of four doubles, so that the
// avx512 sources run, with the same bits, on a machine without the instructions. The emulated test
// programs are built with it in place of the compiler's header; an intrinsic that isn't here isn't
// used, and who needs another adds it, and a line to tests/emulation/intrinsics.cpp, which compares
// each with the instruction.

// A half is a vector of the compiler's, one register of AVX2 where the builder has them: eight
// doubles in one such vector would live in memory, as no register holds them.
#define EMULATED_INLINE [[gnu::always_inline]] static inline

using __mmask8 = unsigned char;
using emulated_doubles = double __attribute__((vector_size(32)));
using emulated_words = unsigned long long __attribute__((vector_size(32)));
using emulated_integers = long long __attribute__((vector_size(32)));

struct alignas(64) __m512d
{
    emulated_doubles low;
    emulated_doubles high;
};

struct alignas(64) __m512i
{
    emulated_words low;
    emulated_words high;
};

// The lower half, of which there is a store alone.
struct __m256d
{
    emulated_doubles lane;
};

EMULATED_INLINE __m256d _mm512_castpd512_pd256(__m512d v)
{
    return {v.low};
}

EMULATED_INLINE void _mm256_storeu_pd(double* to, __m256d v)
{
    __builtin_memcpy(to, &v.lane, sizeof v.lane);
}

// --- masks ---------------------------------------------------------------------------------------

// All ones in the lanes of a half whose bits are set.
EMULATED_INLINE emulated_integers emulated_chosen(int bits)
{
    constexpr emulated_integers bit_of_lane{1, 2, 4, 8};
    return (bit_of_lane & bits) != 0;
}

// The bits of the lanes of a half that are all ones.
EMULATED_INLINE int emulated_bits(emulated_integers chosen)
{
#ifdef __AVX2__
    return __builtin_ia32_movmskpd256(reinterpret_cast<emulated_doubles>(chosen));
#else
    const emulated_integers bits = chosen & emulated_integers{1, 2, 4, 8};
    return static_cast<int>(bits[0] | bits[1] | bits[2] | bits[3]);
#endif
}

EMULATED_INLINE __mmask8 emulated_mask(emulated_integers low, emulated_integers high)
{
    return static_cast<__mmask8>(emulated_bits(low) | emulated_bits(high) << 4);
}

// --- lanes from nothing, from numbers, from memory -----------------------------------------------

EMULATED_INLINE __m512d _mm512_setr_pd(double l0, double l1, double l2, double l3, double l4,
                                       double l5, double l6, double l7)
{
    return {emulated_doubles{l0, l1, l2, l3}, emulated_doubles{l4, l5, l6, l7}};
}

EMULATED_INLINE __m512d _mm512_set1_pd(double x)
{
    const emulated_doubles half{x, x, x, x};
    return {half, half};
}

EMULATED_INLINE __m512d _mm512_setzero_pd()
{
    return _mm512_set1_pd(0.0);
}

EMULATED_INLINE __m512d _mm512_loadu_pd(const void* from)
{
    __m512d v;
    __builtin_memcpy(&v.low, from, sizeof v.low);
    __builtin_memcpy(&v.high, static_cast<const double*>(from) + 4, sizeof v.high);
    return v;
}

EMULATED_INLINE void _mm512_storeu_pd(void* to, __m512d v)
{
    __builtin_memcpy(to, &v.low, sizeof v.low);
    __builtin_memcpy(static_cast<double*>(to) + 4, &v.high, sizeof v.high);
}

// A lane that is masked out is neither read nor written: its memory need not be there.
EMULATED_INLINE emulated_doubles emulated_load(int bits, const double* from)
{
#ifdef __AVX2__
    return __builtin_ia32_maskloadpd256(reinterpret_cast<const emulated_doubles*>(from),
                                        emulated_chosen(bits));
#else
    emulated_doubles v{};
    for (int i = 0; i < 4; ++i)
        if ((bits >> i & 1) != 0)
            v[i] = from[i];
    return v;
#endif
}

EMULATED_INLINE void emulated_store(double* to, int bits, emulated_doubles v)
{
#ifdef __AVX2__
    __builtin_ia32_maskstorepd256(reinterpret_cast<emulated_doubles*>(to), emulated_chosen(bits),
                                  v);
#else
    for (int i = 0; i < 4; ++i)
        if ((bits >> i & 1) != 0)
            to[i] = v[i];
#endif
}

EMULATED_INLINE __m512d _mm512_maskz_loadu_pd(__mmask8 mask, const void* from)
{
    const auto* first = static_cast<const double*>(from);
    return {emulated_load(mask, first), emulated_load(mask >> 4, first + 4)};
}

EMULATED_INLINE void _mm512_mask_storeu_pd(void* to, __mmask8 mask, __m512d v)
{
    auto* first = static_cast<double*>(to);
    emulated_store(first, mask, v.low);
    emulated_store(first + 4, mask >> 4, v.high);
}

// --- arithmetic ----------------------------------------------------------------------------------

EMULATED_INLINE __m512d _mm512_add_pd(__m512d a, __m512d b)
{
    return {a.low + b.low, a.high + b.high};
}

EMULATED_INLINE __m512d _mm512_sub_pd(__m512d a, __m512d b)
{
    return {a.low - b.low, a.high - b.high};
}

EMULATED_INLINE __m512d _mm512_mul_pd(__m512d a, __m512d b)
{
    return {a.low * b.low, a.high * b.high};
}

EMULATED_INLINE __m512d _mm512_div_pd(__m512d a, __m512d b)
{
    return {a.low / b.low, a.high / b.high};
}

EMULATED_INLINE emulated_doubles emulated_sqrt(emulated_doubles v)
{
    return emulated_doubles{__builtin_sqrt(v[0]), __builtin_sqrt(v[1]), __builtin_sqrt(v[2]),
                            __builtin_sqrt(v[3])};
}

EMULATED_INLINE __m512d _mm512_sqrt_pd(__m512d v)
{
    return {emulated_sqrt(v.low), emulated_sqrt(v.high)};
}

EMULATED_INLINE emulated_doubles emulated_abs(emulated_doubles v)
{
    const auto words = reinterpret_cast<emulated_words>(v);
    return reinterpret_cast<emulated_doubles>(words & ~0ULL >> 1);
}

EMULATED_INLINE __m512d _mm512_abs_pd(__m512d v)
{
    return {emulated_abs(v.low), emulated_abs(v.high)};
}

EMULATED_INLINE emulated_doubles emulated_fma(emulated_doubles a, emulated_doubles b,
                                              emulated_doubles c)
{
#ifdef __FMA__
    return __builtin_ia32_vfmaddpd256(a, b, c);
#else
    return emulated_doubles{__builtin_fma(a[0], b[0], c[0]), __builtin_fma(a[1], b[1], c[1]),
                            __builtin_fma(a[2], b[2], c[2]), __builtin_fma(a[3], b[3], c[3])};
#endif
}

EMULATED_INLINE __m512d _mm512_fmadd_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(a.low, b.low, c.low), emulated_fma(a.high, b.high, c.high)};
}

EMULATED_INLINE __m512d _mm512_fmsub_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(a.low, b.low, -c.low), emulated_fma(a.high, b.high, -c.high)};
}

EMULATED_INLINE __m512d _mm512_fnmadd_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(-a.low, b.low, c.low), emulated_fma(-a.high, b.high, c.high)};
}

// By halves: upper onto lower until one lane is left.
EMULATED_INLINE double _mm512_reduce_add_pd(__m512d v)
{
    const emulated_doubles four = v.low + v.high;
    return (four[0] + four[2]) + (four[1] + four[3]);
}

// The second operand where the first isn't the larger: for NaN and equal zeros too.
EMULATED_INLINE __m512d _mm512_max_pd(__m512d a, __m512d b)
{
    return {a.low > b.low ? a.low : b.low, a.high > b.high ? a.high : b.high};
}

// By halves, each upper lane the first operand.
EMULATED_INLINE double _mm512_reduce_max_pd(__m512d v)
{
    const emulated_doubles four = v.high > v.low ? v.high : v.low;
    const double even = four[2] > four[0] ? four[2] : four[0];
    const double odd = four[3] > four[1] ? four[3] : four[1];
    return even > odd ? even : odd;
}

EMULATED_INLINE __m512d _mm512_min_pd(__m512d a, __m512d b)
{
    return {a.low < b.low ? a.low : b.low, a.high < b.high ? a.high : b.high};
}

// --- comparisons and choices ---------------------------------------------------------------------

// Those that the kernels ask for, by the codes of the instruction.
constexpr int _CMP_EQ_OQ = 0x00;
constexpr int _CMP_UNORD_Q = 0x03;
constexpr int _CMP_NEQ_UQ = 0x04;
constexpr int _CMP_LT_OQ = 0x11;
constexpr int _CMP_NLT_UQ = 0x15;
constexpr int _CMP_GE_OQ = 0x1d;
constexpr int _CMP_GT_OQ = 0x1e;

EMULATED_INLINE emulated_integers emulated_comparison(emulated_doubles a, emulated_doubles b,
                                                      int which)
{
    switch (which) {
    case _CMP_EQ_OQ:
        return a == b;
    case _CMP_UNORD_Q:
        return (a != a) | (b != b);
    case _CMP_NEQ_UQ:
        return a != b;
    case _CMP_LT_OQ:
        return a < b;
    case _CMP_NLT_UQ:
        return ~(a < b);
    case _CMP_GE_OQ:
        return a >= b;
    default:
        return a > b;
    }
}

EMULATED_INLINE __mmask8 _mm512_cmp_pd_mask(__m512d a, __m512d b, int which)
{
    return emulated_mask(emulated_comparison(a.low, b.low, which),
                         emulated_comparison(a.high, b.high, which));
}

// The lanes of b where the mask has a bit, those of a elsewhere.
EMULATED_INLINE __m512d _mm512_mask_blend_pd(__mmask8 mask, __m512d a, __m512d b)
{
    return {emulated_chosen(mask) ? b.low : a.low, emulated_chosen(mask >> 4) ? b.high : a.high};
}

// --- lanes changing places -----------------------------------------------------------------------

// Of each pair the lane that the pair's two bits name.
EMULATED_INLINE emulated_doubles emulated_permute(emulated_doubles v, int which)
{
    return __builtin_shuffle(v, emulated_integers{which & 1, which >> 1 & 1, 2 + (which >> 2 & 1),
                                                  2 + (which >> 3 & 1)});
}

EMULATED_INLINE __m512d _mm512_permute_pd(__m512d v, int which)
{
    return {emulated_permute(v.low, which), emulated_permute(v.high, which >> 4)};
}

EMULATED_INLINE __m512d _mm512_unpacklo_pd(__m512d a, __m512d b)
{
    constexpr emulated_integers even{0, 4, 2, 6};
    return {__builtin_shuffle(a.low, b.low, even), __builtin_shuffle(a.high, b.high, even)};
}

EMULATED_INLINE __m512d _mm512_unpackhi_pd(__m512d a, __m512d b)
{
    constexpr emulated_integers odd{1, 5, 3, 7};
    return {__builtin_shuffle(a.low, b.low, odd), __builtin_shuffle(a.high, b.high, odd)};
}

// The two 128-bit lanes of v that two pairs of bits name.
EMULATED_INLINE emulated_doubles emulated_pairs(__m512d v, int which)
{
    const int first = 2 * (which & 3);
    const int second = 2 * (which >> 2 & 3);
    return __builtin_shuffle(v.low, v.high,
                             emulated_integers{first, first + 1, second, second + 1});
}

// 128-bit lanes: two of a, then two of b, as the four pairs of bits of `which` say.
EMULATED_INLINE __m512d _mm512_shuffle_f64x2(__m512d a, __m512d b, int which)
{
    return {emulated_pairs(a, which), emulated_pairs(b, which >> 4)};
}

// Of the sixteen lanes of a and b the one that the low four bits of the index name.
EMULATED_INLINE __m512d _mm512_permutex2var_pd(__m512d a, __m512i index, __m512d b)
{
    const emulated_doubles all[4] = {a.low, a.high, b.low, b.high};
    const auto lane = [&](unsigned long long which) { return all[which >> 2 & 3][which & 3]; };
    const auto half = [&](emulated_words of) {
        return emulated_doubles{lane(of[0]), lane(of[1]), lane(of[2]), lane(of[3])};
    };
    return {half(index.low), half(index.high)};
}

// Of the eight lanes of a the one that the low three bits of the index name.
EMULATED_INLINE __m512d _mm512_permutexvar_pd(__m512i index, __m512d a)
{
    const auto lane = [&](unsigned long long which) {
        return which & 4 ? a.high[which & 3] : a.low[which & 3];
    };
    const auto half = [&](emulated_words of) {
        return emulated_doubles{lane(of[0]), lane(of[1]), lane(of[2]), lane(of[3])};
    };
    return {half(index.low), half(index.high)};
}

// --- words ---------------------------------------------------------------------------------------

EMULATED_INLINE __m512i _mm512_castpd_si512(__m512d v)
{
    return {reinterpret_cast<emulated_words>(v.low), reinterpret_cast<emulated_words>(v.high)};
}

EMULATED_INLINE __m512d _mm512_castsi512_pd(__m512i w)
{
    return {reinterpret_cast<emulated_doubles>(w.low), reinterpret_cast<emulated_doubles>(w.high)};
}

EMULATED_INLINE __m512i _mm512_setr_epi64(long long l0, long long l1, long long l2, long long l3,
                                          long long l4, long long l5, long long l6, long long l7)
{
    const emulated_integers low{l0, l1, l2, l3};
    const emulated_integers high{l4, l5, l6, l7};
    return {reinterpret_cast<emulated_words>(low), reinterpret_cast<emulated_words>(high)};
}

EMULATED_INLINE __m512i _mm512_set1_epi64(long long x)
{
    const auto word = static_cast<unsigned long long>(x);
    const emulated_words half{word, word, word, word};
    return {half, half};
}

EMULATED_INLINE __m512i _mm512_add_epi64(__m512i a, __m512i b)
{
    return {a.low + b.low, a.high + b.high};
}

EMULATED_INLINE __m512i _mm512_sub_epi64(__m512i a, __m512i b)
{
    return {a.low - b.low, a.high - b.high};
}

EMULATED_INLINE __m512i _mm512_and_si512(__m512i a, __m512i b)
{
    return {a.low & b.low, a.high & b.high};
}

EMULATED_INLINE __m512i _mm512_or_si512(__m512i a, __m512i b)
{
    return {a.low | b.low, a.high | b.high};
}

EMULATED_INLINE __m512i _mm512_xor_si512(__m512i a, __m512i b)
{
    return {a.low ^ b.low, a.high ^ b.high};
}

EMULATED_INLINE __m512i _mm512_slli_epi64(__m512i a, unsigned int by)
{
    return {a.low << by, a.high << by};
}

EMULATED_INLINE __m512i _mm512_srli_epi64(__m512i a, unsigned int by)
{
    return {a.low >> by, a.high >> by};
}

EMULATED_INLINE __mmask8 _mm512_test_epi64_mask(__m512i a, __m512i b)
{
    return emulated_mask((a.low & b.low) != 0, (a.high & b.high) != 0);
}

EMULATED_INLINE emulated_integers emulated_larger(emulated_words a, emulated_words b)
{
    return reinterpret_cast<emulated_integers>(a) > reinterpret_cast<emulated_integers>(b);
}

EMULATED_INLINE __mmask8 _mm512_cmpgt_epi64_mask(__m512i a, __m512i b)
{
    return emulated_mask(emulated_larger(a.low, b.low), emulated_larger(a.high, b.high));
}
