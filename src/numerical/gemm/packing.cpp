#include "numerical/gemm/packing.hpp"

#include "numerical/counts.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <cstdint>
#include <emmintrin.h>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t most_kept_bytes = 0x2000000; // 32 MiB: larger products are one-off

} // namespace

template <class T>
aligned_block<T>& packing_storage<T>::kept()
{
    static thread_local aligned_block<T> block_of_thread;
    return block_of_thread;
}

template <class T>
packing_storage<T>::packing_storage(std::size_t a_elements, std::size_t b_elements)
    : block(std::exchange(kept(), {}))
{
    const std::size_t begin_of_b = round_up(a_elements, line_elements<T>);
    const std::size_t need = begin_of_b + b_elements;
    if (block.size() < need) {
        const std::size_t grown = std::max(need, 2 * block.size());
        block = {}; // the old panels are not worth moving
        block = aligned_block<T>(grown);
    }
    a = block.data();
    b = block.data() + begin_of_b;
}

template <class T>
packing_storage<T>::~packing_storage()
{
    if (block.size() * sizeof(T) <= most_kept_bytes)
        kept() = std::move(block);
}

template class packing_storage<double>;
template class packing_storage<std::complex<double>>;

namespace {

// One panel of `rows` whole rows, two by two positions at a time: in, transposed, out.
template <std::size_t mr>
void pack_a_panel(const double* a, std::size_t lda, std::size_t depth, double* panel)
{
    std::size_t p = 0;
    for (; p + 2 <= depth; p += 2, panel += 2 * mr)
        for (std::size_t r = 0; r < mr; r += 2) {
            const __m128d upper = _mm_loadu_pd(a + r * lda + p);
            const __m128d lower = _mm_loadu_pd(a + (r + 1) * lda + p);
            _mm_storeu_pd(panel + r, _mm_unpacklo_pd(upper, lower));
            _mm_storeu_pd(panel + mr + r, _mm_unpackhi_pd(upper, lower));
        }
    if (p < depth)
        for (std::size_t r = 0; r < mr; ++r)
            panel[r] = a[r * lda + p];
}

template <std::size_t mr>
void pack_a_panel(const std::complex<double>* a, std::size_t lda, std::size_t depth,
                  std::complex<double>* panel)
{
    for (std::size_t p = 0; p < depth; ++p)
        for (std::size_t r = 0; r < mr; ++r)
            panel[p * mr + r] = a[r * lda + p];
}

} // namespace

template <std::size_t mr, class T>
void pack_a(const T* a, std::size_t lda, std::size_t first, std::size_t last, std::size_t depth,
            T* panels)
{
    for (std::size_t i = first; i < last; i += mr) {
        T* const panel = panels + i * depth;
        if (i + mr <= last) {
            pack_a_panel<mr>(a + i * lda, lda, depth, panel);
            continue;
        }
        for (std::size_t p = 0; p < depth; ++p)
            for (std::size_t r = 0; r < mr; ++r)
                panel[p * mr + r] = i + r < last ? a[(i + r) * lda + p] : T(0);
    }
}

namespace {

// One pair of panels of `rows` whole rows, two rows at a time.
template <std::size_t mr>
void pack_parts_panel(const double* a, std::size_t lda, std::size_t depth, double* real,
                      double* imaginary)
{
    for (std::size_t p = 0; p < depth; ++p, real += mr, imaginary += mr)
        for (std::size_t r = 0; r < mr; r += 2) {
            const __m128d upper = _mm_loadu_pd(a + r * lda + 2 * p);
            const __m128d lower = _mm_loadu_pd(a + (r + 1) * lda + 2 * p);
            _mm_storeu_pd(real + r, _mm_unpacklo_pd(upper, lower));
            _mm_storeu_pd(imaginary + r, _mm_unpackhi_pd(upper, lower));
        }
}

} // namespace

template <std::size_t mr>
void pack_parts_of_a(const double* a, std::size_t lda, std::size_t first, std::size_t last,
                     std::size_t depth, double* panels)
{
    for (std::size_t i = first; i < last; i += mr) {
        double* const real = panels + i * 2 * depth;
        double* const imaginary = real + depth * mr;
        if (i + mr <= last) {
            pack_parts_panel<mr>(a + i * lda, lda, depth, real, imaginary);
            continue;
        }
        for (std::size_t p = 0; p < depth; ++p)
            for (std::size_t r = 0; r < mr; ++r) {
                const double* const from = a + (i + r) * lda + 2 * p;
                real[p * mr + r] = i + r < last ? from[0] : 0;
                imaginary[p * mr + r] = i + r < last ? from[1] : 0;
            }
    }
}

