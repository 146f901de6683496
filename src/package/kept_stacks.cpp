#include "package/kept_stacks.hpp"

#include "numerical/errors.hpp"

#include <string>

namespace numerical::package {

matrix_form form_parameter(PyObject* object)
{
    const std::ptrdiff_t form = integer_parameter(object, "trans");
    if (form < 0 || form > 2)
        binding::fail(PyExc_ValueError, "trans is 0, 1 or 2, not " + std::to_string(form));
    return static_cast<matrix_form>(form);
}

void require_right_sides(const stack_shape& of, const right_sides& sides,
                         const std::string& function)
{
    if (of.rows != sides.rows)
        throw dimension_error(function + (sides.vectors
                                              ? ": right-hand side size differs from the matrix"
                                              : ": right-hand side row count differs from the"
                                                " matrix"));
}

} // namespace numerical::package
