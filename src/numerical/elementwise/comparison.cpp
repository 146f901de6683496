#include "numerical/elementwise/comparison.hpp"

#include "numerical/elementwise/numbers.hpp"
#include "numerical/strided/broadcast.hpp"

namespace numerical {
namespace {

using detail::row_form;
using complex = std::complex<double>;

template <class Holds>
tensor<double> mask(const tensor<complex>& a, const tensor<complex>& b, const Holds& holds)
{
    return detail::broadcast_rows<double>(
        a, b, [&](row_form form, const complex* x, const complex* y, double* out, std::size_t n) {
            const std::size_t step_x = form == row_form::right ? 0 : 1;
            const std::size_t step_y = form == row_form::left ? 0 : 1;
            for (std::size_t j = 0; j < n; ++j)
                out[j] = holds(x[j * step_x], y[j * step_y]) ? 1.0 : 0.0;
        });
}

} // namespace

tensor<double> compare(comparison by, const tensor<double>& a, const tensor<double>& b)
{
    switch (by) {
    case comparison::less:
        return pair_by(pair_function::less, a, b);
    case comparison::less_equal:
        return pair_by(pair_function::less_equal, a, b);
    case comparison::greater:
        return pair_by(pair_function::greater, a, b);
    case comparison::greater_equal:
        return pair_by(pair_function::greater_equal, a, b);
    case comparison::not_equal:
        return pair_by(pair_function::not_equal, a, b);
    case comparison::equal:
        break;
    }
    return pair_by(pair_function::equal, a, b);
}

tensor<double> compare(comparison by, const tensor<complex>& a, const tensor<complex>& b)
{
    if (by == comparison::not_equal)
        return mask(a, b, [](const complex& x, const complex& y) { return x != y; });
    return mask(a, b, [](const complex& x, const complex& y) { return x == y; });
}

} // namespace numerical
