#include "package/creation.hpp"
#include "package/docs_ordering.hpp"
#include "package/docs_shaping.hpp"
#include "package/numbers.hpp"
#include "package/rearrangement.hpp"
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
        function<filled>("filled", "filled(shape, value)\n--\n\nfloat64 of one value."),
        function<diag>("diag", "diag(v, k)\n--\n\n"
                               "The vector v on diagonal k, or that diagonal of a matrix."),
        function<trace>("trace", "trace(a, offset)\n--\n\n"
                                 "The sum of a diagonal of each matrix."),
        function<where>("where", where_doc),
        function<diff>("diff", diff_doc),
        function<rolled>("rolled", "rolled(a, shift, axis)\n--\n\n"
                                   "Along the axis, or of all elements for None, the last `shift`\n"
                                   "places first."),
        function<tiled>("tiled", "tiled(a, counts)\n--\n\n"
                                 "The whole tensor so often along each axis."),
        function<repeated>("repeated", "repeated(a, count, axis)\n--\n\n"
                                       "Each place of the axis so often."),
        function<taken_along>("taken_along", "taken_along(a, places, axis)\n--\n\n"
                                             "Each run along the axis at places of its own."),
    };
    return table;
}

} // namespace numerical::package
