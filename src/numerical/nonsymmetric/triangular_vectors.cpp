#include "numerical/nonsymmetric/triangular_vectors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace numerical::detail {
namespace {

// [ p b ; c p ]·(y₁, y₂) = (r₁, r₂).
struct two_equations
{
    complex p;
    double b;
    double c;
    complex r1;
    complex r2;
};

struct two_unknowns
{
    complex first;
    complex second;
    double least_pivot;
};

// By elimination with the largest of p, b and c as the pivot.
two_unknowns solve_two(const two_equations& e, double least)
{
    const auto at_least = [least](const complex& pivot) {
        return rough_modulus(pivot) < least ? complex(least) : pivot;
    };
    const double size = rough_modulus(e.p);
    if (size >= std::abs(e.b) && size >= std::abs(e.c)) {
        const complex p = at_least(e.p);
        const complex factor = e.c / p;
        const complex pivot = at_least(e.p - factor * e.b);
        const complex second = (e.r2 - factor * e.r1) / pivot;
        return {(e.r1 - e.b * second) / p, second, rough_modulus(pivot)};
    }
    if (std::abs(e.c) >= std::abs(e.b)) {
        const complex factor = e.p / e.c;
        const complex pivot = at_least(e.b - factor * e.p);
        const complex second = (e.r1 - factor * e.r2) / pivot;
        return {(e.r2 - e.p * second) / e.c, second, rough_modulus(pivot)};
    }
    const complex factor = e.p / e.b;
    const complex pivot = at_least(e.c - factor * e.p);
    const complex first = (e.r2 - factor * e.r1) / pivot;
    return {first, (e.r1 - e.p * first) / e.b, rough_modulus(pivot)};
}

// Rows [first, last] of a block.
struct row_range
{
    std::size_t first;
    std::size_t last;
};

// The vectors [from, to), in rows [0, to) of `x`.
template <class T>
class vector_block
{
public:
    vector_block(block_view<const T> matrix, std::size_t first, std::size_t last)
        : t(matrix), from(first), to(last), width(last - first),
          negligible(negligible_magnitude(matrix.rows)),
          store(zeros<T>(last * width)), x{store.data(), last, width},
          sums(uninitialized<T>(vector_rows * width))
    {
    }

    block_view<const T> solve();

private:
    void begin_vectors();
    void solve_rows(std::size_t top, std::size_t bottom);
    void solve_row(std::size_t i, std::size_t top);
    void solve_two_rows(std::size_t i, std::size_t top);
    void divide(std::size_t i, std::size_t c, std::size_t top);
    void solve_pair(std::size_t i, std::size_t c, std::size_t top);
    void scale_down(std::size_t c, const row_range& rows, std::size_t top, double size,
                    double divisor);
    void normalize();

    bool is_pair(std::size_t k) const { return k + 1 < t.rows && t(k + 1, k) != T(0); }

    bool is_second(std::size_t k) const { return k > 0 && t(k, k - 1) != T(0); }

    // The first column whose vector has an unknown element in row i.
    std::size_t first_column(std::size_t i) const { return i < from ? 0 : i + 1 - from; }

    complex eigenvalue(std::size_t k) const
    {
        if (std::is_same_v<T, double> && is_pair(k))
            return {real_part(t(k, k)),
                    std::sqrt(rough_modulus(t(k, k + 1))) * std::sqrt(rough_modulus(t(k + 1, k)))};
        return t(k, k);
    }

    // The smallest divisor, used for eigenvalues that agree with λ up to rounding.
    double least_divisor(const complex& lambda) const
    {
        return std::max(unit_roundoff * rough_modulus(lambda), negligible);
    }

