#include "package/products.hpp"

#include "module/tensor_object.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/matrix_vector.hpp"
#include "numerical/gemm/vector_product.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"
#include "package/operators.hpp"

#include <string>
#include <utility>
#include <vector>

namespace numerical::package {
namespace {

using boundary::gil_release;
using boundary::gil_release_threshold;

// One operand of a stacked product: matrices of rows × cols, dense, one after the other.
struct stacked
{
    shape_list lead;
    std::size_t rows;
    std::size_t cols;

    std::size_t step() const { return rows * cols; }
};

// The rank of a vector operand is raised on the side where it is summed.
stacked as_left(const shape_list& shape)
{
    if (shape.size() == 1)
        return {{}, 1, shape[0]};
    return {shape_list(shape.begin(), shape.end() - 2), shape.end()[-2], shape.end()[-1]};
}

stacked as_right(const shape_list& shape)
{
    if (shape.size() == 1)
        return {{}, shape[0], 1};
    return as_left(shape);
}

void check_inner(const shape_list& a, const shape_list& b)
{
    if (a.empty() || b.empty())
        binding::fail(PyExc_ValueError, "matmul takes no tensor of rank 0; use * instead");
    const std::size_t left = a.back();
    const std::size_t right = b.size() > 1 ? b.end()[-2] : b[0];
    if (left != right)
        binding::fail(PyExc_ValueError, "matmul: inner extents differ, " + std::to_string(left) +
                                            " of " + detail::shape_text(a) + " and " +
                                            std::to_string(right) + " of " + detail::shape_text(b));
}

shape_list broadcast_lead(const stacked& a, const stacked& b)
{
    try {
        return broadcast_shape(a.lead, b.lead);
    } catch (const std::exception& failure) {
        binding::fail(PyExc_ValueError, failure.what());
    }
}

// Offsets in matrices of operand `of` for each place of the broadcast stack.
std::vector<std::size_t> matrices_of(const stacked& of, const shape_list& lead, std::size_t count)
{
    const shape_list strides = detail::broadcast_strides(of.lead, lead.size());
    std::vector<std::size_t> places(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t rest = i;
        for (std::size_t axis = lead.size(); axis-- > 0;) {
            places[i] += rest % lead[axis] * strides[axis];
            rest /= lead[axis];
        }
    }
    return places;
}

// c = a·b. A product with one column, or of one row, takes the way of matrices with vectors.
template <class T>
void multiply(std::size_t m, std::size_t n, std::size_t k, const T* a, const T* b, T* c)
{
    if (n == 1)
        detail::matrix_times_vector(m, k, a, b, c);
    else if (m == 1)
        detail::vector_times_matrix(k, n, a, b, c);
    else
        detail::gemm_new(m, n, k, a, k, b, n, c, n);
}

// The matrices of an operand, and where they lie.
template <class T>
struct stack_elements
{
    const stacked& of;
    const T* first;
};

template <class T>
void multiply_stack(const stack_elements<T>& a, const stack_elements<T>& b, const shape_list& lead,
                    std::size_t count, T* c)
{
    const stacked& left = a.of;
    const stacked& right = b.of;
    const auto [m, n, k] = std::tuple(left.rows, right.cols, left.cols);
    const bool with_vectors = m == 1 || n == 1;
    if (left.lead == lead && right.lead == lead && !with_vectors) {
        detail::gemm_batch({.batches = count, .m = m, .n = n, .k = k}, a.first, b.first, c);
        return;
    }
    const std::vector<std::size_t> from_a = matrices_of(left, lead, count);
    const std::vector<std::size_t> from_b = matrices_of(right, lead, count);
    const std::size_t work = m * n * k / (with_vectors ? detail::products_per_unit : 16);
    detail::parallel_for(count, work, [&, m = m, n = n, k = k](std::size_t i) {
        multiply(m, n, k, a.first + from_a[i] * left.step(), b.first + from_b[i] * right.step(),
                 c + i * m * n);
    });
}

// The axes of the result: those of the stack, then rows and columns, which a vector doesn't have.
shape_list result_shape(shape_list lead, const stacked& left, bool row, const stacked& right,
                        bool column)
{
    if (!row)
        lead.push_back(left.rows);
    if (!column)
        lead.push_back(right.cols);
    return lead;
}

template <class T>
tensor<T> stacked_product(const tensor<T>& a, const tensor<T>& b)
{
    stacked left = as_left(a.shape);
    const stacked right = as_right(b.shape);
    const shape_list lead = broadcast_lead(left, right);
    shape_list shape = result_shape(lead, left, a.shape.size() == 1, right, b.shape.size() == 1);
    aligned_vector<T> data = detail::uninitialized<T>(detail::element_count(shape));
    if (data.empty())
        return tensor<T>(std::move(shape), std::move(data));
    const gil_release released(a.data.size() + b.data.size() >= gil_release_threshold);
    std::size_t count = 1;
    for (const std::size_t extent : lead)
        count *= extent;
    if (right.lead.empty()) { // one matrix on the right: the rows of the whole stack in one product
        multiply(count * left.rows, right.cols, left.cols, a.data.data(), b.data.data(),
                 data.data());
    } else {
        multiply_stack<T>({left, a.data.data()}, {right, b.data.data()}, lead, count, data.data());
    }
    return tensor<T>(std::move(shape), std::move(data));
}

template <class T>
T dot(const tensor<T>& a, const tensor<T>& b)
{
    const gil_release released(a.data.size() + b.data.size() >= gil_release_threshold);
    return detail::vector_times_vector(a.data.size(), a.data.data(), b.data.data());
}

template <class T>
PyObject* product_of(const tensor<T>& a, const tensor<T>& b)
{
    check_inner(a.shape, b.shape);
    if (a.shape.size() == 1 && b.shape.size() == 1)
        return number(dot(a, b));
    return wrap(stacked_product(a, b));
}

constexpr binding::signature<2> matmul_signature{"matmul", {"a", "b"}};

} // namespace

PyObject* matrix_product(PyObject* left, PyObject* right)
{
    operand a(left);
    operand b(right);
    return by_type(a, b, [](const auto& x, const auto& y) { return product_of(x, y); });
}

PyObject* matmul(const binding::call_arguments& call)
{
    const auto [a, b] = matmul_signature.bind(call);
    return matrix_product(a, b);
}

} // namespace numerical::package
