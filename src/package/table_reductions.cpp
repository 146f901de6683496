#include "package/elementwise.hpp"
#include "package/ordering.hpp"
#include "package/reductions.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> reductions_table()
{
    static PyMethodDef table[] = {
        function<sum>("sum", "sum(a, axis=None, *, dtype=None, keepdims=False)\n--\n\n"
                             "The sum of all elements or along axes, by pairwise summation."),
        function<mean>("mean", "mean(a, axis=None, *, dtype=None, keepdims=False)\n--\n\n"
                               "The mean of all elements or along axes; NaN over no element."),
        function<max>("max",
                      "max(a, axis=None, *, keepdims=False)\n--\n\n"
                      "The largest element of a float64 tensor, of all or along axes; NaN if\n"
                      "one is NaN."),
        function<min>("min",
                      "min(a, axis=None, *, keepdims=False)\n--\n\n"
                      "The smallest element of a float64 tensor, of all or along axes; NaN if\n"
                      "one is NaN."),
        function<var>(
            "var",
            "var(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)\n--\n\n"
            "The mean squared modulus of the distance from the mean; divided by\n"
            "count - correction."),
        function<std>(
            "std",
            "std(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)\n--\n\n"
            "The square root of var."),
        function<allclose>("allclose",
                           "allclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)\n--\n\nWhether "
                           "abs(a - b) <= atol + rtol*abs(b) everywhere, with broadcasting."),
        function<array_equal>("array_equal", "array_equal(a, b)\n--\n\nWhether shapes and all "
                                             "elements are equal; a NaN equals nothing."),
        function<sort>(
            "sort", "sort(a, axis=-1, kind=None, *, descending=False, stable=True)\n"
                    "--\n"
                    "\n"
                    "The elements of a float64 tensor sorted along an axis; of all for axis None.\n"
                    "NaNs are last. Always stable, whatever the kind."),
        function<argsort>(
            "argsort",
            "argsort(a, axis=-1, kind=None, *, descending=False, stable=True)\n"
            "--\n"
            "\n"
            "The Positions along an axis that sort a float64 tensor: a[argsort(a)] is sorted\n"
            "for a vector. NaNs are last; equal elements keep their order."),
        function<argmax>(
            "argmax",
            "argmax(a, axis=None, *, keepdims=False)\n"
            "--\n"
            "\n"
            "The first place of the largest element, an int, or Positions along an axis; of a\n"
            "NaN if there is one. Without an axis it counts in row-major order."),
        function<argmin>(
            "argmin",
            "argmin(a, axis=None, *, keepdims=False)\n"
            "--\n"
            "\n"
            "The first place of the smallest element, an int, or Positions along an axis; of a\n"
            "NaN if there is one. Without an axis it counts in row-major order."),
        function<searchsorted>(
            "searchsorted",
            "searchsorted(a, v, side='left', sorter=None)\n"
            "--\n"
            "\n"
            "Where v would keep the ascending vector a sorted: before equal elements, or behind\n"
            "them for side 'right'. An int for a number, else Positions."),
        function<nonzero>("nonzero",
                          "nonzero(a)\n"
                          "--\n"
                          "\n"
                          "For each axis the Positions of the elements that aren't zero."),
        function<any>("any", "any(a, axis=None, *, keepdims=False)\n"
                             "--\n"
                             "\n"
                             "Whether one element isn't zero: a bool, or a mask along axes."),
        function<all>("all", "all(a, axis=None, *, keepdims=False)\n"
                             "--\n"
                             "\n"
                             "Whether no element is zero: a bool, or a mask along axes."),
        function<count_nonzero>("count_nonzero",
                                "count_nonzero(a, axis=None, *, keepdims=False)\n"
                                "--\n"
                                "\n"
                                "How many elements aren't zero: an int, or Positions along axes."),
        function<prod>("prod", "prod(a, axis=None, *, dtype=None, keepdims=False)\n"
                               "--\n"
                               "\n"
                               "The product of all elements or along axes; 1 over none."),
        function<cumsum>(
            "cumsum",
            "cumsum(a, axis=None, dtype=None)\n"
            "--\n"
            "\n"
            "The running sums along an axis, of all elements in row-major order by default."),
        function<cumprod>(
            "cumprod",
            "cumprod(a, axis=None, dtype=None)\n"
            "--\n"
            "\n"
            "The running products along an axis, of all elements in row-major order by default."),
    };
    return table;
}

} // namespace numerical::package
