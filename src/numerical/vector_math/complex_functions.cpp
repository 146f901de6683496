#include "numerical/vector_math/complex_functions.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/vector_math/complex_rare.hpp"
#include "numerical/vector_math/kernels.hpp"
#include "numerical/vector_math/portable_lanes.hpp"
#include "numerical/vector_math/steps.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::vector_math {
namespace {

// Numbers to a block, whose parts and intermediate results stay in L1.
constexpr std::size_t block = 128;
constexpr std::size_t work_per_element = 16;

struct split_block
{
    double x[block];
    double y[block];
    std::size_t count;
};

// The results of a real function for the parts of a block.
using real_block = double[block];

bool within(double x, double bound)
{
    return std::fabs(x) <= bound; // not for NaN
}

constexpr double exponent_bound = 708;

void exp_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    real_block exponential;
    real_block cosine;
    real_block sine;
    kernels.exp(z.x, exponential, z.count);
    kernels.cos(z.y, cosine, z.count);
    kernels.sin(z.y, sine, z.count);
    for (std::size_t i = 0; i < z.count; ++i)
        to[i] = within(z.x[i], exponent_bound) && std::isfinite(z.y[i])
                    ? complex{exponential[i] * cosine[i], exponential[i] * sine[i]}
                    : rare_exp({z.x[i], z.y[i]});
}

struct hyperbolic_factors
{
    real_block hyperbolic_sine; // of x
    real_block hyperbolic_cosine;
    real_block sine; // of y
    real_block cosine;
};

void factors_of(const kernel_set& kernels, const split_block& z, hyperbolic_factors& of)
{
    kernels.sinh(z.x, of.hyperbolic_sine, z.count);
    kernels.cosh(z.x, of.hyperbolic_cosine, z.count);
    kernels.sin(z.y, of.sine, z.count);
    kernels.cos(z.y, of.cosine, z.count);
}

// sinh x cos y + i cosh x sin y
void sinh_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    hyperbolic_factors of;
    factors_of(kernels, z, of);
    for (std::size_t i = 0; i < z.count; ++i)
        to[i] = within(z.x[i], exponent_bound) && std::isfinite(z.y[i])
                    ? complex{of.hyperbolic_sine[i] * of.cosine[i],
                              of.hyperbolic_cosine[i] * of.sine[i]}
                    : rare_sinh({z.x[i], z.y[i]});
}

// cosh x cos y + i sinh x sin y
void cosh_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    hyperbolic_factors of;
    factors_of(kernels, z, of);
    for (std::size_t i = 0; i < z.count; ++i)
        to[i] = within(z.x[i], exponent_bound) && std::isfinite(z.y[i])
                    ? complex{of.hyperbolic_cosine[i] * of.cosine[i],
                              of.hyperbolic_sine[i] * of.sine[i]}
                    : rare_cosh({z.x[i], z.y[i]});
}

// With t = tan y and s = sinh x: ((1 + t^2) s cosh x + i t) / (1 + (1 + t^2) s^2), in which nothing
// cancels (Kahan 1987).
void tanh_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    constexpr double greatest = 20; // beyond it the real part is 1 to the last place
    real_block hyperbolic_sine;
    real_block hyperbolic_cosine;
    real_block tangent;
    kernels.sinh(z.x, hyperbolic_sine, z.count);
    kernels.cosh(z.x, hyperbolic_cosine, z.count);
    kernels.tan(z.y, tangent, z.count);
    for (std::size_t i = 0; i < z.count; ++i) {
        const double s = hyperbolic_sine[i];
        const double beta = 1 + tangent[i] * tangent[i];
        const double lower = 1 + beta * s * s;
        to[i] = within(z.x[i], greatest) && std::isfinite(z.y[i])
                    ? complex{beta * s * hyperbolic_cosine[i] / lower, tangent[i] / lower}
                    : rare_tanh({z.x[i], z.y[i]});
    }
}

// sin z = -i sinh iz, cos z = cosh iz, tan z = -i tanh iz.
template <void (*function)(const kernel_set&, const split_block&, complex*)>
void of_turned(const kernel_set& kernels, const split_block& z, complex* to)
{
    split_block turned;
    turned.count = z.count;
    for (std::size_t i = 0; i < z.count; ++i) {
        turned.x[i] = -z.y[i];
        turned.y[i] = z.x[i];
    }
    function(kernels, turned, to);
}

template <void (*function)(const kernel_set&, const split_block&, complex*)>
void turned_back(const kernel_set& kernels, const split_block& z, complex* to)
{
    of_turned<function>(kernels, z, to);
    for (std::size_t i = 0; i < z.count; ++i)
        to[i] = {to[i].imag(), -to[i].real()};
}

void sqrt_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    real_block modulus;
    kernels.hypot.both(z.x, z.y, modulus, z.count);
    for (std::size_t i = 0; i < z.count; ++i) {
        const double greater = std::sqrt((modulus[i] + std::fabs(z.x[i])) / 2);
        const double other = std::fabs(z.y[i]) / (2 * greater);
        const bool left = z.x[i] < 0;
        to[i] = modulus[i] > 0x1p-900 && modulus[i] < 0x1p900
                    ? complex{left ? other : greater, std::copysign(left ? greater : other, z.y[i])}
                    : rare_sqrt({z.x[i], z.y[i]});
    }
}

