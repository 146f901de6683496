#include "intrinsics.hpp"

#include <immintrin.h>

// OUTCOMES_OF is the function of intrinsics.hpp that the build names.

namespace test {
namespace {

class recorder
{
public:
    explicit recorder(intrinsic_outcome* to) : out(to) {}

    void lanes_of(const char* intrinsic, __m512d v) { take(intrinsic, false, &v, sizeof v); }

    void lanes_of(const char* intrinsic, __m512i v) { take(intrinsic, false, &v, sizeof v); }

    void arithmetic(const char* intrinsic, __m512d v) { take(intrinsic, true, &v, sizeof v); }

    void arithmetic(const char* intrinsic, double v) { take(intrinsic, true, &v, sizeof v); }

    void mask(const char* intrinsic, __mmask8 v) { take(intrinsic, false, &v, sizeof v); }

    void memory(const char* intrinsic, const double* v)
    {
        take(intrinsic, false, v, lanes * sizeof *v);
    }

    std::size_t count() const { return taken; }

private:
    // Counts also what there is no place for.
    void take(const char* intrinsic, bool arithmetic, const void* value, std::size_t size)
    {
        if (taken < most_outcomes) {
            out[taken] = {intrinsic, arithmetic, {}};
            __builtin_memcpy(out[taken].words, value, size);
        }
        ++taken;
    }

    intrinsic_outcome* out;
    std::size_t taken = 0;
};

// The last argument of these is part of the instruction: all of its values up to `which`.
template <int which>
void record_forms_up_to(recorder& record, __m512d a, __m512d b)
{
    record.lanes_of("_mm512_permute_pd", _mm512_permute_pd(a, which));
    record.lanes_of("_mm512_shuffle_f64x2", _mm512_shuffle_f64x2(a, b, which));
    if constexpr (which > 0)
        record_forms_up_to<which - 1>(record, a, b);
}

void record_arithmetic(recorder& record, __m512d a, __m512d b, __m512d c)
{
    record.arithmetic("_mm512_add_pd", _mm512_add_pd(a, b));
    record.arithmetic("_mm512_sub_pd", _mm512_sub_pd(a, b));
    record.arithmetic("_mm512_mul_pd", _mm512_mul_pd(a, b));
    record.arithmetic("_mm512_div_pd", _mm512_div_pd(a, b));
    record.arithmetic("_mm512_sqrt_pd", _mm512_sqrt_pd(a));
    record.arithmetic("_mm512_fmadd_pd", _mm512_fmadd_pd(a, b, c));
    record.arithmetic("_mm512_fmsub_pd", _mm512_fmsub_pd(a, b, c));
    record.arithmetic("_mm512_fnmadd_pd", _mm512_fnmadd_pd(a, b, c));
    record.arithmetic("_mm512_reduce_add_pd", _mm512_reduce_add_pd(a));
    record.arithmetic("_mm512_reduce_max_pd", _mm512_reduce_max_pd(a));
    record.lanes_of("_mm512_abs_pd", _mm512_abs_pd(a));
    record.lanes_of("_mm512_max_pd", _mm512_max_pd(a, b));
    record.lanes_of("_mm512_min_pd", _mm512_min_pd(a, b));
}

void record_comparisons(recorder& record, __m512d a, __m512d b)
{
    record.mask("_CMP_EQ_OQ", _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ));
    record.mask("_CMP_UNORD_Q", _mm512_cmp_pd_mask(a, b, _CMP_UNORD_Q));
    record.mask("_CMP_NEQ_UQ", _mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ));
    record.mask("_CMP_LT_OQ", _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ));
    record.mask("_CMP_NLT_UQ", _mm512_cmp_pd_mask(a, b, _CMP_NLT_UQ));
    record.mask("_CMP_GE_OQ", _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ));
    record.mask("_CMP_GT_OQ", _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ));
}

void record_words(recorder& record, __m512i a, __m512i b)
{
    record.lanes_of("_mm512_add_epi64", _mm512_add_epi64(a, b));
    record.lanes_of("_mm512_sub_epi64", _mm512_sub_epi64(a, b));
    record.lanes_of("_mm512_and_si512", _mm512_and_si512(a, b));
    record.lanes_of("_mm512_or_si512", _mm512_or_si512(a, b));
    record.lanes_of("_mm512_xor_si512", _mm512_xor_si512(a, b));
    record.lanes_of("_mm512_slli_epi64", _mm512_slli_epi64(a, 52));
    record.lanes_of("_mm512_srli_epi64", _mm512_srli_epi64(a, 52));
    record.mask("_mm512_test_epi64_mask", _mm512_test_epi64_mask(a, b));
    record.mask("_mm512_cmpgt_epi64_mask", _mm512_cmpgt_epi64_mask(a, b));
}

void record_memory(recorder& record, const intrinsic_operands& in, __m512d a, __m512d b)
{
    record.lanes_of("_mm512_maskz_loadu_pd", _mm512_maskz_loadu_pd(in.mask, in.readable));
    double stored[lanes];
    _mm512_storeu_pd(stored, b);
    record.memory("_mm512_storeu_pd", stored);
    _mm512_mask_storeu_pd(stored, in.mask, a);
    record.memory("_mm512_mask_storeu_pd", stored);
    _mm256_storeu_pd(stored + 2, _mm512_castpd512_pd256(b));
    record.memory("_mm256_storeu_pd", stored);
}

void record_lanes(recorder& record, const intrinsic_operands& in, __m512d a, __m512d b)
{
    const double* x = in.a;
    record.lanes_of("_mm512_set1_pd", _mm512_set1_pd(x[0]));
    record.lanes_of("_mm512_setzero_pd", _mm512_setzero_pd());
    record.lanes_of("_mm512_setr_pd",
                    _mm512_setr_pd(x[7], x[6], x[5], x[4], x[3], x[2], x[1], x[0]));
    record.lanes_of("_mm512_mask_blend_pd", _mm512_mask_blend_pd(in.mask, a, b));
    record.lanes_of("_mm512_unpacklo_pd", _mm512_unpacklo_pd(a, b));
    record.lanes_of("_mm512_unpackhi_pd", _mm512_unpackhi_pd(a, b));
    const __m512i index = _mm512_castpd_si512(_mm512_loadu_pd(in.index));
    record.lanes_of("_mm512_permutex2var_pd", _mm512_permutex2var_pd(a, index, b));
    record.lanes_of("_mm512_permutexvar_pd", _mm512_permutexvar_pd(index, a));
    record.lanes_of("_mm512_castsi512_pd", _mm512_castsi512_pd(index));
    const auto word = [&](std::size_t i) { return static_cast<long long>(in.index[i]); };
    record.lanes_of("_mm512_setr_epi64", _mm512_setr_epi64(word(7), word(6), word(5), word(4),
                                                           word(3), word(2), word(1), word(0)));
    record.lanes_of("_mm512_set1_epi64", _mm512_set1_epi64(word(0)));
}

} // namespace

std::size_t OUTCOMES_OF(const intrinsic_operands& in, intrinsic_outcome* out)
{
    recorder record(out);
    const __m512d a = _mm512_loadu_pd(in.a);
    const __m512d b = _mm512_loadu_pd(in.b);
    record_arithmetic(record, a, b, _mm512_loadu_pd(in.c));
    record_comparisons(record, a, b);
    record_words(record, _mm512_castpd_si512(a), _mm512_castpd_si512(b));
    record_memory(record, in, a, b);
    record_lanes(record, in, a, b);
    record_forms_up_to<255>(record, a, b);
    return record.count();
}

} // namespace test
