#include "numerical/nonsymmetric/standard_block.hpp"

#include "numerical/eps.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

double signed_one(double x)
{
    return std::copysign(1.0, x);
}

// a, b, c, d := G·[ a b ; c d ]·Gᵀ.
void turn(real_block& m, const rotation<double>& g)
{
    const double top_left = m.a * g.c + m.b * g.s;
    const double top_right = m.b * g.c - m.a * g.s;
    const double low_left = m.c * g.c + m.d * g.s;
    const double low_right = m.d * g.c - m.c * g.s;
    m = {g.c * top_left + g.s * low_left, g.c * top_right + g.s * low_right,
         g.c * low_left - g.s * top_left, g.c * low_right - g.s * top_right};
}

// For real eigenvalues, d + z and d - b·c/z with p = (a - d)/2 and the larger z = p ± sqrt(p² +
// b·c) in modulus; (z, c) is an eigenvector. `root` is sqrt(p² + b·c).
rotation<double> triangularize(real_block& m, double p, double root)
{
    const double z = p + std::copysign(root, p);
    const double length = std::hypot(m.c, z);
    const rotation<double> g{z / length, m.c / length};
    const double product_over_z = std::abs(m.b) > std::abs(m.c) ? m.b / z * m.c : m.c / z * m.b;
    m = {m.d + z, m.b - m.c, 0.0, m.d - product_over_z};
    return g;
}

// Makes the diagonal elements equal by the rotation of angle θ with tan 2θ = -(a - d)/(b + c).
rotation<double> equalize(real_block& m)
{
    const double sum = m.b + m.c;
    const double gap = m.a - m.d;
    const double length = std::hypot(sum, gap);
    const double c = std::sqrt(0.5 * (1 + std::abs(sum) / length));
    const rotation<double> g{c, -0.5 * gap / (length * c) * signed_one(sum)};
    turn(m, g);
    const double middle = 0.5 * (m.a + m.d);
    m.a = m.d = middle;
    return g;
}

// The product of the rotations: `second` applied after `first`.
rotation<double> composed(const rotation<double>& second, const rotation<double>& first)
{
    return {second.c * first.c - second.s * first.s, second.s * first.c + second.c * first.s};
}

} // namespace

template <class T>
rotation<T> rotation_onto(const T& x, const T& y)
{
    const double first = modulus(x);
    const double second = modulus(y);
    if (second == 0)
        return {1, T(0)};
    const double length = std::hypot(first, second);
    if (length < tiny_magnitude) { // a subnormal length has few digits
        const double scale = tiny_scale(length);
        return rotation_onto<T>(x * scale, y * scale);
    }
    return {first / length, phase_of(x) * (conjugate(y) / length)};
}

template <class T>
void rotate(const schur_views<T>& s, std::size_t k, const rotation<T>& g, std::size_t col_from,
            std::size_t row_to, const similarity_reach& reach)
{
    const T sc = conjugate(g.s);
    const auto rotate_rows = [&](block_view<T> a, std::size_t from, std::size_t to) {
        T* const x = a.row(k);
        T* const y = a.row(k + 1);
        for (std::size_t j = from; j < to; ++j) {
            const T first = g.c * x[j] + finite_product(g.s, y[j]);
            y[j] = g.c * y[j] - finite_product(sc, x[j]);
            x[j] = first;
        }
    };
    rotate_rows(s.h, col_from, reach.col_to);
    if (s.z.cols != 0)
        rotate_rows(s.z, 0, s.z.cols);
    for (std::size_t i = reach.row_from; i < row_to; ++i) {
        T* const x = &s.h(i, k);
        const T first = g.c * x[0] + finite_product(sc, x[1]);
        x[1] = g.c * x[1] - finite_product(g.s, x[0]);
        x[0] = first;
    }
}

rotation<double> standardize(real_block& m)
{
    if (m.c == 0)
        return {1, 0};
    if (m.b == 0) {
        m = {m.d, -m.c, 0.0, m.a};
        return {0, 1};
    }
    const double gap = m.a - m.d;
    if (gap == 0 && signed_one(m.b) != signed_one(m.c))
        return {1, 0};
    // p² + b·c, divided by `scale`.
    const double p = 0.5 * gap;
    const double larger = std::max(std::abs(m.b), std::abs(m.c));
    const double smaller =
        std::min(std::abs(m.b), std::abs(m.c)) * signed_one(m.b) * signed_one(m.c);
    const double scale = std::max(std::abs(p), larger);
    const double discriminant = p / scale * p + larger / scale * smaller;
    if (discriminant >= 4 * eps * scale)
        return triangularize(m, p, std::sqrt(scale) * std::sqrt(discriminant));
    // The eigenvalues are complex, or so nearly equal that rounding of the diagonal decides.
    const rotation<double> first = equalize(m);
    if (m.c == 0 || (m.b != 0 && signed_one(m.b) != signed_one(m.c)))
        return first;
    if (m.b == 0) {
        m = {m.d, -m.c, 0.0, m.a};
        return composed({0, 1}, first);
    }
    const double root = std::sqrt(std::abs(m.b)) * std::sqrt(std::abs(m.c));
    return composed(triangularize(m, 0.0, root), first);
}

void standardize_block(const schur_views<double>& s, std::size_t k, const similarity_reach& reach)
{
    real_block block{s.h(k, k), s.h(k, k + 1), s.h(k + 1, k), s.h(k + 1, k + 1)};
    const rotation<double> g = standardize(block);
    if (g.s != 0)
        rotate(s, k, g, std::min(k + 2, reach.col_to), k, reach);
    s.h(k, k) = block.a;
    s.h(k, k + 1) = block.b;
    s.h(k + 1, k) = block.c;
    s.h(k + 1, k + 1) = block.d;
}

eigenvalue_pair eigenvalues_of_standard(const real_block& m)
{
    if (m.c == 0)
        return {m.a, m.d};
    const double imaginary = std::sqrt(std::abs(m.b)) * std::sqrt(std::abs(m.c));
    return {{m.a, imaginary}, {m.d, -imaginary}};
}

eigenvalue_pair eigenvalues_of_two(double a, double b, double c, double d)
{
    real_block block{a, b, c, d};
    standardize(block);
    return eigenvalues_of_standard(block);
}

// d + z and d - b·c/z, z as for real blocks.
eigenvalue_pair eigenvalues_of_two(const complex& a, const complex& b, const complex& c,
                                   const complex& d)
{
    const double scale = std::abs(a - d) + std::abs(b) + std::abs(c);
    if (scale == 0)
        return {a, d};
    const complex p = 0.5 * (a - d) / scale;
    const complex product = (b / scale) * (c / scale);
    complex root = std::sqrt(p * p + product);
    if (p.real() * root.real() + p.imag() * root.imag() < 0)
        root = -root;
    const complex z = p + root;
    if (z == complex(0))
        return {d, d};
    return {d + scale * z, d - scale * (product / z)};
}

template rotation<double> rotation_onto(const double&, const double&);
template rotation<complex> rotation_onto(const complex&, const complex&);
template void rotate(const schur_views<double>&, std::size_t, const rotation<double>&, std::size_t,
                     std::size_t, const similarity_reach&);
template void rotate(const schur_views<complex>&, std::size_t, const rotation<complex>&,
                     std::size_t, std::size_t, const similarity_reach&);

} // namespace numerical::detail
