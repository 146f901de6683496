#pragma once

// The AVX-512F intrinsics that the kernels use, as plain C++ over eight doubles, so that the
// avx512 sources run, with the same bits, on a machine without the instructions. The emulated test
// programs are built with it in place of the compiler's header; an intrinsic that isn't here isn't
// used, and who needs another adds it.

// What the loops of the kernels are made of is inlined by force, and the lanes are vectors of the
// compiler's, which makes two instructions of AVX2 of each where the builder has them. The rest are
// calls: inline everywhere, their loops would take minutes to compile.
#define EMULATED_INLINE [[gnu::always_inline]] static inline

using __mmask8 = unsigned char;
using emulated_lanes = double __attribute__((vector_size(64)));
using emulated_places = long long __attribute__((vector_size(64)));
using emulated_half = double __attribute__((vector_size(32)));

struct alignas(64) __m512d
{
    emulated_lanes lane;
};

struct alignas(64) __m512i
{
    unsigned long long lane[8];
};

// The lower half, of which there is a store alone.
struct alignas(32) __m256d
{
    double lane[4];
};

EMULATED_INLINE __m256d _mm512_castpd512_pd256(__m512d v)
{
    return {{v.lane[0], v.lane[1], v.lane[2], v.lane[3]}};
}

EMULATED_INLINE void _mm256_storeu_pd(double* to, __m256d v)
{
    __builtin_memcpy(to, v.lane, sizeof v.lane);
}

// --- lanes from nothing, from numbers, from memory -----------------------------------------------

EMULATED_INLINE __m512d _mm512_set1_pd(double x)
{
    return {emulated_lanes{x, x, x, x, x, x, x, x}};
}

EMULATED_INLINE __m512d _mm512_setzero_pd()
{
    return _mm512_set1_pd(0.0);
}

static inline __m512d _mm512_setr_pd(double l0, double l1, double l2, double l3, double l4,
                                     double l5, double l6, double l7)
{
    return {emulated_lanes{l0, l1, l2, l3, l4, l5, l6, l7}};
}

EMULATED_INLINE __m512d _mm512_loadu_pd(const void* from)
{
    __m512d v;
    __builtin_memcpy(&v.lane, from, sizeof v.lane);
    return v;
}

// A lane that is masked out is not read: its memory need not be there.
static inline __m512d _mm512_maskz_loadu_pd(__mmask8 mask, const void* from)
{
    __m512d v = _mm512_setzero_pd();
    for (int i = 0; i < 8; ++i)
        if ((mask >> i & 1) != 0)
            v.lane[i] = static_cast<const double*>(from)[i];
    return v;
}

EMULATED_INLINE void _mm512_storeu_pd(void* to, __m512d v)
{
    __builtin_memcpy(to, &v.lane, sizeof v.lane);
}

static inline void _mm512_mask_storeu_pd(void* to, __mmask8 mask, __m512d v)
{
    for (int i = 0; i < 8; ++i)
        if ((mask >> i & 1) != 0)
            static_cast<double*>(to)[i] = v.lane[i];
}

// --- arithmetic ----------------------------------------------------------------------------------

EMULATED_INLINE __m512d _mm512_add_pd(__m512d a, __m512d b)
{
    a.lane += b.lane;
    return a;
}

EMULATED_INLINE __m512d _mm512_sub_pd(__m512d a, __m512d b)
{
    a.lane -= b.lane;
    return a;
}

EMULATED_INLINE __m512d _mm512_mul_pd(__m512d a, __m512d b)
{
    a.lane *= b.lane;
    return a;
}

EMULATED_INLINE __m512d _mm512_div_pd(__m512d a, __m512d b)
{
    a.lane /= b.lane;
    return a;
}

static inline __m512d _mm512_sqrt_pd(__m512d a)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] = __builtin_sqrt(a.lane[i]);
    return a;
}

