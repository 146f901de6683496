#include "numerical/matrix.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace numerical {

template <class T>
matrix<T>::matrix(std::size_t row_count, std::size_t col_count, std::vector<T> elements)
    : rows(row_count), cols(col_count), data(std::move(elements))
{
    if (detail::checked_mul(rows, cols) != data.size())
        throw dimension_error("matrix buffer size does not match dimensions");
}

template struct matrix<double>;
template struct matrix<std::complex<double>>;

namespace detail {

template <class T>
matrix<T> zero_matrix(std::size_t rows, std::size_t cols)
{
    return {rows, cols, zeros<T>(checked_mul(rows, cols))};
}

template matrix<double> zero_matrix(std::size_t, std::size_t);
template matrix<std::complex<double>> zero_matrix(std::size_t, std::size_t);

namespace {

// x·0 is a zero for finite x and NaN otherwise; the sums in lanes let the compiler use vectors.
bool all_finite(const double* x, std::size_t n)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> zeros{};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            zeros[l] += x[i + l] * 0.0;
    for (; i < n; ++i)
        zeros[0] += x[i] * 0.0;
    return std::all_of(zeros.begin(), zeros.end(), [](double zero) { return zero == 0; });
}

template <class T>
void require_finite_run(const T* first, std::size_t count, const char* prefix)
{
    if (!all_finite(as_doubles(first), count * sizeof(T) / sizeof(double)))
        throw non_finite_error(std::string(prefix) + ": the matrix holds an infinite or NaN entry");
}

} // namespace

template <class T>
void require_finite(const matrix<T>& a, const char* prefix)
{
    require_finite_run(a.data.data(), a.data.size(), prefix);
}

template <class T>
void require_finite_lower(const matrix<T>& a, const char* prefix)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        require_finite_run(a.data.data() + i * a.cols, i + 1, prefix);
}

template void require_finite(const matrix<double>&, const char*);
template void require_finite(const matrix<complex>&, const char*);
template void require_finite_lower(const matrix<double>&, const char*);
template void require_finite_lower(const matrix<complex>&, const char*);

} // namespace detail
} // namespace numerical
