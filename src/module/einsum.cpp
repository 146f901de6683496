#include "numerical/einsum/einsum.hpp"

#include "binding/errors.hpp"
#include "module/functions.hpp"
#include "numerical/errors.hpp"

#include <string>
#include <variant>
#include <vector>

namespace numerical::boundary {
namespace {

template <class T>
any_tensor einsum_of(const std::string& spec, const std::vector<const any_tensor*>& operands)
{
    std::vector<const tensor<T>*> typed;
    typed.reserve(operands.size());
    std::size_t elements = 0;
    for (const any_tensor* operand : operands) {
        const auto* const value = std::get_if<tensor<T>>(operand);
        if (value == nullptr)
            throw einsum_error("einsum operands must share one dtype");
        typed.push_back(value);
        elements += value->data.size();
    }
    const gil_release released(elements >= gil_release_threshold);
    return detail::einsum_impl<T>(spec, typed);
}

} // namespace

PyObject* module_einsum(PyObject*, PyObject* args)
{
    const Py_ssize_t given = PyTuple_Size(args);
    if (given < 2)
        throw einsum_error("einsum(spec, *operands) needs a spec and ≥1 operand");
    const std::string spec = binding::as_utf8(PyTuple_GetItem(args, 0));
    std::vector<const any_tensor*> operands;
    operands.reserve(static_cast<std::size_t>(given - 1));
    for (Py_ssize_t i = 1; i < given; ++i) {
        const any_tensor* const operand = as_tensor(PyTuple_GetItem(args, i));
        if (operand == nullptr)
            return nullptr;
        operands.push_back(operand);
    }
    const bool is_complex = std::holds_alternative<tensor<std::complex<double>>>(*operands[0]);
    return wrap(is_complex ? einsum_of<std::complex<double>>(spec, operands)
                           : einsum_of<double>(spec, operands));
}

} // namespace numerical::boundary