static inline __m512d _mm512_abs_pd(__m512d a)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] = __builtin_fabs(a.lane[i]);
    return a;
}

EMULATED_INLINE emulated_lanes emulated_fma(emulated_lanes a, emulated_lanes b, emulated_lanes c)
{
#ifdef __FMA__
    emulated_half x[2], y[2], z[2];
    __builtin_memcpy(x, &a, sizeof a);
    __builtin_memcpy(y, &b, sizeof b);
    __builtin_memcpy(z, &c, sizeof c);
    for (int i = 0; i < 2; ++i)
        z[i] = __builtin_ia32_vfmaddpd256(x[i], y[i], z[i]);
    __builtin_memcpy(&c, z, sizeof c);
#else
    for (int i = 0; i < 8; ++i)
        c[i] = __builtin_fma(a[i], b[i], c[i]);
#endif
    return c;
}

EMULATED_INLINE __m512d _mm512_fmadd_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(a.lane, b.lane, c.lane)};
}

EMULATED_INLINE __m512d _mm512_fnmadd_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(-a.lane, b.lane, c.lane)};
}

// By halves: upper onto lower until one lane is left.
static inline double _mm512_reduce_add_pd(__m512d v)
{
    for (int half = 4; half != 0; half /= 2)
        for (int i = 0; i < half; ++i)
            v.lane[i] += v.lane[i + half];
    return v.lane[0];
}

// --- comparisons ---------------------------------------------------------------------------------

// Those that the kernels ask for, by the codes of the instruction.
constexpr int _CMP_EQ_OQ = 0x00;
constexpr int _CMP_UNORD_Q = 0x03;
constexpr int _CMP_NEQ_UQ = 0x04;
constexpr int _CMP_LT_OQ = 0x11;
constexpr int _CMP_NLT_UQ = 0x15;
constexpr int _CMP_GE_OQ = 0x1d;
constexpr int _CMP_GT_OQ = 0x1e;

static inline bool emulated_comparison(double a, double b, int which)
{
    switch (which) {
    case _CMP_EQ_OQ:
        return a == b;
    case _CMP_UNORD_Q:
        return __builtin_isunordered(a, b) != 0;
    case _CMP_NEQ_UQ:
        return a != b;
    case _CMP_LT_OQ:
        return a < b;
    case _CMP_NLT_UQ:
        return !(a < b);
    case _CMP_GE_OQ:
        return a >= b;
    default:
        return a > b;
    }
}

static inline __mmask8 _mm512_cmp_pd_mask(__m512d a, __m512d b, int which)
{
    unsigned mask = 0;
    for (int i = 0; i < 8; ++i)
        mask |= static_cast<unsigned>(emulated_comparison(a.lane[i], b.lane[i], which)) << i;
    return static_cast<__mmask8>(mask);
}

// The lanes of b where the mask has a bit, those of a elsewhere.
static inline __m512d _mm512_mask_blend_pd(__mmask8 mask, __m512d a, __m512d b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] = (mask >> i & 1) != 0 ? b.lane[i] : a.lane[i];
    return a;
}

// --- lanes changing places -----------------------------------------------------------------------

// Of each pair the lane that the pair's two bits name.
static inline __m512d _mm512_permute_pd(__m512d v, int which)
{
    __m512d out;
    for (int i = 0; i < 8; ++i)
        out.lane[i] = v.lane[(i & ~1) + (which >> i & 1)];
    return out;
}

EMULATED_INLINE __m512d _mm512_unpacklo_pd(__m512d a, __m512d b)
{
    return {__builtin_shuffle(a.lane, b.lane, emulated_places{0, 8, 2, 10, 4, 12, 6, 14})};
}

