#pragma once

// The loops of searched_column.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/gemv_transposed_loops.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/searched_column.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// |x|, or |z|² in both lanes of a complex number.
template <class Lanes, std::size_t doubles>
typename Lanes::vector search_size(typename Lanes::vector x)
{
    if constexpr (doubles == 1)
        return Lanes::magnitude(x);
    const auto squares = Lanes::times(x, x);
    return Lanes::plus(squares, Lanes::swapped(squares));
}

// So many columns are subtracted in a pass that their coefficients stay in registers. They come
// from L2: a few runs that are read from end to end arrive sooner than short pieces of all.
template <class Lanes, class Coefficient>
constexpr std::size_t columns_a_pass = Lanes::width < 8 ? 8 / Coefficient::doubles : 8;

// Counts in doubles.
template <class Lanes, class Coefficient>
class searched_column
{
public:
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = Coefficient::doubles;

    template <class T>
    explicit searched_column(const column_update<T>& update)
        : values(reinterpret_cast<double*>(update.column)), n(update.n * doubles),
          left(reinterpret_cast<const double*>(update.left)),
          searched(reinterpret_cast<const double*>(update.searched)),
          coefficients(reinterpret_cast<const double*>(update.coefficients)),
          columns(reinterpret_cast<const double*>(update.columns)), stride(update.stride * doubles)
    {
    }

    // Passes of about equal counts, the last one of which searches.
    largest_in_column update(std::size_t count)
    {
        constexpr std::size_t most = columns_a_pass<Lanes, Coefficient>;
        for (std::size_t passes = (count + most - 1) / most; passes > 1; --passes) {
            const std::size_t terms = (count + passes - 1) / passes;
            pass_of<most, false>(terms);
            coefficients += terms * doubles;
            columns += terms * stride;
            count -= terms;
        }
        pass_of<most, true>(count);
        const double size = Lanes::fold_larger(Lanes::larger(largest[0], largest[1]));
        return {size, size > 0 ? place_of(size) : 0};
    }

private:
    double* values;
    std::size_t n;
    const double* left;
    const double* searched;
    const double* coefficients;
    const double* columns;
    std::size_t stride;
    vector largest[2] = {Lanes::zero(), Lanes::zero()};

    template <std::size_t most, bool searches>
    void pass_of(std::size_t terms)
    {
        if constexpr (most > 0) {
            if (terms < most)
                return pass_of<most - 1, searches>(terms);
        }
        pass<most, searches>();
    }

    template <std::size_t terms, bool searches>
    void pass()
    {
        constexpr std::size_t width = Lanes::width;
        Coefficient c[terms + 1];
#pragma GCC unroll 8
        for (std::size_t t = 0; t != terms; ++t)
            c[t] = Coefficient(coefficients + t * doubles);
        const auto step = [&](std::size_t i, std::size_t v, const auto& access) {
            auto sum = access.load(values + i);
#pragma GCC unroll 8
            for (std::size_t t = 0; t != terms; ++t)
                sum = c[t].subtracted_from(sum, access.load(columns + t * stride + i));
            if constexpr (searches) {
                const auto kept = Lanes::both(sum, access.load(left + i));
                const auto sought = Lanes::both(sum, access.load(searched + i));
                largest[v] = Lanes::larger(search_size<Lanes, doubles>(sought), largest[v]);
                access.store(values + i, kept);
            } else {
                access.store(values + i, sum);
            }
        };
        const auto every = every_lane<Lanes, doubles>();
        std::size_t i = 0;
        for (; i + 2 * width <= n; i += 2 * width) {
            step(i, 0, every);
            step(i + width, 1, every);
        }
        if (i + width <= n) {
            step(i, 0, every);
            i += width;
        }
        if (i < n)
            step(i, 1, last_vector<Lanes>(n - i));
    }

    // The first searched row of this size, as one of them is.
    std::size_t place_of(double size) const
    {
        const auto wanted = Lanes::all(size);
        const auto rows_at = [&](std::size_t i, const auto& access) {
            const auto sought = Lanes::both(access.load(values + i), access.load(searched + i));
            return Lanes::equal_to(search_size<Lanes, doubles>(sought), wanted);
        };
        std::size_t i = 0;
        for (; i + Lanes::width <= n; i += Lanes::width)
            if (const unsigned found = rows_at(i, whole_vector<Lanes>()); found != 0)
                return (i + std::size_t(__builtin_ctz(found))) / doubles;
        const unsigned found = rows_at(i, last_vector<Lanes>(n - i));
        return (i + std::size_t(__builtin_ctz(found))) / doubles;
    }
};

template <class Lanes, class Coefficient, class T>
largest_in_column update_and_search(const column_update<T>& update)
{
    return searched_column<Lanes, Coefficient>(update).update(update.count);
}

} // namespace
} // namespace numerical::detail
