#include "package/matrix_equations.hpp"

#include "numerical/matrix_functions/matrix_equations.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "package/right_sides.hpp"

#include <algorithm>
#include <string>

namespace numerical::package {
namespace {

// Matrices of rows × cols in the last axes; ValueError "solve_sylvester takes q of shape (3, 2),
// not (2, 3)", or one for leading axes that don't broadcast with `lead`.
right_sides sides_of(const operand& q, const shape_list& lead, std::size_t rows, std::size_t cols,
                     const char* function)
{
    const shape_list& shape = q.shape();
    if (shape.size() < 2 || shape.end()[-2] != rows || shape.end()[-1] != cols)
        binding::fail(PyExc_ValueError, std::string(function) + " takes q of shape " +
                                            detail::shape_text({rows, cols}) + ", not " +
                                            detail::shape_text(shape));
    return right_sides_of(lead, shape, function);
}

// Matrix i of an operand that is broadcast to the places of the solutions.
template <class T>
class broadcast_matrices
{
public:
    broadcast_matrices(const tensor<T>& a, const stack_shape& of, const shape_list& lead)
        : places(of.lead, lead, of.rows * of.cols),
          matrices(places(a.data.data(), of.rows, of.cols))
    {
    }

    broadcast_matrices(const broadcast_matrices&) = delete;
    broadcast_matrices& operator=(const broadcast_matrices&) = delete;

    matrix<T> operator()(std::size_t i) const { return matrices.copy_of(i); }

private:
    stack_places places;
    matrix_stack<T> matrices;
};

// Calls solution(i) at each place; each takes the work of some Schur forms.
template <class T, class F>
PyObject* solutions(const right_sides& sides, const F& solution)
{
    tensor<T> x = unset_solutions<T>(sides, sides.rows);
    const std::size_t elements = sides.rows * sides.cols;
    const std::size_t greater = std::max(sides.rows, sides.cols);
    const auto one = [&](std::size_t i) {
        const matrix<T> found = solution(i);
        std::copy(found.data.begin(), found.data.end(), x.data.begin() + i * elements);
    };
    computed(x.data.size(), [&] {
        detail::first_failure failures;
        detail::run_one_by_one(sides.count(), 16 * greater * greater * greater + 8192, failures,
                               one);
        failures.rethrow();
    });
    return wrap(std::move(x));
}

stack_shape stack_of_sides(const right_sides& sides)
{
    return {.lead = sides.own,
            .rows = sides.rows,
            .cols = sides.cols,
            .count = detail::element_count(sides.own)};
}

// Calls solve(A, Q) for the two arguments of a Lyapunov equation.
template <class F>
PyObject* of_lyapunov(const binding::signature<2>& signature, const binding::call_arguments& call,
                      const F& solve)
{
    const auto [given_a, given_q] = signature.bind(call);
    operand a(given_a);
    operand q(given_q);
    const stack_shape of = square_stack_of(a, signature.function);
    const right_sides sides = sides_of(q, of.lead, of.rows, of.rows, signature.function);
    return telling({given_a, given_q}, sides.lead, [&] {
        return by_type(a, q, [&]<class T>(const tensor<T>& x, const tensor<T>& y) {
            const broadcast_matrices<T> coefficients(x, of, sides.lead);
            const broadcast_matrices<T> right(y, stack_of_sides(sides), sides.lead);
            return solutions<T>(sides,
                                [&](std::size_t i) { return solve(coefficients(i), right(i)); });
        });
    });
}

} // namespace

PyObject* solve_sylvester(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"solve_sylvester", {"a", "b", "q"}};
    const auto [given_a, given_b, given_q] = signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    operand q(given_q);
    const stack_shape of_a = square_stack_of(a, signature.function);
    const stack_shape of_b = square_stack_of(b, signature.function);
    const shape_list lead = right_sides_of(of_a.lead, b.shape(), signature.function).lead;
    const right_sides sides = sides_of(q, lead, of_a.rows, of_b.rows, signature.function);
    if (a.is_complex() || b.is_complex() || q.is_complex())
        for (operand* each : {&a, &b, &q})
            each->make_complex();
    return telling({given_a, given_b, given_q}, sides.lead, [&] {
        return by_type(a, [&]<class T>(const tensor<T>& x) {
            const broadcast_matrices<T> left(x, of_a, sides.lead);
            const broadcast_matrices<T> right(b.as<T>(), of_b, sides.lead);
            const broadcast_matrices<T> of_q(q.as<T>(), stack_of_sides(sides), sides.lead);
            return solutions<T>(sides, [&](std::size_t i) {
                return numerical::solve_sylvester(left(i), right(i), of_q(i));
            });
        });
    });
}

PyObject* solve_continuous_lyapunov(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"solve_continuous_lyapunov", {"a", "q"}};
    return of_lyapunov(signature, call, [](auto a, const auto& q) {
        return numerical::solve_continuous_lyapunov(std::move(a), q);
    });
}

PyObject* solve_discrete_lyapunov(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"solve_discrete_lyapunov", {"a", "q"}};
    return of_lyapunov(signature, call, [](auto a, const auto& q) {
        return numerical::solve_discrete_lyapunov(std::move(a), q);
    });
}

} // namespace numerical::package
