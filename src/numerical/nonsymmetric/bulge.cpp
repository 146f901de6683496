#include "numerical/nonsymmetric/bulge.hpp"

#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

double as_element(const complex& z, const double*)
{
    return z.real();
}

complex as_element(const complex& z, const complex*)
{
    return z;
}

double squared_modulus(double x)
{
    return x * x;
}

double squared_modulus(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

double divided_by(double x, double y)
{
    return x / y;
}

// x/y as x·conj(y)/|y|², for a y whose square neither overflows nor underflows.
complex divided_by(const complex& x, const complex& y)
{
    return finite_product(x, std::conj(y)) / squared_modulus(y);
}

// A factor that makes smaller squares than least_safe_square safe.
constexpr double lift = 0x1p600;

template <class T>
struct polar
{
    double modulus;
    T phase;
};

polar<double> polar_form(double x, double)
{
    return {std::abs(x), std::copysign(1.0, x)};
}

// Modulus and phase of an x with |x|² = square. A square near underflow has few digits, and a phase
// computed from it would not have modulus 1.
polar<complex> polar_form(const complex& x, double square)
{
    if (square < least_safe_square)
        return {numerical::detail::modulus(x), phase_of(x)};
    const double modulus = std::sqrt(square);
    return {modulus, x / modulus};
}

template <class T>
void reflect_two_rows(T* rows, std::size_t stride, std::size_t n, const bulge_reflector<T>& h)
{
    T* const r0 = rows;
    T* const r1 = rows + stride;
    const T w1c = conjugate(h.w1);
    for (std::size_t j = 0; j < n; ++j) {
        const T t = h.tau * (r0[j] + finite_product(w1c, r1[j]));
        r0[j] -= t;
        r1[j] -= finite_product(h.w1, t);
    }
}

template <class T>
void reflect_two_columns(T* rows, std::size_t stride, std::size_t count,
                         const bulge_reflector<T>& h)
{
    const T w1c = conjugate(h.w1);
    for (std::size_t i = 0; i < count; ++i) {
        T* const x = rows + i * stride;
        const T t = h.tau * (x[0] + finite_product(x[1], h.w1));
        x[0] -= t;
        x[1] -= finite_product(t, w1c);
    }
}

} // namespace

// The shifts are subtracted before anything is multiplied, so that a shift near h₁₁ loses no
// digits; the result is divided by s, so that nothing overflows.
template <class T>
void bulge_start(block_view<const T> h, std::size_t top, std::size_t order,
                 const shift_pair& shifts, T (&x)[3])
{
    const T* const none = nullptr;
    const T h11 = h(top, top);
    const T h21 = h(top + 1, top);
    const T h31_factor = order > 2 ? h(top + 2, top + 1) : T(0);
    const complex first_gap = complex(h11) - shifts.first;
    const complex second_gap = complex(h11) - shifts.second;
    const double s = rough_modulus(second_gap) + rough_modulus(h21);
    if (s == 0) {
        std::fill_n(x, 3, T(0));
        return;
    }
    const T h21s = h21 / s;
    x[0] = finite_product(h21s, h(top, top + 1)) +
           as_element(finite_product(first_gap, second_gap / s), none);
    x[1] = finite_product(h21s, h11 + h(top + 1, top + 1) -
                                    as_element(shifts.first + shifts.second, none));
    x[2] = finite_product(h21s, h31_factor);
}

template <class T>
bulge_reflector<T> reflector_of_three(const T (&x)[3], T& beta)
{
    const double tail = squared_modulus(x[1]) + squared_modulus(x[2]);
    const double head = squared_modulus(x[0]);
    if (head + tail < least_safe_square) {
        if (x[1] == T(0) && x[2] == T(0)) {
            beta = x[0];
            return {0, T(0), T(0)};
        }
        const T lifted[3] = {x[0] * lift, x[1] * lift, x[2] * lift};
        const bulge_reflector<T> reflector = reflector_of_three(lifted, beta);
        beta /= lift;
        return reflector;
    }
    if (tail == 0 && x[1] == T(0) && x[2] == T(0)) {
        beta = x[0];
        return {0, T(0), T(0)};
    }
    const double norm = std::sqrt(head + tail);
    const auto [modulus, phase] = polar_form(x[0], head);
    const T pivot = phase * (modulus + norm);
    beta = -phase * norm;
    return {(modulus + norm) / norm, divided_by(x[1], pivot), divided_by(x[2], pivot)};
}

template <class T>
void apply_reflector(const bulge_kernels<T>& kernels, const schur_views<T>& s,
                     const reflector_span& span, const similarity_reach& reach,
                     const bulge_reflector<T>& h)
{
    const std::size_t k = span.k;
    T* const rows = &s.h(k, span.col_from);
    const std::size_t width = reach.col_to - span.col_from;
    T* const columns = &s.h(reach.row_from, k);
    const std::size_t height = span.row_to - reach.row_from;
    if (span.count == 3) {
        kernels.rows(rows, s.h.stride, width, h);
        if (s.z.cols != 0)
            kernels.rows(s.z.row(k), s.z.stride, s.z.cols, h);
        kernels.columns(columns, s.h.stride, height, h);
        return;
    }
    reflect_two_rows(rows, s.h.stride, width, h);
    if (s.z.cols != 0)
        reflect_two_rows(s.z.row(k), s.z.stride, s.z.cols, h);
    reflect_two_columns(columns, s.h.stride, height, h);
}

template <class T>
bulge_reflector<T> move_bulge(const bulge_kernels<T>& kernels, const schur_views<T>& s,
                              const bulge_place& at, const shift_pair& shifts,
                              const similarity_reach& reach)
{
    const auto [top, end, k] = at;
    const std::size_t count = std::min<std::size_t>(3, end - k);
    T x[3] = {};
    if (k == top)
        bulge_start<T>(s.h, top, end - top, shifts, x);
    else
        for (std::size_t i = 0; i < count; ++i)
            x[i] = s.h(k + i, k - 1);
    T beta;
    const bulge_reflector<T> reflector = reflector_of_three(x, beta);
    if (k > top) {
        s.h(k, k - 1) = beta;
        for (std::size_t i = 1; i < count; ++i)
            s.h(k + i, k - 1) = T(0);
    }
    if (reflector.tau != 0)
        apply_reflector(kernels, s,
                        {.k = k, .count = count, .col_from = k, .row_to = std::min(k + 4, end)},
                        reach, reflector);
    return reflector;
}

template void bulge_start(block_view<const double>, std::size_t, std::size_t, const shift_pair&,
                          double (&)[3]);
template void bulge_start(block_view<const complex>, std::size_t, std::size_t, const shift_pair&,
                          complex (&)[3]);
template bulge_reflector<double> reflector_of_three(const double (&)[3], double&);
template bulge_reflector<complex> reflector_of_three(const complex (&)[3], complex&);
template void apply_reflector(const bulge_kernels<double>&, const schur_views<double>&,
                              const reflector_span&, const similarity_reach&,
                              const bulge_reflector<double>&);
template void apply_reflector(const bulge_kernels<complex>&, const schur_views<complex>&,
                              const reflector_span&, const similarity_reach&,
                              const bulge_reflector<complex>&);
template bulge_reflector<double> move_bulge(const bulge_kernels<double>&,
                                            const schur_views<double>&, const bulge_place&,
                                            const shift_pair&, const similarity_reach&);
template bulge_reflector<complex> move_bulge(const bulge_kernels<complex>&,
                                             const schur_views<complex>&, const bulge_place&,
                                             const shift_pair&, const similarity_reach&);

} // namespace numerical::detail
