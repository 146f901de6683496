#pragma once

// The loops over lanes. A lane outside a function's common range is computed again by its scalar
// function `rare`. The elements that are left at the end go through the same code in a block of
// their own, so that an element's bits don't depend on its place.
//
// The inner loop keeps its constants in registers, which a call inside it would spill. So it stops
// at a vector with a rare lane, and is entered again after it. For the same reason everything that
// it calls is inlined, by the attribute "flatten".

#include "numerical/vector_math/exponential.hpp"
#include "numerical/vector_math/hyperbolic.hpp"
#include "numerical/vector_math/inverse_hyperbolic.hpp"
#include "numerical/vector_math/inverse_trigonometric.hpp"
#include "numerical/vector_math/kernels.hpp"
#include "numerical/vector_math/logarithm.hpp"
#include "numerical/vector_math/power.hpp"
#include "numerical/vector_math/trigonometric.hpp"
#include "numerical/vector_math/two_operands.hpp"

namespace numerical::vector_math {

// A vector of which some lanes are rare.
template <class R>
struct mixed_vector
{
    unsigned int rare = 0;
    double x[R::width];
    double y[R::width];
    double result[R::width];
};

// Returns how many elements it wrote: `count`, a multiple of the width, or those before a mixed
// vector.
template <class F, class R>
[[gnu::noinline, gnu::flatten]] std::size_t
common_vectors(const double* from, double* to, std::size_t count, mixed_vector<R>& mixed)
{
    for (std::size_t i = 0; i < count; i += R::width) {
        const R x = R::load(from + i);
        const R result = F::common(x);
        if (const unsigned int rare = F::is_rare(x).pattern(); rare != 0) [[unlikely]] {
            mixed.rare = rare;
            x.store(mixed.x);
            result.store(mixed.result);
            return i;
        }
        result.store(to + i);
    }
    return count;
}

template <class F, class R>
void whole_vectors(const double* from, double* to, std::size_t count)
{
    mixed_vector<R> mixed;
    for (std::size_t i = 0;; i += R::width) {
        i += common_vectors<F, R>(from + i, to + i, count - i, mixed);
        if (i == count)
            return;
        for (std::size_t lane = 0; lane < R::width; ++lane)
            to[i + lane] =
                (mixed.rare >> lane & 1) != 0 ? F::rare(mixed.x[lane]) : mixed.result[lane];
    }
}

template <class F, class R>
void unary_loop(const double* from, double* to, std::size_t count)
{
    const std::size_t left = count % R::width;
    const std::size_t whole = count - left;
    whole_vectors<F, R>(from, to, whole);
    if (left == 0)
        return;
    double block[R::width];
    R(from[whole]).store(block); // whose places at the end repeat an element
    for (std::size_t i = 0; i < left; ++i)
        block[i] = from[whole + i];
    whole_vectors<F, R>(block, block, R::width);
    for (std::size_t i = 0; i < left; ++i)
        to[whole + i] = block[i];
}

template <std::size_t step, class R>
R load_operand(const double* from, std::size_t i)
{
    if constexpr (step == 0)
        return R(*from);
    else
        return R::load(from + i);
}

template <class F, class R, std::size_t x_step, std::size_t y_step>
[[gnu::noinline, gnu::flatten]] std::size_t
common_vectors(const double* from_x, const double* from_y, double* to, std::size_t count,
               mixed_vector<R>& mixed)
{
    for (std::size_t i = 0; i < count; i += R::width) {
        const R x = load_operand<x_step, R>(from_x, i);
        const R y = load_operand<y_step, R>(from_y, i);
        const auto [result, is_rare] = F::common(x, y);
        if (const unsigned int rare = is_rare.pattern(); rare != 0) [[unlikely]] {
            mixed.rare = rare;
            x.store(mixed.x);
            y.store(mixed.y);
            result.store(mixed.result);
            return i;
        }
        result.store(to + i);
    }
    return count;
}

template <class F, class R, std::size_t x_step, std::size_t y_step>
void whole_vectors(const double* x, const double* y, double* to, std::size_t count)
{
    mixed_vector<R> mixed;
    for (std::size_t i = 0;; i += R::width) {
        i += common_vectors<F, R, x_step, y_step>(x + i * x_step, y + i * y_step, to + i, count - i,
                                                  mixed);
        if (i == count)
            return;
        for (std::size_t lane = 0; lane < R::width; ++lane)
            to[i + lane] = (mixed.rare >> lane & 1) != 0 ? F::rare(mixed.x[lane], mixed.y[lane])
                                                         : mixed.result[lane];
    }
}

template <class F, class R, std::size_t x_step, std::size_t y_step>
void binary_loop(const double* x, const double* y, double* to, std::size_t count)
{
    const std::size_t left = count % R::width;
    const std::size_t whole = count - left;
    whole_vectors<F, R, x_step, y_step>(x, y, to, whole);
    if (left == 0)
        return;
    double x_block[R::width];
    double y_block[R::width];
    R(1.0).store(x_block);
    R(1.0).store(y_block);
    for (std::size_t i = 0; i < left; ++i) {
        x_block[i] = x[(whole + i) * x_step];
        y_block[i] = y[(whole + i) * y_step];
    }
    whole_vectors<F, R, x_step, y_step>(x_block, y_block, x_block, R::width);
    for (std::size_t i = 0; i < left; ++i)
        to[whole + i] = x_block[i];
}

template <class F, class R>
constexpr binary_kernels forms_of()
{
    return {binary_loop<F, R, 1, 1>, binary_loop<F, R, 1, 0>, binary_loop<F, R, 0, 1>};
}

template <class R>
constexpr kernel_set kernels_over()
{
    kernel_set kernels{};
    kernels.exp = unary_loop<exponential, R>;
    kernels.exp2 = unary_loop<binary_exponential, R>;
    kernels.expm1 = unary_loop<exponential_minus_one, R>;
    kernels.log = unary_loop<natural_logarithm, R>;
    kernels.log2 = unary_loop<binary_logarithm, R>;
    kernels.log10 = unary_loop<decimal_logarithm, R>;
    kernels.log1p = unary_loop<logarithm_of_one_plus, R>;
    kernels.sin = unary_loop<sine, R>;
    kernels.cos = unary_loop<cosine, R>;
    kernels.tan = unary_loop<tangent, R>;
    kernels.sinh = unary_loop<hyperbolic_sine, R>;
    kernels.cosh = unary_loop<hyperbolic_cosine, R>;
    kernels.tanh = unary_loop<hyperbolic_tangent, R>;
    kernels.arcsin = unary_loop<arc_sine, R>;
    kernels.arccos = unary_loop<arc_cosine, R>;
    kernels.arctan = unary_loop<arc_tangent, R>;
    kernels.arcsinh = unary_loop<inverse_hyperbolic_sine, R>;
    kernels.arccosh = unary_loop<inverse_hyperbolic_cosine, R>;
    kernels.arctanh = unary_loop<inverse_hyperbolic_tangent, R>;
    kernels.pow = forms_of<power, R>();
    kernels.arctan2 = forms_of<arc_tangent_of_quotient, R>();
    kernels.hypot = forms_of<hypotenuse, R>();
    return kernels;
}

} // namespace numerical::vector_math
