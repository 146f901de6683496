#pragma once

// The loops of scale.hpp for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are. No operation is fused: a quotient rounds its products and its sums, as the
// scalar one does.

#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/scale.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

template <class Lanes>
void divide(double* x, double divisor, std::size_t n)
{
    const auto divisors = Lanes::all(divisor);
    std::size_t i = 0;
    for (; i + Lanes::width <= n; i += Lanes::width)
        Lanes::store(x + i, Lanes::quotient(Lanes::load(x + i), divisors));
    if (i < n) {
        const last_vector<Lanes> last(n - i);
        last.store(x + i, Lanes::quotient(last.load(x + i), divisors));
    }
}

// The quotients of a vector of complex numbers (a, b): (a, b) + (b·r, -a·r) or, where the divisor's
// imaginary part is the greater, (b, -a) + (a·r, b·r), each over the scale.
template <class Lanes, bool by_real>
class complex_quotient
{
public:
    explicit complex_quotient(const smith_divisor& by)
        : ratios(Lanes::all(by.ratio, by_real ? -by.ratio : by.ratio)), scales(Lanes::all(by.scale))
    {
    }

    auto of(typename Lanes::vector z) const
    {
        const auto swapped = Lanes::swapped(z);
        const auto sum = by_real ? Lanes::plus(z, Lanes::times(swapped, ratios))
                                 : Lanes::plus(Lanes::times(swapped, Lanes::all(1, -1)),
                                               Lanes::times(z, ratios));
        return Lanes::quotient(sum, scales);
    }

private:
    typename Lanes::vector ratios;
    typename Lanes::vector scales;
};

template <class Lanes, bool by_real>
std::size_t divide_ordinary(double* z, const smith_divisor& by, std::size_t n)
{
    const complex_quotient<Lanes, by_real> quotient(by);
    const auto divide_at = [&](double* numbers, const auto& access) {
        const auto dividend = access.load(numbers);
        if (!Lanes::all_zero_or_within(dividend, least_ordinary, greatest_ordinary))
            return false;
        access.store(numbers, quotient.of(dividend));
        return true;
    };
    constexpr std::size_t together = Lanes::width / 2;
    std::size_t i = 0;
    for (; i + together <= n; i += together)
        if (!divide_at(z + 2 * i, whole_vector<Lanes>()))
            return i;
    if (i < n && divide_at(z + 2 * i, last_vector<Lanes>(2 * (n - i))))
        return n;
    return i;
}

template <class Lanes>
std::size_t divide_complex(double* z, const smith_divisor& by, std::size_t n)
{
    return by.by_real ? divide_ordinary<Lanes, true>(z, by, n)
                      : divide_ordinary<Lanes, false>(z, by, n);
}

template <class Lanes>
std::size_t multiply_complex(double* z, const double* factors, std::size_t step, std::size_t n)
{
    constexpr std::size_t together = Lanes::width / 2;
    std::size_t i = 0;
    for (; i + together <= n; i += together) {
        const double* const next = factors + 2 * i * step;
        const auto numbers = step == 0 ? Lanes::all(next[0], next[1]) : Lanes::load(next);
        const typename Lanes::complex_factor by(Lanes::load(z + 2 * i));
        const auto products =
            by.times(Lanes::even_lanes(numbers, numbers), Lanes::odd_lanes(numbers, numbers));
        if (Lanes::has_nan(products))
            return i;
        Lanes::store(z + 2 * i, products);
    }
    return i;
}

} // namespace
} // namespace numerical::detail
