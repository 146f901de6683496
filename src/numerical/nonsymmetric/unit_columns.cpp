#include "numerical/nonsymmetric/unit_columns.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/nonsymmetric/triangular_vectors.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <cmath>
#include <type_traits>

namespace numerical::detail {
namespace {

double squared(double x)
{
    return x * x;
}

double squared(const complex& z)
{
    return squared(z.real()) + squared(z.imag());
}

// Columns [from, to) of X; they don't divide a pair.
struct column_range
{
    std::size_t from;
    std::size_t to;
};

// The squared length of each column of a range, and the row of its largest element. The real and
// imaginary parts of a vector, in columns k and k + 1, are measured together, and both columns get
// the same values.
struct column_measures
{
    std::size_t from;
    aligned_vector<double> squares;
    aligned_vector<double> greatest;
    std::vector<std::size_t> place;
};

template <class T>
column_measures measure_columns(const matrix<T>& x, const column_range& range,
                                const aligned_vector<complex>& values)
{
    const auto [from, to] = range;
    const std::size_t width = to - from;
    column_measures m{from, aligned_vector<double>(width), aligned_vector<double>(width),
                      std::vector<std::size_t>(width)};
    aligned_vector<double> row(width);
    for (std::size_t i = 0; i < x.rows; ++i) {
        const T* const elements = x.data.data() + i * x.cols + from;
        for (std::size_t k = 0; k < width; ++k)
            row[k] = squared(elements[k]);
        if constexpr (std::is_same_v<T, double>)
            for (std::size_t k = 0; k < width; ++k)
                if (values[from + k].imag() > 0) {
                    row[k] = row[k + 1] = row[k] + row[k + 1];
                    ++k;
                }
        for (std::size_t k = 0; k < width; ++k) {
            m.squares[k] += row[k];
            if (row[k] > m.greatest[k]) {
                m.greatest[k] = row[k];
                m.place[k] = i;
            }
        }
    }
    return m;
}

// Columns of length 1; a complex one gets the phase that makes its largest element real.
void set_unit_columns(matrix<complex>& v, const matrix<complex>& x, const column_range& range,
                      const aligned_vector<complex>& values)
{
    const std::size_t n = x.rows;
    const column_measures m = measure_columns(x, range, values);
    const std::size_t width = m.place.size();
    aligned_vector<complex> factors(width);
    for (std::size_t k = 0; k < width; ++k)
        factors[k] = std::conj(x.data[m.place[k] * n + m.from + k]) /
                     (std::sqrt(m.greatest[k]) * std::sqrt(m.squares[k]));
    for (std::size_t i = 0; i < n; ++i) {
        const complex* const from = x.data.data() + i * n + m.from;
        complex* const to = v.data.data() + i * n + m.from;
        for (std::size_t k = 0; k < width; ++k)
            to[k] = finite_product(from[k], factors[k]);
    }
    for (std::size_t k = 0; k < width; ++k)
        v.data[m.place[k] * n + m.from + k].imag(0);
}

// The factors for real columns, in which pairs hold the parts of complex vectors; that of a pair
// stands at its first column.
aligned_vector<complex> factors_of_parts(const matrix<double>& x, const column_measures& m,
                                         const aligned_vector<complex>& values)
{
    aligned_vector<complex> factors(m.place.size());
    for (std::size_t k = 0; k < factors.size(); ++k) {
        const double length = std::sqrt(m.squares[k]);
        factors[k] = 1 / length;
        if (values[m.from + k].imag() > 0) {
            const double* const largest = x.data.data() + m.place[k] * x.cols + m.from + k;
            factors[k] = complex(largest[0], -largest[1]) / (std::sqrt(m.greatest[k]) * length);
            ++k;
        }
    }
    return factors;
}

void set_unit_columns(matrix<complex>& v, const matrix<double>& x, const column_range& range,
                      const aligned_vector<complex>& values)
{
    const std::size_t n = x.rows;
    const column_measures m = measure_columns(x, range, values);
    const aligned_vector<complex> factors = factors_of_parts(x, m, values);
    for (std::size_t i = 0; i < n; ++i) {
        const double* const from = x.data.data() + i * n + m.from;
        complex* const to = v.data.data() + i * n + m.from;
        for (std::size_t k = 0; k < factors.size(); ++k) {
            if (values[m.from + k].imag() == 0) {
                to[k] = from[k] * factors[k].real();
                continue;
            }
            to[k] = finite_product(complex(from[k], from[k + 1]), factors[k]);
            if (i == m.place[k])
                to[k].imag(0);
            to[k + 1] = std::conj(to[k]);
            ++k;
        }
    }
}

} // namespace

template <class T>
matrix<complex> unit_columns(const matrix<T>& x, const aligned_vector<complex>& values)
{
    const std::size_t n = x.rows;
    matrix<complex> v(n, n, uninitialized<complex>(n * n));
    const auto bounds = bounds_of_vectors(
        n, [&](std::size_t k) { return std::is_same_v<T, double> && values[k].imag() < 0; });
    const auto set_block = [&](std::size_t b) {
        set_unit_columns(v, x, {bounds[b], bounds[b + 1]}, values);
    };
    parallel_for(bounds.size() - 1, 4 * n * vector_columns, set_block);
    return v;
}

template matrix<complex> unit_columns(const matrix<double>&, const aligned_vector<complex>&);
template matrix<complex> unit_columns(const matrix<complex>&, const aligned_vector<complex>&);

} // namespace numerical::detail
