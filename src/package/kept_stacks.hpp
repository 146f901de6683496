#pragma once

// Loops over the systems of a stack whose factors are kept.

#include "numerical/scalar.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/systems/triangle.hpp"
#include "package/right_sides.hpp"

#include <algorithm>
#include <cstddef>
#include <string>

namespace numerical::package {

// Calls one(i) for each matrix of a stack; `work` is that of one matrix.
template <class F>
void for_each_matrix(const stack_shape& of, std::size_t work, const F& one)
{
    computed(of.count * of.rows * of.cols, [&] {
        detail::first_failure failures;
        detail::run_one_by_one(of.count, work, failures, one);
        failures.rethrow();
    });
}

// The i-th matrix as a view.
template <class T>
detail::block_view<const T> view_of(const tensor<T>& a, const stack_shape& of, std::size_t i)
{
    return {a.data.data() + i * of.rows * of.cols, of.rows, of.cols};
}

// The number of the matrix that serves each place of a stack to which its leading axes broadcast.
class matrix_numbers
{
public:
    matrix_numbers(const shape_list& own, const shape_list& stack) : places(own, stack, 1) {}

    std::size_t operator()(std::size_t place) const
    {
        return places.offsets.empty() ? place * places.step : places.offsets[place];
    }

private:
    stack_places places;
};

// Aᵀ and Aᴴ by the numbers of matrix_form; ValueError "trans is 0, 1 or 2, not 3".
matrix_form form_parameter(PyObject* object);

template <class T>
bool is_all_finite(detail::block_view<const T> a)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            if (!detail::is_finite(a(i, j)))
                return false;
    return true;
}

// Division by a zero leaves an element that isn't finite, so the diagonal, which is scattered in
// memory, is examined only if there is one.
template <class T>
bool may_have_met_zero(detail::block_view<const T> x)
{
    return x.cols == 0 || !is_all_finite(x);
}

// dimension_error "solve: right-hand side size differs from the matrix", for matrices in place of
// vectors "solve: right-hand side row count differs from the matrix".
void require_right_sides(const stack_shape& of, const right_sides& sides,
                         const std::string& function);

// Solutions in copies of the right-hand sides: solve_one(k, x) solves those of one place, whose
// matrix is number k.
template <class T, class F>
PyObject* solved_in_place(const stack_shape& of, const tensor<T>& b, const right_sides& sides,
                          const F& solve_one)
{
    tensor<T> x = unset_solutions<T>(sides, sides.rows);
    const std::size_t elements = sides.rows * sides.cols;
    const stack_places from_b(sides.own, sides.lead, elements);
    const auto right = from_b(b.data.data(), sides.rows, sides.cols);
    const matrix_numbers numbers(of.lead, sides.lead);
    const auto one = [&](std::size_t i) {
        T* const to = x.data.data() + i * elements;
        std::copy_n(right.at(i), elements, to);
        solve_one(numbers(i), detail::block_view<T>{to, sides.rows, sides.cols});
    };
    const std::size_t work = of.rows * of.rows * (sides.cols + 1) * sizeof(T) / sizeof(double) / 2;
    computed(of.count * of.rows * of.cols + x.data.size(), [&] {
        detail::first_failure failures;
        detail::run_one_by_one(sides.count(), work + 512, failures, one);
        failures.rethrow();
    });
    return boundary::wrap(std::move(x));
}

// One float64 number for each matrix of the stack; a Python float for a single one.
template <class F>
PyObject* number_of_each(const stack_shape& of, const F& number_of_one)
{
    tensor<double> numbers = unset_stack<double>(of.lead, {});
    const auto one = [&](std::size_t i) { numbers.data[i] = number_of_one(i); };
    for_each_matrix(of, 8 * of.rows * of.rows + 512, one);
    return number_or_tensor(std::move(numbers));
}

} // namespace numerical::package
