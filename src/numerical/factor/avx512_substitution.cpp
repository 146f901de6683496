#include "numerical/factor/substitution_kernels.hpp"

#include <immintrin.h>

namespace numerical::detail {
namespace {

constexpr std::size_t width = 8;

// Two vectors of a row.
struct pair
{
    __m512d first;
    __m512d second;
};

inline pair load(const double* x)
{
    return {_mm512_loadu_pd(x), _mm512_loadu_pd(x + width)};
}

inline void store(double* x, const pair& v)
{
    _mm512_storeu_pd(x, v.first);
    _mm512_storeu_pd(x + width, v.second);
}

inline pair less(const pair& sum, double coeff, const pair& row)
{
    const __m512d scale = _mm512_set1_pd(coeff);
    return {_mm512_fnmadd_pd(scale, row.first, sum.first),
            _mm512_fnmadd_pd(scale, row.second, sum.second)};
}

// i·z for the complex numbers z of a vector.
inline __m512d turned(__m512d z)
{
    const __m512d signs = _mm512_setr_pd(-1, 1, -1, 1, -1, 1, -1, 1);
    return _mm512_mul_pd(signs, _mm512_permute_pd(z, 0x55));
}

// A row that is ready to be subtracted in multiples.
struct real_row
{
    static constexpr std::size_t doubles = 1; // of an element
    pair parts;

    explicit real_row(const pair& row) : parts(row) {}

    pair less_multiple(const pair& sum, const double* coeff) const
    {
        return less(sum, *coeff, parts);
    }
};

struct complex_row
{
    static constexpr std::size_t doubles = 2;
    pair parts;
    pair turned_parts;

    explicit complex_row(const pair& row)
        : parts(row), turned_parts{turned(row.first), turned(row.second)}
    {
    }

    pair less_multiple(const pair& sum, const double* coeff) const
    {
        return less(less(sum, coeff[0], parts), coeff[1], turned_parts);
    }
};

// Strides and n in doubles.
template <class Row>
void subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                        std::size_t coeff_stride, const double* rows, std::size_t terms,
                        std::size_t n, four_rows among)
{
    const double* const c1 = coeffs + coeff_stride;
    const double* const c2 = coeffs + 2 * coeff_stride;
    const double* const c3 = coeffs + 3 * coeff_stride;
    const std::size_t end = terms * Row::doubles;
    for (std::size_t j = 0; j < n; j += 2 * width) {
        double* const strip = out + j;
        pair s0 = load(strip);
        pair s1 = load(strip + stride);
        pair s2 = load(strip + 2 * stride);
        pair s3 = load(strip + 3 * stride);
        const double* row_strip = rows + j;
        for (std::size_t t = 0; t < end; t += Row::doubles, row_strip += stride) {
            const Row row(load(row_strip));
            s0 = row.less_multiple(s0, coeffs + t);
            s1 = row.less_multiple(s1, c1 + t);
            s2 = row.less_multiple(s2, c2 + t);
            s3 = row.less_multiple(s3, c3 + t);
        }
        if (among == four_rows::unit_triangle) {
            const Row r0(s0);
            s1 = r0.less_multiple(s1, c1 + end);
            const Row r1(s1);
            s2 = r1.less_multiple(r0.less_multiple(s2, c2 + end), c2 + end + Row::doubles);
            const Row r2(s2);
            s3 = r1.less_multiple(r0.less_multiple(s3, c3 + end), c3 + end + Row::doubles);
            s3 = r2.less_multiple(s3, c3 + end + 2 * Row::doubles);
        }
        store(strip, s0);
        store(strip + stride, s1);
        store(strip + 2 * stride, s2);
        store(strip + 3 * stride, s3);
    }
}

} // namespace

void avx512_subtract_from_four(double* out, std::size_t stride, const double* coeffs,
                               std::size_t coeff_stride, const double* rows, std::size_t terms,
                               std::size_t n, four_rows among)
{
    subtract_from_four<real_row>(out, stride, coeffs, coeff_stride, rows, terms, n, among);
}

void avx512_subtract_complex_from_four(double* out, std::size_t stride, const double* coeffs,
                                       std::size_t coeff_stride, const double* rows,
                                       std::size_t terms, std::size_t n, four_rows among)
{
    subtract_from_four<complex_row>(out, 2 * stride, coeffs, 2 * coeff_stride, rows, terms, 2 * n,
                                    among);
}

} // namespace numerical::detail