    const int path = gemm_path_current();
    const block_view<const T> t;
    const std::size_t from;
    const std::size_t to;
    const std::size_t width;
    const double negligible;
    aligned_vector<T> store;
    const block_view<T> x;
    aligned_vector<T> sums; // row i - top: row i of T times the rows of X that are already known
};

template <class T>
block_view<const T> vector_block<T>::solve()
{
    begin_vectors();
    for (std::size_t bottom = to; bottom > 0;) {
        std::size_t top = bottom > vector_rows ? bottom - vector_rows : 0;
        if (top > 0 && is_second(top))
            ++top;
        solve_rows(top, bottom);
        bottom = top;
    }
    normalize();
    return x;
}

// The elements of each vector in the rows of its own diagonal block.
template <class T>
void vector_block<T>::begin_vectors()
{
    for (std::size_t k = from; k < to; ++k) {
        const std::size_t c = k - from;
        if (!std::is_same_v<T, double> || !is_pair(k)) {
            x(k, c) = 1;
            continue;
        }
        // [ a b ; c a ]·(x₁, x₂) with x₂ = i·ω/b·x₁, scaled so that neither is large.
        const double omega = eigenvalue(k).imag();
        if (rough_modulus(t(k, k + 1)) >= rough_modulus(t(k + 1, k))) {
            x(k, c) = 1;
            x(k + 1, c + 1) = omega / t(k, k + 1);
        } else {
            x(k, c) = -omega / t(k + 1, k);
            x(k + 1, c + 1) = 1;
        }
        ++k;
    }
}

template <class T>
void vector_block<T>::solve_rows(std::size_t top, std::size_t bottom)
{
    if (bottom < to)
        gemm_new<T>(bottom - top, width, to - bottom, &t(top, bottom), t.stride, x.row(bottom),
                    width, sums.data(), width);
    else
        set_zero(sums.data(), (bottom - top) * width);
    for (std::size_t i = bottom; i-- > top;) {
        const bool second = is_second(i);
        for (std::size_t row = second ? i - 1 : i; row <= i; ++row) {
            T* const sum = sums.data() + (row - top) * width;
            for (std::size_t c = 0; c < width; ++c)
                sum[c] = negated(sum[c]);
            if (i + 1 < bottom)
                subtract_products_on(path, sum, &t(row, i + 1), x.row(i + 1), width, bottom - i - 1,
                                     width);
        }
        if (second)
            solve_two_rows(--i, top); // both rows are done
        else
            solve_row(i, top);
    }
}

// Multiplies a vector, column c or the pair c and c + 1, by a power of two that brings size/divisor
// down to about 1, while `rows` are solved.
template <class T>
void vector_block<T>::scale_down(std::size_t c, const row_range& rows, std::size_t top, double size,
                                 double divisor)
{
    const int exponent = std::ilogb(divisor) - std::ilogb(size);
    const std::size_t end = std::is_same_v<T, double> && is_pair(from + c) ? c + 2 : c + 1;
    for (std::size_t column = c; column < end; ++column) {
        for (std::size_t row = rows.last + 1; row < to; ++row)
            x(row, column) = scaled_by_power(x(row, column), exponent);
        for (std::size_t row = top; row <= rows.last; ++row) {
            T& sum = sums[(row - top) * width + column];
            sum = scaled_by_power(sum, exponent);
        }
    }
}

template <class T>
void vector_block<T>::divide(std::size_t i, std::size_t c, std::size_t top)
{
    const T* const sum = sums.data() + (i - top) * width;
    T divisor = t(i, i) - t(from + c, from + c);
    const double least = least_divisor(eigenvalue(from + c));
    if (rough_modulus(divisor) < least)
        divisor = least;
    T quotient = sum[c] / divisor;
    if (!(rough_modulus(quotient) <= greatest_element)) {
        scale_down(c, {i, i}, top, rough_modulus(sum[c]), rough_modulus(divisor));
        quotient = sum[c] / divisor;
    }
    x(i, c) = quotient;
}

template <class T>
void vector_block<T>::solve_row(std::size_t i, std::size_t top)
{
    for (std::size_t c = first_column(i); c < width; ++c) {
        if constexpr (std::is_same_v<T, double>)
            if (is_pair(from + c)) {
                solve_pair(i, c, top);
                ++c;
                continue;
            }
        divide(i, c, top);
    }
}

// Row i of a real matrix, for the pair of columns c and c + 1.
template <class T>
void vector_block<T>::solve_pair(std::size_t i, std::size_t c, std::size_t top)
{
    const T* const sum = sums.data() + (i - top) * width;
    const complex lambda = eigenvalue(from + c);
    complex divisor = complex(t(i, i)) - lambda;
    const double least = least_divisor(lambda);
    if (rough_modulus(divisor) < least)
        divisor = least;
    const auto quotient_of = [&] {
        return complex(real_part(sum[c]), real_part(sum[c + 1])) / divisor;
    };
    complex quotient = quotient_of();
    if (!(rough_modulus(quotient) <= greatest_element)) {
        scale_down(c, {i, i}, top, rough_modulus(sum[c]) + rough_modulus(sum[c + 1]),
                   rough_modulus(divisor));
        quotient = quotient_of();
    }
    x(i, c) = quotient.real();
    x(i, c + 1) = quotient.imag();
}

// Rows i and i + 1, a standard block of a real matrix.
template <class T>
void vector_block<T>::solve_two_rows(std::size_t i, std::size_t top)
{
    if constexpr (std::is_same_v<T, double>)
        for (std::size_t c = first_column(i + 1); c < width; ++c) {
            const bool pair = is_pair(from + c);
            const T* const first = sums.data() + (i - top) * width + c;
            const T* const second = first + width;
            const complex lambda = eigenvalue(from + c);
            const auto system = [&] {
                return two_equations{.p = complex(t(i, i)) - lambda,
                                     .b = t(i, i + 1),
                                     .c = t(i + 1, i),
                                     .r1 = {first[0], pair ? first[1] : 0.0},
                                     .r2 = {second[0], pair ? second[1] : 0.0}};
            };
            two_unknowns y = solve_two(system(), least_divisor(lambda));
            if (!(rough_modulus(y.first) + rough_modulus(y.second) <= greatest_element)) {
                const two_equations e = system();
                scale_down(c, {i, i + 1}, top, rough_modulus(e.r1) + rough_modulus(e.r2),
                           y.least_pivot);
                y = solve_two(system(), least_divisor(lambda));
            }
            x(i, c) = y.first.real();
            x(i + 1, c) = y.second.real();
            if (!pair)
                continue;
            x(i, c + 1) = y.first.imag();
            x(i + 1, c + 1) = y.second.imag();
            ++c;
        }
}

// Scales the vectors by powers of two, so that no later product overflows.
template <class T>
void vector_block<T>::normalize()
{
    for (std::size_t c = 0; c < width; ++c) {
        const bool pair = std::is_same_v<T, double> && is_pair(from + c);
        const std::size_t end = pair ? c + 2 : c + 1;
        double largest = 0;
        for (std::size_t i = 0; i < to; ++i)
            for (std::size_t column = c; column < end; ++column)
                largest = std::max(largest, rough_modulus(x(i, column)));
        if (largest > 2)
            for (std::size_t i = 0; i < to; ++i)
                for (std::size_t column = c; column < end; ++column)
                    x(i, column) = scaled_by_power(x(i, column), -std::ilogb(largest));
        c = end - 1;
    }
}

} // namespace