namespace {

// Rows of B may be a page apart, where the processor doesn't look ahead by itself.
constexpr std::size_t rows_ahead = 8;

template <std::size_t nr, class T>
void prefetch(const T* position)
{
    for (std::size_t at = 0; at < nr; at += line_elements<T>)
        __builtin_prefetch(position + at);
}

} // namespace

// Row by row over all the panels, so that B is read along its lines.
template <std::size_t nr, class T>
void pack_b(const T* b, std::size_t ldb, std::size_t first, std::size_t last, std::size_t depth,
            T* panels)
{
    const std::size_t whole_end = last - (last - first) % nr;
    for (std::size_t p = 0; p < depth; ++p) {
        const T* const row = b + p * ldb;
        const T* const later = b + std::min(p + rows_ahead, depth - 1) * ldb;
        for (std::size_t j = first; j < whole_end; j += nr) {
            prefetch<nr>(later + j);
            std::copy_n(row + j, nr, panels + j * depth + p * nr);
        }
        if (whole_end < last) {
            T* const position = panels + whole_end * depth + p * nr;
            std::fill(std::copy(row + whole_end, row + last, position), position + nr, T(0));
        }
    }
}

namespace {

template <std::size_t nr>
void take_apart(const double* row, double* position)
{
    for (std::size_t j = 0; j < nr / 2; j += 2) {
        const __m128d one = _mm_loadu_pd(row + j);
        const __m128d other = _mm_loadu_pd(row + nr / 2 + j);
        _mm_storeu_pd(position + j, _mm_unpacklo_pd(one, other));
        _mm_storeu_pd(position + nr / 2 + j, _mm_unpackhi_pd(one, other));
    }
}

} // namespace

template <std::size_t nr>
void pack_parts_of_b(const double* b, std::size_t ldb, std::size_t first, std::size_t last,
                     std::size_t depth, double* panels)
{
    const std::size_t whole_end = last - (last - first) % nr;
    std::array<double, nr> rest{};
    for (std::size_t p = 0; p < depth; ++p) {
        const double* const row = b + p * ldb;
        const double* const later = b + std::min(p + rows_ahead, depth - 1) * ldb;
        for (std::size_t j = first; j < whole_end; j += nr) {
            prefetch<nr>(later + j);
            take_apart<nr>(row + j, panels + j * depth + p * nr);
        }
        if (whole_end < last) {
            std::copy(row + whole_end, row + last, rest.begin());
            take_apart<nr>(rest.data(), panels + whole_end * depth + p * nr);
        }
    }
}

template void pack_a<16>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                         double*);
template void pack_a<8>(const double*, std::size_t, std::size_t, std::size_t, std::size_t, double*);
template void pack_a<6>(const std::complex<double>*, std::size_t, std::size_t, std::size_t,
                        std::size_t, std::complex<double>*);
template void pack_a<12>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                         double*);
template void pack_a<6>(const double*, std::size_t, std::size_t, std::size_t, std::size_t, double*);
template void pack_a<4>(const double*, std::size_t, std::size_t, std::size_t, std::size_t, double*);
template void pack_a<4>(const std::complex<double>*, std::size_t, std::size_t, std::size_t,
                        std::size_t, std::complex<double>*);
template void pack_parts_of_a<12>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                                  double*);
template void pack_parts_of_a<6>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                                 double*);
template void pack_parts_of_b<16>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                                  double*);
template void pack_parts_of_b<8>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                                 double*);
template void pack_b<16>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                         double*);
template void pack_b<8>(const double*, std::size_t, std::size_t, std::size_t, std::size_t, double*);
template void pack_b<12>(const double*, std::size_t, std::size_t, std::size_t, std::size_t,
                         double*);
template void pack_b<6>(const std::complex<double>*, std::size_t, std::size_t, std::size_t,
                        std::size_t, std::complex<double>*);

} // namespace numerical::detail
