#include "numerical/matrix.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/storage.hpp"

#include <utility>

namespace numerical {

template <class T>
matrix<T>::matrix(std::size_t row_count, std::size_t col_count, aligned_vector<T> elements)
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

} // namespace detail
} // namespace numerical
