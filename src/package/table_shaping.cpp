#include "package/creation.hpp"
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
        function<permute_dims>(
            "permute_dims",
            "permute_dims(a, axes=None)\n--\n\nThe axes in another order, reversed by default."),
        function<concatenate>("concatenate",
                              "concatenate(tensors, axis=0)\n--\n\nTensors of one rank joined "
                              "along an axis; their other extents are equal."),
        function<stack>(
            "stack",
            "stack(tensors, axis=0)\n--\n\nTensors of one shape side by side along a new axis."),
        function<tril>(
            "tril",
            "tril(a, k=0)\n--\n\nThe matrix, or each of a stack, with zeros above diagonal k."),
        function<triu>(
            "triu",
            "triu(a, k=0)\n--\n\nThe matrix, or each of a stack, with zeros below diagonal k."),
        function<with_strides>("with_strides",
                               "with_strides(a, shape, strides, first=0)\n--\n\nElements read from "
                               "`first` on through strides, all in elements."),
        function<eye>("eye", "eye(n, m, k, complex)\n--\n\nOnes on diagonal k, zeros elsewhere."),
        function<tri>("tri", "tri(n, m, k, complex)\n--\n\nOnes on and below diagonal k."),
        function<diagonal_matrix>("diagonal_matrix", "diagonal_matrix(v, k)\n--\n\n"
                                                     "The vector v on diagonal k."),
        function<where>("where",
                        "where(mask, a=None, b=None)\n"
                        "--\n"
                        "\n"
                        "The elements of a where the mask isn't zero, of b elsewhere, all with\n"
                        "broadcasting. Of a mask alone its nonzero places, as nonzero."),
        function<diff>("diff", "diff(a, n=1, axis=-1)\n"
                               "--\n"
                               "\n"
                               "The differences of neighbours along an axis, n times over."),
        function<rolled>("rolled", "rolled(a, shift, axis)\n--\n\n"
                                   "Along the axis the last `shift` places first."),
    };
    return table;
}

} // namespace numerical::package
