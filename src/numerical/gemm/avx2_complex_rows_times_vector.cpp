#include "numerical/gemm/vector_product_kernels.hpp"

#include "numerical/gemm/avx2_row_quads.hpp"

#include <immintrin.h>

// Two quads of rows are a group. While the products with a group's real parts are added, its
// imaginary parts are put aside, so that A is read once; they are added while the next group's real
// parts are. So eight chains of additions run side by side, and none waits for itself.

namespace numerical::detail {
namespace {

constexpr std::size_t group_rows = 2 * quad_rows;

// One position of x.
struct factor
{
    __m256d real;
    __m256d imag;
};

// The sums of a quad.
struct quad_sums
{
    __m256d real;
    __m256d imag;

    [[gnu::always_inline]] void add_real(__m256d a, const factor& x)
    {
        real = _mm256_fmadd_pd(a, x.real, real);
        imag = _mm256_fmadd_pd(a, x.imag, imag);
    }

    [[gnu::always_inline]] void add_imag(__m256d a, const factor& x)
    {
        real = _mm256_fnmadd_pd(a, x.imag, real);
        imag = _mm256_fmadd_pd(a, x.real, imag);
    }
};

// The sums of a group where they are kept between its two halves of the work: the real parts first.
struct kept_sums
{
    alignas(32) double parts[2 * group_rows];

    void load(const double* y, std::size_t step, std::size_t rows)
    {
        for (std::size_t r = 0; r < group_rows; ++r) {
            parts[r] = r < rows ? y[r * step] : 0;
            parts[group_rows + r] = r < rows ? y[r * step + 1] : 0;
        }
    }

    void store(double* y, std::size_t step, std::size_t rows) const
    {
        for (std::size_t r = 0; r < rows; ++r) {
            y[r * step] = parts[r];
            y[r * step + 1] = parts[group_rows + r];
        }
    }
};

struct group_sums
{
    quad_sums upper;
    quad_sums lower;

    explicit group_sums(const kept_sums& kept)
        : upper{_mm256_load_pd(kept.parts), _mm256_load_pd(kept.parts + group_rows)},
          lower{_mm256_load_pd(kept.parts + quad_rows),
                _mm256_load_pd(kept.parts + group_rows + quad_rows)}
    {
    }

    void keep(kept_sums& kept) const
    {
        _mm256_store_pd(kept.parts, upper.real);
        _mm256_store_pd(kept.parts + quad_rows, lower.real);
        _mm256_store_pd(kept.parts + group_rows, upper.imag);
        _mm256_store_pd(kept.parts + group_rows + quad_rows, lower.imag);
    }
};

// The rows of a group where they lie.
struct group_place
{
    const double* upper;
    const double* lower;
    row_offsets upper_rows;
    row_offsets lower_rows;
    std::size_t next_group;

    group_place(const double* first, std::size_t lda, std::size_t rows)
        : upper(first), lower(rows > quad_rows ? first + quad_rows * lda : first),
          upper_rows(rows, lda),
          lower_rows(rows > quad_rows ? row_offsets(rows - quad_rows, lda) : upper_rows),
          next_group(group_rows * lda)
    {
    }

    // A line of each row of the next group, into L2, for each line that was added.
    void ask_for_upper() const { ask_for_rows(upper + next_group, upper_rows); }

    void ask_for_lower() const { ask_for_rows(lower + next_group, lower_rows); }
};

// The task of a pass over the positions: it begins a group, ends the group before, or both.
template <bool begins, bool ends>
struct walk
{
    group_place place;
    group_sums begun;
    group_sums ended;
    const double* x;
    double* aside;

    [[gnu::always_inline]] void add_position()
    {
        const factor at{_mm256_broadcast_sd(x), _mm256_broadcast_sd(x + 1)};
        if constexpr (ends) {
            __m256d upper = _mm256_loadu_pd(aside);
            __m256d lower = _mm256_loadu_pd(aside + quad_rows);
            asm("" : "+x"(upper), "+x"(lower)); // each is loaded once, not for both products
            ended.upper.add_imag(upper, at);
            ended.lower.add_imag(lower, at);
        }
        if constexpr (begins) {
            const quad_of_pairs upper = pairs_at(place.upper, place.upper_rows);
            const quad_of_pairs lower = pairs_at(place.lower, place.lower_rows);
            begun.upper.add_real(upper.first, at);
            begun.lower.add_real(lower.first, at);
            _mm256_storeu_pd(aside, upper.second);
            _mm256_storeu_pd(aside + quad_rows, lower.second);
            place.upper += 2;
            place.lower += 2;
        }
        x += 2;
        aside += group_rows;
    }
};

// The imaginary parts of the ended group lie aside where those of the begun one are put.
template <bool begins, bool ends>
[[gnu::noinline]] void add_positions(const complex_rows_times_vector& p, const group_place& place,
                                     kept_sums& begun, kept_sums& ended)
{
    walk<begins, ends> w{place, group_sums(begun), group_sums(ended), p.x, p.aside};
    constexpr std::size_t line_positions = 4;
    std::size_t left = p.depth;
    for (; left >= line_positions; left -= line_positions) {
        w.add_position();
        w.add_position();
        if constexpr (begins)
            w.place.ask_for_upper();
        w.add_position();
        w.add_position();
        if constexpr (begins)
            w.place.ask_for_lower();
    }
    for (; left != 0; --left)
        w.add_position();
    w.begun.keep(begun);
    w.ended.keep(ended);
}

} // namespace

void avx2_add_complex_rows_times_vector(const complex_rows_times_vector& p)
{
    const auto rows_from = [&](std::size_t first) {
        return p.rows - first < group_rows ? p.rows - first : group_rows;
    };
    const auto place_of = [&](std::size_t first) {
        return group_place(p.a + first * p.lda, p.lda, rows_from(first));
    };
    kept_sums begun;
    kept_sums ended = {};
    begun.load(p.y, p.step, rows_from(0));
    add_positions<true, false>(p, place_of(0), begun, ended);
    std::size_t first = 0;
    for (; p.rows - first > group_rows; first += group_rows) {
        const std::size_t next = first + group_rows;
        ended = begun;
        begun.load(p.y + next * p.step, p.step, rows_from(next));
        add_positions<true, true>(p, place_of(next), begun, ended);
        ended.store(p.y + first * p.step, p.step, group_rows);
    }
    add_positions<false, true>(p, place_of(first), ended, begun);
    begun.store(p.y + first * p.step, p.step, rows_from(first));
}

} // namespace numerical::detail
