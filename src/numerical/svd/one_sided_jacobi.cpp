#include "numerical/svd/one_sided_jacobi.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"
#include "numerical/matrix.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

namespace numerical::detail {
namespace {

// Squared norms below this are too coarse, or zero, through underflow, and so is the inner product.
constexpr double least_safe_square = 0x1p-900;

// Sums are kept in lanes, element i in lane i mod 8, and the lanes added in order.
constexpr std::size_t lanes = 8;

// The cosine between two columns of n elements at which they pass for orthogonal. It must exceed
// what rounding leaves after a rotation: about one eps for short columns, whose elements and inner
// product are rounded a few times each, and growing like √n, as roundings of either sign add up. At
// one eps pairs of equally long columns were rotated back and forth forever.
double negligible_cosine(std::size_t n)
{
    return std::max(2.0, std::sqrt(double(n))) * eps;
}

// Inner products that determine the rotation of rows p and q.
template <class T>
struct pair_sums
{
    double square_p;
    double square_q;
    T inner; // Σ conj(pᵢ)·qᵢ

    bool orthogonal(std::size_t n) const
    {
        return std::sqrt(square_p) * negligible_cosine(n) * std::sqrt(square_q) >= modulus(inner);
    }
};

// The rotation of columns p and q, q being turned by `turn` first: p' = c·p - s·q, q' = c·q + s·p.
template <class T>
struct pair_rotation
{
    double c;
    double s;
    T turn;
};

double in_order(const std::array<double, lanes>& lane)
{
    double sum = 0;
    for (const double part : lane)
        sum += part;
    return sum;
}

pair_sums<double> sums_of(const double* p, const double* q, std::size_t n)
{
    std::array<double, lanes> pp{};
    std::array<double, lanes> qq{};
    std::array<double, lanes> pq{};
    const auto add = [&](std::size_t i, std::size_t lane) {
        pp[lane] += p[i] * p[i];
        qq[lane] += q[i] * q[i];
        pq[lane] += p[i] * q[i];
    };
    const std::size_t whole = n - n % lanes;
    for (std::size_t i = 0; i < whole; i += lanes)
        for (std::size_t lane = 0; lane < lanes; ++lane)
            add(i + lane, lane);
    for (std::size_t i = whole; i < n; ++i)
        add(i, i - whole);
    return {in_order(pp), in_order(qq), in_order(pq)};
}

// Lanes hold the parts as they lie in memory. The real part of the inner product is that of the
// interleaved parts; the imaginary part pairs each part with the other one of its neighbour.
pair_sums<complex> sums_of(const complex* p, const complex* q, std::size_t n)
{
    const auto* const a = as_doubles(p);
    const auto* const b = as_doubles(q);
    std::array<double, lanes> pp{};
    std::array<double, lanes> qq{};
    std::array<double, lanes> real{};
    std::array<double, lanes> cross{};
    const auto add = [&](std::size_t i, std::size_t lane) {
        pp[lane] += a[i] * a[i];
        qq[lane] += b[i] * b[i];
        real[lane] += a[i] * b[i];
        cross[lane] += a[i] * b[i ^ 1];
    };
    const std::size_t whole = 2 * n - 2 * n % lanes;
    for (std::size_t i = 0; i < whole; i += lanes)
        for (std::size_t lane = 0; lane < lanes; ++lane)
            add(i + lane, lane);
    for (std::size_t i = whole; i < 2 * n; ++i)
        add(i, i - whole);
    double imaginary = 0;
    for (std::size_t lane = 0; lane < lanes; lane += 2)
        imaginary += cross[lane] - cross[lane + 1];
    return {in_order(pp), in_order(qq), {in_order(real), imaginary}};
}

// A small rotation that makes the two columns orthogonal (Rutishauser 1966).
template <class T>
pair_rotation<T> annihilating_rotation(const pair_sums<T>& sums)
{
    const double length = modulus(sums.inner);
    const double zeta = (sums.square_q - sums.square_p) / (2 * length);
    const double t = std::copysign(1.0, zeta) / (std::abs(zeta) + std::sqrt(zeta * zeta + 1));
    const double c = 1 / std::sqrt(t * t + 1);
    return {c, t * c, conjugate(T(sums.inner / T(length)))};
}

template <class T>
void rotate(T* p, T* q, std::size_t n, const pair_rotation<T>& by)
{
    for (std::size_t i = 0; i < n; ++i) {
        const T turned = finite_product(q[i], by.turn);
        q[i] = by.c * turned + by.s * p[i];
        p[i] = by.c * p[i] - by.s * turned;
    }
}

template <class T>
aligned_vector<T> brought_to_one(const T* x, std::size_t n, double largest)
{
    aligned_vector<T> out(x, x + n);
    for (T& value : out)
        value = scaled_by_power(value, -std::ilogb(largest));
    return out;
}

// For two rows of which one is too small for sums of its squares. Beside the other one, or beside
// the rest of the matrix, it is nothing but rounding, so when the two are not orthogonal the
// smaller becomes exact zeros; a rotation could not make it orthogonal, and would be repeated for
// ever. True if a row was changed.
template <class T>
bool separate_tiny(T* p, T* q, std::size_t n)
{
    const double largest_p = largest_modulus(p, n);
    const double largest_q = largest_modulus(q, n);
    if (largest_p == 0 || largest_q == 0)
        return false;
    const aligned_vector<T> scaled_p = brought_to_one(p, n, largest_p);
    const aligned_vector<T> scaled_q = brought_to_one(q, n, largest_q);
    if (sums_of(scaled_p.data(), scaled_q.data(), n).orthogonal(n))
        return false;
    T* const smaller = largest_p < largest_q ? p : q;
    std::fill(smaller, smaller + n, T(0));
    return true;
}

// Rows p and q of a, and of v alike. True if a row was changed.
template <class T>
bool orthogonalize(T* a, T* v, std::size_t n, std::size_t p, std::size_t q)
{
    T* const row_p = a + p * n;
    T* const row_q = a + q * n;
    const pair_sums<T> sums = sums_of(row_p, row_q, n);
    if (std::min(sums.square_p, sums.square_q) < least_safe_square)
        return separate_tiny(row_p, row_q, n);
    if (sums.orthogonal(n))
        return false;
    const pair_rotation<T> rotation = annihilating_rotation(sums);
    rotate(row_p, row_q, n, rotation);
    rotate(v + p * n, v + q * n, n, rotation);
    return true;
}

// Every pair once; true if none was changed.
template <class T>
bool sweep_is_clean(T* a, T* v, std::size_t n)
{
    bool clean = true;
    for (std::size_t p = 0; p + 1 < n; ++p) {
        check_for_interruption();
        for (std::size_t q = p + 1; q < n; ++q)
            if (orthogonalize(a, v, n, p, q))
                clean = false;
    }
    return clean;
}

} // namespace

template <class T>
void one_sided_jacobi(aligned_vector<T>& a, aligned_vector<T>& v, std::size_t n,
                      std::size_t max_sweeps)
{
    if (n < 2)
        return;
    // By rows, so that a column is contiguous.
    transpose_in_place(a, n);
    transpose_in_place(v, n);
    std::size_t sweeps = 0;
    while (!sweep_is_clean(a.data(), v.data(), n))
        if (++sweeps >= max_sweeps)
            throw convergence_error("SVD: one-sided Jacobi did not converge within its sweeps");
    transpose_in_place(a, n);
    transpose_in_place(v, n);
}

template void one_sided_jacobi(aligned_vector<double>&, aligned_vector<double>&, std::size_t,
                               std::size_t);
template void one_sided_jacobi(aligned_vector<complex>&, aligned_vector<complex>&, std::size_t,
                               std::size_t);

} // namespace numerical::detail