// |z|^2 - 1 for |z| between 1/2 and 2: all that the roundings of squares and sums lose is added up.
double square_less_one(double x, double y)
{
    const double a = std::max(std::fabs(x), std::fabs(y));
    const double b = std::min(std::fabs(x), std::fabs(y));
    const two_parts<one> first = {a * a, std::fma(a, a, -(a * a))};
    const two_parts<one> second = {b * b, std::fma(b, b, -(b * b))};
    const two_parts<one> less_one = sum_of(first.high, one(-1.0));
    const two_parts<one> sum = sum_of(less_one.high, second.high);
    const two_parts<one> low = sum_of(first.low, second.low);
    const two_parts<one> total = sum_of(sum.high, low.high);
    return (total.high + (total.low + (sum.low + less_one.low + low.low))).v;
}

// log |z| + i arg z, where log |z| near |z| = 1 is log(1 + (|z|^2 - 1)) / 2.
void log_block(const kernel_set& kernels, const split_block& z, complex* to)
{
    real_block modulus;
    real_block logarithm;
    real_block angle;
    real_block excess;
    kernels.hypot.both(z.x, z.y, modulus, z.count);
    kernels.log(modulus, logarithm, z.count);
    kernels.arctan2.both(z.y, z.x, angle, z.count);
    for (std::size_t i = 0; i < z.count; ++i)
        excess[i] = modulus[i] > 0.5 && modulus[i] < 2 ? square_less_one(z.x[i], z.y[i]) : 0;
    kernels.log1p(excess, excess, z.count);
    for (std::size_t i = 0; i < z.count; ++i) {
        double real = logarithm[i];
        if (modulus[i] > 0.5 && modulus[i] < 2)
            real = excess[i] / 2;
        else if (!(modulus[i] > 0x1p-900 && modulus[i] < 0x1p900))
            real = rare_log_modulus(z.x[i], z.y[i]);
        to[i] = {real, angle[i]};
    }
}

using block_function = void (*)(const kernel_set&, const split_block&, complex*);

// body(first, count) for each block.
template <class Body>
void by_blocks(std::size_t count, const Body& body)
{
    const auto of_block = [&](std::size_t index) {
        const std::size_t first = index * block;
        body(first, std::min(block, count - first));
    };
    detail::parallel_for(detail::ceil_div(count, block), block * work_per_element, of_block);
}

void split(const complex* from, std::size_t count, split_block& to)
{
    to.count = count;
    for (std::size_t i = 0; i < count; ++i) {
        to.x[i] = from[i].real();
        to.y[i] = from[i].imag();
    }
}

template <block_function function>
void unary(const complex* from, complex* to, std::size_t count)
{
    const kernel_set& kernels = kernels_in_force();
    by_blocks(count, [&](std::size_t first, std::size_t numbers) {
        split_block z;
        split(from + first, numbers, z);
        function(kernels, z, to + first);
    });
}

complex power_of_zero(const complex& w)
{
    return w.real() > 0 ? complex{0.0, 0.0} : complex{std::nan(""), std::nan("")};
}

void power_block(const kernel_set& kernels, const complex* z, const complex* w, complex* to,
                 std::size_t count)
{
    split_block parts;
    complex logarithm[block];
    complex result[block];
    split(z, count, parts);
    log_block(kernels, parts, logarithm);
    for (std::size_t i = 0; i < count; ++i)
        logarithm[i] *= w[i];
    split(logarithm, count, parts);
    exp_block(kernels, parts, result);
    for (std::size_t i = 0; i < count; ++i)
        to[i] = w[i] == 0.0 ? 1.0 : z[i] == 0.0 ? power_of_zero(w[i]) : result[i];
}

struct named_function
{
    std::string_view name;
    complex_unary_function function;
};

constexpr named_function functions[] = {
    {"exp", unary<exp_block>},
    {"log", unary<log_block>},
    {"sqrt", unary<sqrt_block>},
    {"sin", unary<turned_back<sinh_block>>},
    {"cos", unary<of_turned<cosh_block>>},
    {"tan", unary<turned_back<tanh_block>>},
    {"sinh", unary<sinh_block>},
    {"cosh", unary<cosh_block>},
    {"tanh", unary<tanh_block>},
};

} // namespace

void modulus(const complex* from, double* to, std::size_t count)
{
    const kernel_set& kernels = kernels_in_force();
    by_blocks(count, [&](std::size_t first, std::size_t numbers) {
        split_block z;
        split(from + first, numbers, z);
        kernels.hypot.both(z.x, z.y, to + first, numbers);
    });
}

complex_unary_function find_complex_unary(std::string_view name)
{
    for (const named_function& row : functions)
        if (row.name == name)
            return row.function;
    return nullptr;
}

void pow(complex_operand z, complex_operand w, complex* to, std::size_t count)
{
    const kernel_set& kernels = kernels_in_force();
    by_blocks(count, [&](std::size_t first, std::size_t numbers) {
        complex one_base[block];
        complex one_exponent[block];
        if (!z.moves)
            std::fill_n(one_base, numbers, *z.data);
        if (!w.moves)
            std::fill_n(one_exponent, numbers, *w.data);
        power_block(kernels, z.moves ? z.data + first : one_base,
                    w.moves ? w.data + first : one_exponent, to + first, numbers);
    });
}

} // namespace numerical::vector_math
