#include "numerical/elementwise/comparison.hpp"

#include "numerical/strided/broadcast.hpp"

namespace numerical {
namespace {

using detail::row_form;
using complex = std::complex<double>;

template <class Holds>
booleans mask(const tensor<complex>& a, const tensor<complex>& b, const Holds& holds)
{
    return detail::broadcast_rows<std::uint8_t>(
        a, b,
        [&](row_form form, const complex* x, const complex* y, std::uint8_t* out, std::size_t n) {
            const std::size_t step_x = form == row_form::right ? 0 : 1;
            const std::size_t step_y = form == row_form::left ? 0 : 1;
            for (std::size_t j = 0; j < n; ++j)
                out[j] = holds(x[j * step_x], y[j * step_y]) ? 1 : 0;
        });
}

} // namespace

booleans compare(comparison by, const tensor<double>& a, const tensor<double>& b)
{
    const auto& rows = detail::booleans_in_force().comparisons[static_cast<int>(by)];
    return detail::broadcast_rows<std::uint8_t>(
        a, b,
        [&](row_form form, const double* x, const double* y, std::uint8_t* out, std::size_t n) {
            rows.by_form[static_cast<int>(form)](x, y, out, n);
        });
}

booleans compare(comparison by, const tensor<complex>& a, const tensor<complex>& b)
{
    if (by == comparison::not_equal)
        return mask(a, b, [](const complex& x, const complex& y) { return x != y; });
    return mask(a, b, [](const complex& x, const complex& y) { return x == y; });
}

} // namespace numerical
