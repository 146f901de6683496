#include "package/creation.hpp"
#include "package/docs_ordering.hpp"
#include "package/docs_shaping.hpp"
#include "package/numbers.hpp"
#include "package/shaping.hpp"
#include "package/subscript.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> shaping_table()
{
    static PyMethodDef table[] = {
        function<updated_copy>("updated",
                               "updated(t, index, values, operation)\n--\n\n"
                               "A copy of t with the elements of t[index] set, or changed by add,\n"
                               "multiply, min or max."),
        function<permute_dims>("permute_dims", permute_dims_doc),
        function<concatenate>("concatenate", concatenate_doc),
        function<stack>("stack", stack_doc),
        function<tril>("tril", tril_doc),
        function<triu>("triu", triu_doc),
        function<with_strides>("with_strides",
                               "with_strides(a, shape, strides, first=0)\n--\n\nElements read from "
                               "`first` on through strides, all in elements."),
        function<eye>("eye", "eye(n, m, k, complex)\n--\n\nOnes on diagonal k, zeros elsewhere."),
        function<tri>("tri", "tri(n, m, k, complex)\n--\n\nOnes on and below diagonal k."),
        function<diagonal_matrix>("diagonal_matrix", "diagonal_matrix(v, k)\n--\n\n"
                                                     "The vector v on diagonal k."),
        function<where>("where", where_doc),
        function<diff>("diff", diff_doc),
        function<rolled>("rolled", "rolled(a, shift, axis)\n--\n\n"
                                   "Along the axis the last `shift` places first."),
    };
    return table;
}

} // namespace numerical::package