// 128-bit lanes: two of a, then two of b, as the four pairs of bits of `which` say.
static inline __m512d _mm512_shuffle_f64x2(__m512d a, __m512d b, int which)
{
    __m512d out;
    for (int q = 0; q < 4; ++q) {
        const int from = 2 * ((which >> (2 * q)) & 3);
        const __m512d& source = q < 2 ? a : b;
        out.lane[2 * q] = source.lane[from];
        out.lane[2 * q + 1] = source.lane[from + 1];
    }
    return out;
}

EMULATED_INLINE __m512d _mm512_unpackhi_pd(__m512d a, __m512d b)
{
    return {__builtin_shuffle(a.lane, b.lane, emulated_places{1, 9, 3, 11, 5, 13, 7, 15})};
}

// --- roots, extremes, comparisons, choices -------------------------------------------------------

EMULATED_INLINE __m512d _mm512_fmsub_pd(__m512d a, __m512d b, __m512d c)
{
    return {emulated_fma(a.lane, b.lane, -c.lane)};
}

// The second operand where the first isn't the larger: for NaN and equal zeros too.
static inline __m512d _mm512_max_pd(__m512d a, __m512d b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] = a.lane[i] > b.lane[i] ? a.lane[i] : b.lane[i];
    return a;
}

static inline __m512d _mm512_min_pd(__m512d a, __m512d b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] = a.lane[i] < b.lane[i] ? a.lane[i] : b.lane[i];
    return a;
}

// Of the sixteen lanes of a and b the one that the low four bits of the index name.
static inline __m512d _mm512_permutex2var_pd(__m512d a, __m512i index, __m512d b)
{
    __m512d out;
    for (int i = 0; i < 8; ++i) {
        const unsigned long long which = index.lane[i] & 15;
        out.lane[i] = which < 8 ? a.lane[which] : b.lane[which - 8];
    }
    return out;
}

// --- words ---------------------------------------------------------------------------------------

static inline __m512i _mm512_castpd_si512(__m512d v)
{
    __m512i w;
    __builtin_memcpy(w.lane, &v.lane, sizeof w.lane);
    return w;
}

static inline __m512d _mm512_castsi512_pd(__m512i w)
{
    __m512d v;
    __builtin_memcpy(&v.lane, w.lane, sizeof v.lane);
    return v;
}

static inline __m512i _mm512_set1_epi64(long long x)
{
    __m512i w;
    for (int i = 0; i < 8; ++i)
        w.lane[i] = static_cast<unsigned long long>(x);
    return w;
}

static inline __m512i _mm512_add_epi64(__m512i a, __m512i b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] += b.lane[i];
    return a;
}

static inline __m512i _mm512_sub_epi64(__m512i a, __m512i b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] -= b.lane[i];
    return a;
}

static inline __m512i _mm512_and_si512(__m512i a, __m512i b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] &= b.lane[i];
    return a;
}

static inline __m512i _mm512_or_si512(__m512i a, __m512i b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] |= b.lane[i];
    return a;
}

static inline __m512i _mm512_xor_si512(__m512i a, __m512i b)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] ^= b.lane[i];
    return a;
}

static inline __m512i _mm512_slli_epi64(__m512i a, unsigned int by)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] <<= by;
    return a;
}

static inline __m512i _mm512_srli_epi64(__m512i a, unsigned int by)
{
    for (int i = 0; i < 8; ++i)
        a.lane[i] >>= by;
    return a;
}

static inline __mmask8 _mm512_test_epi64_mask(__m512i a, __m512i b)
{
    int mask = 0;
    for (int i = 0; i < 8; ++i)
        mask |= ((a.lane[i] & b.lane[i]) != 0 ? 1 : 0) << i;
    return static_cast<__mmask8>(mask);
}

static inline __mmask8 _mm512_cmpgt_epi64_mask(__m512i a, __m512i b)
{
    int mask = 0;
    for (int i = 0; i < 8; ++i)
        mask |= (static_cast<long long>(a.lane[i]) > static_cast<long long>(b.lane[i]) ? 1 : 0)
                << i;
    return static_cast<__mmask8>(mask);
}