template <class T>
aligned_vector<T> multiplied_vectors(block_view<const T> t, block_view<const T> basis)
{
    const std::size_t n = t.rows;
    aligned_vector<T> vectors = uninitialized<T>(n * n);
    const auto bounds = bounds_of_vectors(n, [&](std::size_t k) { return t(k, k - 1) != T(0); });
    const std::size_t blocks = bounds.size() - 1;
    // The last vectors, which are the longest, first.
    const auto find_block = [&](std::size_t i) {
        const std::size_t from = bounds[blocks - 1 - i];
        const std::size_t to = bounds[blocks - i];
        vector_block<T> block(t, from, to);
        const block_view<const T> x = block.solve();
        gemm_new<T>(n, x.cols, to, basis.first, basis.stride, x.first, x.stride,
                    vectors.data() + from, n);
    };
    parallel_for(blocks, n * n, find_block);
    return vectors;
}

template <class T>
aligned_vector<T> reversed_adjoint(block_view<const T> t)
{
    const std::size_t n = t.rows;
    aligned_vector<T> out = uninitialized<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            out[i * n + j] = conjugate(t(n - 1 - j, n - 1 - i));
    return out;
}

template aligned_vector<double> multiplied_vectors(block_view<const double>,
                                                   block_view<const double>);
template aligned_vector<complex> multiplied_vectors(block_view<const complex>,
                                                    block_view<const complex>);
template aligned_vector<double> reversed_adjoint(block_view<const double>);
template aligned_vector<complex> reversed_adjoint(block_view<const complex>);

} // namespace numerical::detail
