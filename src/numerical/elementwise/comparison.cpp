#include "numerical/elementwise/comparison.hpp"

#include "numerical/broadcast.hpp"

namespace numerical {
namespace {

using detail::row_form;
using complex = std::complex<double>;

// One loop for each form of the row, so that the compiler makes vectors of all three.
template <class T, class Holds>
void mask_row(row_form form, const T* x, const T* y, double* out, std::size_t n, const Holds& holds)
{
    if (form == row_form::both)
        for (std::size_t j = 0; j < n; ++j)
            out[j] = holds(x[j], y[j]) ? 1.0 : 0.0;
    else if (form == row_form::left)
        for (std::size_t j = 0; j < n; ++j)
            out[j] = holds(x[j], y[0]) ? 1.0 : 0.0;
    else
        for (std::size_t j = 0; j < n; ++j)
            out[j] = holds(x[0], y[j]) ? 1.0 : 0.0;
}

template <class T, class Holds>
tensor<double> mask(const tensor<T>& a, const tensor<T>& b, const Holds& holds)
{
    return detail::broadcast_rows<double>(
        a, b, [&](row_form form, const T* x, const T* y, double* out, std::size_t n) {
            mask_row(form, x, y, out, n, holds);
        });
}

} // namespace

tensor<double> compare(comparison by, const tensor<double>& a, const tensor<double>& b)
{
    switch (by) {
    case comparison::less:
        return mask(a, b, [](double x, double y) { return x < y; });
    case comparison::less_equal:
        return mask(a, b, [](double x, double y) { return x <= y; });
    case comparison::greater:
        return mask(a, b, [](double x, double y) { return x > y; });
    case comparison::greater_equal:
        return mask(a, b, [](double x, double y) { return x >= y; });
    case comparison::not_equal:
        return mask(a, b, [](double x, double y) { return x != y; });
    case comparison::equal:
        break;
    }
    return mask(a, b, [](double x, double y) { return x == y; });
}

tensor<double> compare(comparison by, const tensor<complex>& a, const tensor<complex>& b)
{
    if (by == comparison::not_equal)
        return mask(a, b, [](const complex& x, const complex& y) { return x != y; });
    return mask(a, b, [](const complex& x, const complex& y) { return x == y; });
}

} // namespace numerical
