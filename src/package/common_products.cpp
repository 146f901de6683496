#include "binding/caster.hpp"
#include "package/common_forms.hpp"
#include "package/common_operands.hpp"
#include "package/elementary.hpp"
#include "package/operators.hpp"

#include <cstddef>
#include <vector>

namespace numerical::package::common_forms {
namespace {

using binding::not_null;
using binding::owned_ref;
using boundary::shape_of;

bool is_vector_or_matrix(PyObject* object)
{
    return tensor_in(object, 1) != nullptr || tensor_in(object, 2) != nullptr;
}

// The products of all elements of a with all elements of b, both in shapes that broadcast to
// `shape`.
template <class T>
tensor<T> every_product(const tensor<T>& a, shape_list a_shape, const tensor<T>& b,
                        shape_list b_shape)
{
    return computed_arithmetic(arithmetic_operation::multiply,
                               reshaped_share(a, std::move(a_shape)),
                               reshaped_share(b, std::move(b_shape)));
}

template <class T>
tensor<T> kronecker_product(const tensor<T>& a, const tensor<T>& b)
{
    const std::size_t rows = a.shape[0] * b.shape[0];
    const std::size_t cols = a.shape[1] * b.shape[1];
    const tensor<T> apart =
        every_product(a, {a.shape[0], 1, a.shape[1], 1}, b, {1, b.shape[0], 1, b.shape[1]});
    return reshaped_share(apart, {rows, cols});
}

// A chain of matrices and the order of products with the fewest operations.
class matrix_chain
{
public:
    // Keeps the matrices alive, since a product releases the interpreter lock.
    explicit matrix_chain(PyObject* list)
        : owned(not_null(PySequence_Tuple(list))), items(owned.get())
    {
    }

    // False unless these are matrices of one dtype whose shapes fit and whose costs can be counted.
    bool read_sizes()
    {
        constexpr std::size_t longest = 1000;
        constexpr std::size_t largest = std::size_t{1} << 36; // 1000·2^108 is below 2^127
        if (items.size() < 2 || items.size() > longest)
            return false;
        std::size_t dtype = 0;
        for (std::size_t i = 0; i < items.size(); ++i) {
            const any_tensor* a = tensor_in(items[i], 2);
            if (a == nullptr || (i != 0 && a->index() != dtype))
                return false;
            dtype = a->index();
            const shape_list& shape = shape_of(*a);
            if (shape[0] > largest || shape[1] > largest || (i != 0 && shape[0] != sizes.back()))
                return false;
            if (i == 0)
                sizes.push_back(shape[0]);
            sizes.push_back(shape[1]);
        }
        return true;
    }

    // By dynamic programming: cost(i, j) is the least over k of cost(i, k) + cost(k + 1, j) and
    // the product of both parts (Godbole 1973).
    void find_splits()
    {
        const std::size_t count = items.size();
        std::vector<__int128> cost(count * count);
        splits.resize(count * count);
        for (std::size_t length = 1; length < count; ++length)
            for (std::size_t i = 0; i + length < count; ++i) {
                const std::size_t j = i + length;
                __int128 least = -1;
                for (std::size_t k = i; k < j; ++k) {
                    const __int128 parts = cost[i * count + k] + cost[(k + 1) * count + j];
                    const __int128 all = parts + static_cast<__int128>(sizes[i]) *
                                                     static_cast<__int128>(sizes[k + 1]) *
                                                     static_cast<__int128>(sizes[j + 1]);
                    if (least < 0 || all < least) {
                        least = all;
                        splits[i * count + j] = k;
                    }
                }
                cost[i * count + j] = least;
            }
    }

    // A new reference to the product of the matrices first to last, both among them.
    owned_ref product(std::size_t first, std::size_t last) const
    {
        if (first == last)
            return owned_ref::to(items[first]);
        const std::size_t middle = splits[first * items.size() + last];
        const owned_ref left = product(first, middle);
        const owned_ref right = product(middle + 1, last);
        return owned_ref(not_null(matrix_product(left.get(), right.get())));
    }

    std::size_t size() const { return items.size(); }

private:
    owned_ref owned;
    listed_items items;
    std::vector<std::size_t> sizes; // rows of the first, then the columns of each
    std::vector<std::size_t> splits;
};

} // namespace

PyObject* dot(arguments given)
{
    if (given.size() != 2 || !is_vector_or_matrix(given[0]) || !is_vector_or_matrix(given[1]))
        return nullptr;
    return matrix_product(given[0], given[1]);
}

PyObject* outer(arguments given)
{
    if (given.size() != 2 || tensor_in(given[0]) == nullptr || tensor_in(given[1]) == nullptr)
        return nullptr;
    operand left(given[0]);
    operand right(given[1]);
    return by_type(left, right, [](const auto& a, const auto& b) {
        return wrap(every_product(a, {a.data.size(), 1}, b, {1, b.data.size()}));
    });
}

PyObject* kron(arguments given)
{
    if (given.size() != 2 || tensor_in(given[0], 2) == nullptr || tensor_in(given[1], 2) == nullptr)
        return nullptr;
    operand left(given[0]);
    operand right(given[1]);
    return by_type(left, right,
                   [](const auto& a, const auto& b) { return wrap(kronecker_product(a, b)); });
}

PyObject* multi_dot(arguments given)
{
    if (given.size() != 1 || !listed_items(given[0]))
        return nullptr;
    matrix_chain chain(given[0]);
    if (!chain.read_sizes())
        return nullptr;
    chain.find_splits();
    return chain.product(0, chain.size() - 1).release();
}

} // namespace numerical::package::common_forms
