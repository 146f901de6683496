#include "package/least_squares.hpp"

#include "module/functions.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/strided/broadcast.hpp"
#include "numerical/svd/least_squares_fit.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "package/matrices.hpp"

#include <optional>
#include <utility>
#include <vector>

namespace numerical::package {
namespace {

template <class T>
void find_pseudo_inverses(const tensor<T>& a, const stack_shape& of, T* inverses)
{
    if (stacks::is_small(of.rows, of.cols))
        return stacks::small_pinv(of.count, dense(a, of), inverses);
    stacks::pinv(of.count, dense(a, of), inverses);
}

template <class T>
PyObject* pseudo_inverses(const tensor<T>& a, const stack_shape& of)
{
    tensor<T> inverses = unset_stack<T>(of.lead, {of.cols, of.rows});
    computed(a.data.size(), [&] { find_pseudo_inverses(a, of, inverses.data.data()); });
    return wrap(std::move(inverses));
}

// The ranks as an int, or for a stack as a float64 tensor.
template <class T>
PyObject* ranks(const tensor<T>& a, const stack_shape& of)
{
    std::vector<std::size_t> found(of.count);
    const auto find =
        stacks::is_small(of.rows, of.cols) ? stacks::small_matrix_rank<T> : stacks::matrix_rank<T>;
    computed(a.data.size(), [&] { find(of.count, dense(a, of), found.data()); });
    if (of.is_single())
        return PyLong_FromSize_t(found[0]);
    return wrap(tensor<double>(of.lead, aligned_vector<double>(found.begin(), found.end())));
}

// Right-hand sides in the columns of matrices; a vector is used for every matrix of a stack.
template <class T>
PyObject* solutions(const tensor<T>& a, const stack_shape& of, const tensor<T>& b)
{
    const bool vectors = b.shape.size() == 1;
    const shape_list own = vectors ? shape_list() : shape_list(b.shape.begin(), b.shape.end() - 2);
    const std::size_t rows = vectors ? b.shape[0] : b.shape.end()[-2];
    const std::size_t cols = vectors ? 1 : b.shape.end()[-1];
    const shape_list lead = broadcast_shape(of.lead, own);
    tensor<T> x = vectors ? unset_stack<T>(lead, {of.cols}) : unset_stack<T>(lead, {of.cols, cols});
    const stack_places from_a(of.lead, lead, of.rows * of.cols);
    const stack_places from_b(own, lead, rows * cols);
    computed(a.data.size(), [&] {
        stacks::lstsq(detail::element_count(lead), from_a(a.data.data(), of.rows, of.cols),
                      from_b(b.data.data(), rows, cols), x.data.data());
    });
    return wrap(std::move(x));
}

PyObject* vector_of(aligned_vector<double> elements)
{
    const std::size_t n = elements.size();
    return wrap(tensor<double>({n}, std::move(elements)));
}

template <class T>
PyObject* wrapped(matrix<T> a)
{
    return wrap(tensor<T>({a.rows, a.cols}, std::move(a.data)));
}

template <class T>
PyObject* pseudo_inverse_alone(const tensor<T>& a)
{
    std::optional<matrix<T>> inverse;
    computed(a.data.size(), [&] {
        inverse = pseudo_inverse<T>({a.data.data(), a.shape[0], a.shape[1]});
    });
    return wrapped(std::move(*inverse));
}

template <class T>
PyObject* fitted(const tensor<T>& a, const tensor<T>& b, double cutoff)
{
    const bool is_vector = b.shape.size() == 1;
    const std::size_t cols = is_vector ? 1 : b.shape[1];
    std::optional<least_squares_fit<T>> fit;
    computed(a.data.size(), [&] {
        fit = fit_least_squares<T>({a.data.data(), a.shape[0], a.shape[1]},
                                   matrix<T>(b.shape[0], cols, b.data), cutoff);
    });
    PyObject* const x = is_vector ? wrap(tensor<T>({a.shape[1]}, std::move(fit->x.data)))
                                  : wrapped(std::move(fit->x));
    PyObject* const values =
        fit->values.empty() ? Py_NewRef(Py_None) : vector_of(std::move(fit->values));
    return tuple_of({x, vector_of(std::move(fit->missed)), wrapped(std::move(fit->triangle)),
                     PyFloat_FromDouble(fit->scale), values});
}

constexpr binding::signature<1> pinv_signature{"pinv", {"a"}};
constexpr binding::signature<1> rank_signature{"matrix_rank", {"a"}};
constexpr binding::signature<2> lstsq_signature{"lstsq", {"a", "b"}};
constexpr binding::signature<3> fit_signature{"lstsq_fit", {"a", "b", "cutoff"}};

} // namespace

PyObject* pinv(const binding::call_arguments& call)
{
    const auto [given] = pinv_signature.bind(call);
    const operand a(given);
    const stack_shape of = stack_of(a, "pinv");
    return telling({given}, of.lead, [&] {
        const bool is_alone = of.is_single() && !stacks::is_small(of.rows, of.cols);
        return by_type(a, [&](const auto& x) {
            return is_alone ? pseudo_inverse_alone(x) : pseudo_inverses(x, of);
        });
    });
}

PyObject* matrix_rank(const binding::call_arguments& call)
{
    const auto [given] = rank_signature.bind(call);
    const operand a(given);
    const stack_shape of = stack_of(a, "matrix_rank");
    return telling({given}, of.lead,
                   [&] { return by_type(a, [&](const auto& x) { return ranks(x, of); }); });
}

PyObject* lstsq(const binding::call_arguments& call)
{
    const auto [given_a, given_b] = lstsq_signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    const stack_shape of = stack_of(a, "lstsq");
    promote(a, b);
    if (of.is_single() || b.rank() == 0)
        return telling({given_a, given_b}, {},
                       [&] { return wrap(boundary::lstsq(a.value(), b.value())); });
    return telling({given_a, given_b}, of.lead, [&] {
        return by_type(a, b, [&](const auto& x, const auto& y) { return solutions(x, of, y); });
    });
}

PyObject* lstsq_fit(const binding::call_arguments& call)
{
    const auto [given_a, given_b, given_cutoff] = fit_signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    const double cutoff = real_parameter(given_cutoff, "cutoff", 0);
    return telling({given_a, given_b}, {}, [&] {
        return by_type(a, b, [&](const auto& x, const auto& y) { return fitted(x, y, cutoff); });
    });
}

} // namespace numerical::package
