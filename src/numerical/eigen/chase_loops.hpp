#pragma once

// The step of chase_kernels.hpp for vectors of any width. For the kernels' own sources only, after
// the header that defines `lanes`; unnamed, as the vectors are.

#include "numerical/eigen/chase_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// `extent` numbers in registers.
template <std::size_t extent>
struct row_of_vectors
{
    static constexpr std::size_t count = extent / lanes::width;
    lanes::vector part[count];

    static row_of_vectors load(const double* x)
    {
        row_of_vectors row;
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            row.part[q] = lanes::load(x + q * lanes::width);
        return row;
    }

    static row_of_vectors zero()
    {
        row_of_vectors row;
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            row.part[q] = lanes::all(0);
        return row;
    }

    void store(double* x) const
    {
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            lanes::store(x + q * lanes::width, part[q]);
    }

    void subtract(double factor, const row_of_vectors& x)
    {
        const lanes::vector all = lanes::all(factor);
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            part[q] = lanes::less(part[q], all, x.part[q]);
    }

    void add(const row_of_vectors& x)
    {
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            part[q] = lanes::plus(part[q], x.part[q]);
    }

    void multiply(double factor)
    {
        const lanes::vector all = lanes::all(factor);
#pragma GCC unroll 8
        for (std::size_t q = 0; q < count; ++q)
            part[q] = lanes::times(part[q], all);
    }

    // By lanes: what is left of the sum is that of the lanes.
    lanes::vector products(const row_of_vectors& x) const
    {
        lanes::vector sum = lanes::times(part[0], x.part[0]);
#pragma GCC unroll 8
        for (std::size_t q = 1; q < count; ++q)
            sum = lanes::more(sum, part[q], x.part[q]);
        return sum;
    }

    double dot(const row_of_vectors& x) const
    {
        double lane[lanes::width];
        lanes::store(lane, products(x));
        double sum = lane[0];
        for (std::size_t l = 1; l < lanes::width; ++l)
            sum += lane[l];
        return sum;
    }
};

// out = factor·(A·x) for `extent` rows.
template <std::size_t extent>
void multiply_square(double* out, const double* a, std::size_t stride,
                     const row_of_vectors<extent>& x, double factor)
{
    using row = row_of_vectors<extent>;
    for (std::size_t i = 0; i < extent; i += lanes::width) {
        lanes::vector sums[lanes::width];
#pragma GCC unroll 8
        for (std::size_t r = 0; r < lanes::width; ++r)
            sums[r] = row::load(a + (i + r) * stride).products(x);
        lanes::store(out + i, lanes::times(lanes::all(factor), lanes::sums_of(sums)));
    }
}

// -(Aᵀ·x).
template <std::size_t extent>
row_of_vectors<extent> minus_sum_of_rows(const double* a, std::size_t stride, const double* x)
{
    using row = row_of_vectors<extent>;
    row even = row::zero();
    row odd = row::zero();
    for (std::size_t i = 0; i < extent; i += 2) {
        even.subtract(x[i], row::load(a + i * stride));
        odd.subtract(x[i + 1], row::load(a + (i + 1) * stride));
    }
    even.add(odd);
    return even;
}

// A -= x·pᵀ + y·qᵀ.
template <std::size_t extent>
void subtract_outer_products(double* a, std::size_t stride, const double* x,
                             const row_of_vectors<extent>& p, const double* y,
                             const row_of_vectors<extent>& q)
{
    for (std::size_t i = 0; i < extent; ++i) {
        auto row = row_of_vectors<extent>::load(a + i * stride);
        row.subtract(x[i], p);
        row.subtract(y[i], q);
        row.store(a + i * stride);
    }
}

// x becomes the unit vector of the reflection that leaves of it only its first element, β. False,
// with nothing done, where that is to be made with care. With ‖x‖ = α the vector x + sign(x₀)·α·e₀
// has the squared length 2·α·(α + |x₀|).
template <std::size_t extent>
bool make_chase_reflector(double* x, double& beta)
{
    const auto given = row_of_vectors<extent>::load(x);
    const double square = given.dot(given);
    const double first = x[0];
    if (!(square - first * first > square * 0x1p-40 && 0x1p-900 <= square && square <= 0x1p900))
        return false;
    const double norm = __builtin_sqrt(square);
    const double length = __builtin_sqrt(2 * norm * (norm + __builtin_fabs(first)));
    beta = -__builtin_copysign(norm, first);
    auto unit = given;
    unit.multiply(1 / length);
    unit.store(x);
    x[0] = (first - beta) / length;
    return true;
}

// D := H·D·H = D - v·wᵀ - w·vᵀ with w = 2·D·v - 2·(vᵀDv)·v.
template <std::size_t extent>
void reflect_diagonal(double* d, std::size_t stride, const double* v)
{
    using row = row_of_vectors<extent>;
    for (std::size_t j = 0; j + 1 < extent; ++j)
        d[j * stride + extent - 1] = d[(extent - 1) * stride + j];
    const row along = row::load(v);
    row w = minus_sum_of_rows<extent>(d, stride, v);
    w.multiply(-2);
    w.subtract(along.dot(w), along);
    double weights[extent];
    w.store(weights);
    subtract_outer_products<extent>(d, stride, v, w, weights, along);
}

// A block about to be reflected from both sides, A := H·A·G with G = I - 2·u·uᵀ and the H that
// leaves of the first column of A·G only the first element, β.
template <std::size_t extent>
struct two_sided_step
{
    using row = row_of_vectors<extent>;
    double along_u[extent]; // 2·A·u
    double v[extent];       // of H
    double beta;

    // False, with nothing done, where the first column is to be reflected with care.
    bool prepare(const double* a, std::size_t stride, const double* u)
    {
        multiply_square<extent>(along_u, a, stride, row::load(u), 2);
        for (std::size_t i = 0; i < extent; ++i)
            v[i] = a[i * stride] - along_u[i] * u[0];
        return make_chase_reflector<extent>(v, beta);
    }

    // In one update, as 2·(A·G)ᵀ·v = 2·Aᵀv - 2·(vᵀ·2Au)·u.
    void apply(double* a, std::size_t stride, const double* u) const
    {
        const row of_u = row::load(u);
        row along_v = minus_sum_of_rows<extent>(a, stride, v);
        along_v.multiply(-2);
        along_v.subtract(2 * row::load(v).dot(row::load(along_u)), of_u);
        subtract_outer_products<extent>(a, stride, along_u, of_u, v, along_v);
        a[0] = beta;
        for (std::size_t i = 1; i < extent; ++i)
            a[i * stride] = 0;
    }
};

template <std::size_t extent>
bool chase(const chase_blocks& at, double* reflector)
{
    two_sided_step<extent> step;
    if (!step.prepare(at.left, at.stride, reflector))
        return false;
    step.apply(at.left, at.stride, reflector);
    reflect_diagonal<extent>(at.diagonal, at.stride, step.v);
    row_of_vectors<extent>::load(step.v).store(reflector);
    return true;
}

} // namespace
} // namespace numerical::detail
