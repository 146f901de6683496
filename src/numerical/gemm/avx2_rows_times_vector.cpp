#include "numerical/gemm/vector_product_kernels.hpp"

#include "numerical/gemm/avx2_row_quads.hpp"

#include <immintrin.h>

// Several quads of rows run side by side: one quad's additions would wait for each other.

namespace numerical::detail {
namespace {

// A square of four rows and four neighbouring numbers, by its columns.
struct turned_square
{
    __m256d c0;
    __m256d c1;
    __m256d c2;
    __m256d c3;
};

[[gnu::always_inline]] inline turned_square square_by_loads(const double* a, const row_offsets& row)
{
    const quad_of_pairs near = pairs_at(a, row);
    const quad_of_pairs far = pairs_at(a + 2, row);
    return {near.first, near.second, far.first, far.second};
}

[[gnu::always_inline]] inline turned_square square_by_shuffles(const double* a,
                                                               const row_offsets& row)
{
    const __m256d r0 = _mm256_loadu_pd(a);
    const __m256d r1 = _mm256_loadu_pd(a + row.second);
    const __m256d r2 = _mm256_loadu_pd(a + row.third);
    const __m256d r3 = _mm256_loadu_pd(a + row.fourth);
    const __m256d upper_even = _mm256_unpacklo_pd(r0, r1);
    const __m256d upper_odd = _mm256_unpackhi_pd(r0, r1);
    const __m256d lower_even = _mm256_unpacklo_pd(r2, r3);
    const __m256d lower_odd = _mm256_unpackhi_pd(r2, r3);
    return {_mm256_permute2f128_pd(upper_even, lower_even, 0x20),
            _mm256_permute2f128_pd(upper_odd, lower_odd, 0x20),
            _mm256_permute2f128_pd(upper_even, lower_even, 0x31),
            _mm256_permute2f128_pd(upper_odd, lower_odd, 0x31)};
}

[[gnu::always_inline]] inline __m256d column_at(const double* a, const row_offsets& row)
{
    return _mm256_setr_pd(a[0], a[row.second], a[row.third], a[row.fourth]);
}

// The sums of a quad and, by recursion, of those below: each accumulator has a name of its own.
// Every other square is made by shuffles alone, so that neither they nor the loads set the pace.
template <std::size_t quads>
struct quad_sums
{
    const double* a;
    __m256d sum;
    quad_sums<quads - 1> below;

    quad_sums(const double* first, std::size_t lda, const double* sums)
        : a(first), sum(_mm256_loadu_pd(sums)),
          below(first + quad_rows * lda, lda, sums + quad_rows)
    {
    }

    [[gnu::always_inline]] void add_four(const row_offsets& whole, const row_offsets& last,
                                         const turned_square& x)
    {
        const row_offsets& row = quads == 1 ? last : whole;
        const turned_square square =
            quads % 2 == 0 ? square_by_shuffles(a, row) : square_by_loads(a, row);
        sum = _mm256_fmadd_pd(square.c0, x.c0, sum);
        sum = _mm256_fmadd_pd(square.c1, x.c1, sum);
        sum = _mm256_fmadd_pd(square.c2, x.c2, sum);
        sum = _mm256_fmadd_pd(square.c3, x.c3, sum);
        a += 4;
        below.add_four(whole, last, x);
    }

    [[gnu::always_inline]] void add_one(const row_offsets& whole, const row_offsets& last,
                                        __m256d x)
    {
        sum = _mm256_fmadd_pd(column_at(a, quads == 1 ? last : whole), x, sum);
        a += 1;
        below.add_one(whole, last, x);
    }

    void store(double* sums) const
    {
        _mm256_storeu_pd(sums, sum);
        below.store(sums + quad_rows);
    }
};

template <>
struct quad_sums<0>
{
    quad_sums(const double*, std::size_t, const double*) {}

    void add_four(const row_offsets&, const row_offsets&, const turned_square&) {}

    void add_one(const row_offsets&, const row_offsets&, __m256d) {}

    void store(double*) const {}
};

// The last quad's offsets are others where it lacks rows; where they are equal, whole quads leave
// three registers free.
template <std::size_t quads>
[[gnu::always_inline]] inline void add_positions(quad_sums<quads>& sums, std::size_t depth,
                                                 const double* x, const row_offsets& whole,
                                                 const row_offsets& last)
{
    for (; depth >= 4; depth -= 4, x += 4)
        sums.add_four(whole, last,
                      {_mm256_broadcast_sd(x), _mm256_broadcast_sd(x + 1),
                       _mm256_broadcast_sd(x + 2), _mm256_broadcast_sd(x + 3)});
    for (; depth != 0; --depth, ++x)
        sums.add_one(whole, last, _mm256_broadcast_sd(x));
}

template <std::size_t quads>
[[gnu::noinline]] void add_rows(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    quad_sums<quads> sum(a, lda, sums);
    const row_offsets whole(quad_rows, lda);
    if (rows == quads * quad_rows)
        add_positions(sum, depth, x, whole, whole);
    else
        add_positions(sum, depth, x, whole, {rows - (quads - 1) * quad_rows, lda});
    sum.store(sums);
}

} // namespace

void avx2_add_rows_times_vector(std::size_t rows, std::size_t depth, const double* a,
                                std::size_t lda, const double* x, double* sums)
{
    constexpr std::size_t most = most_rows_of_vector_product / quad_rows;
    using form =
        void (*)(std::size_t, std::size_t, const double*, std::size_t, const double*, double*);
    static constexpr form by_quads[most] = {add_rows<1>, add_rows<2>, add_rows<3>,
                                            add_rows<4>, add_rows<5>, add_rows<6>};
    by_quads[(rows - 1) / quad_rows](rows, depth, a, lda, x, sums);
}

} // namespace numerical::detail
