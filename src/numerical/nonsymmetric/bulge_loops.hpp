#pragma once

// Bulge reflectors for vectors of any width. For the kernels' own sources only: unnamed, as the
// vectors are.

#include <cstddef>

namespace numerical::detail {
namespace {

// H(i, j) of the reflector in doubles: {tau, w1, w2}.
inline double real_entry(const double* h, std::size_t i, std::size_t j)
{
    const double w[3] = {1.0, h[1], h[2]};
    return (i == j ? 1.0 : 0.0) - h[0] * w[i] * w[j];
}

// The parts of H(i, j), {tau, w1, w2} being of five doubles.
struct complex_entry
{
    double re;
    double im;

    complex_entry(const double* h, std::size_t i, std::size_t j)
    {
        const double w[6] = {1.0, 0.0, h[1], h[2], h[3], h[4]};
        re = (i == j ? 1.0 : 0.0) - h[0] * (w[2 * i] * w[2 * j] + w[2 * i + 1] * w[2 * j + 1]);
        im = i == j ? 0.0 : -h[0] * (w[2 * i + 1] * w[2 * j] - w[2 * i] * w[2 * j + 1]);
    }
};

template <class Lanes>
void reflect_real_rows(double* rows, std::size_t stride, std::size_t n, const double* h)
{
    double* const r0 = rows;
    double* const r1 = rows + stride;
    double* const r2 = rows + 2 * stride;
    const auto minus_w1 = Lanes::all(-h[1]);
    const auto minus_w2 = Lanes::all(-h[2]);
    const auto tau = Lanes::all(h[0]);
    const auto w1 = Lanes::all(h[1]);
    const auto w2 = Lanes::all(h[2]);
    for (std::size_t j = 0; j < n; j += Lanes::width) {
        const auto x0 = Lanes::load(r0 + j);
        const auto x1 = Lanes::load(r1 + j);
        const auto x2 = Lanes::load(r2 + j);
        const auto t = Lanes::times(tau, Lanes::less(Lanes::less(x0, minus_w1, x1), minus_w2, x2));
        Lanes::store(r0 + j, Lanes::less(x0, Lanes::all(1.0), t));
        Lanes::store(r1 + j, Lanes::less(x1, w1, t));
        Lanes::store(r2 + j, Lanes::less(x2, w2, t));
    }
}

// conj(w)·x = Re w·x - Im w·ix, and w·t = Re w·t + Im w·it.
template <class Lanes>
void reflect_complex_rows(double* rows, std::size_t stride, std::size_t n, const double* h)
{
    double* const r0 = rows;
    double* const r1 = rows + 2 * stride;
    double* const r2 = rows + 4 * stride;
    const auto tau = Lanes::all(h[0]);
    const auto w1 = Lanes::all(h[1]);
    const auto w1i = Lanes::all(h[2]);
    const auto w2 = Lanes::all(h[3]);
    const auto w2i = Lanes::all(h[4]);
    const auto minus_w1 = Lanes::all(-h[1]);
    const auto minus_w2 = Lanes::all(-h[3]);
    for (std::size_t j = 0; j < 2 * n; j += Lanes::width) {
        const auto x0 = Lanes::load(r0 + j);
        const auto x1 = Lanes::load(r1 + j);
        const auto x2 = Lanes::load(r2 + j);
        auto t = Lanes::less(Lanes::less(x0, minus_w1, x1), minus_w2, x2);
        t = Lanes::less(Lanes::less(t, w1i, Lanes::turned(x1)), w2i, Lanes::turned(x2));
        t = Lanes::times(tau, t);
        const auto it = Lanes::turned(t);
        Lanes::store(r0 + j, Lanes::less(x0, Lanes::all(1.0), t));
        Lanes::store(r1 + j, Lanes::less(Lanes::less(x1, w1, t), w1i, it));
        Lanes::store(r2 + j, Lanes::less(Lanes::less(x2, w2, t), w2i, it));
    }
}

} // namespace
} // namespace numerical::detail
