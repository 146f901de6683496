#include "package/elementary.hpp"
#include "package/elementwise.hpp"
#include "package/numbers.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> elementwise_table()
{
    static PyMethodDef table[] = {
        function<add>("add", "add(a, b)\n--\n\na + b, element by element with broadcasting."),
        function<subtract>("subtract",
                           "subtract(a, b)\n--\n\na - b, element by element with broadcasting."),
        function<multiply>("multiply",
                           "multiply(a, b)\n--\n\na * b, element by element with broadcasting."),
        function<divide>("divide",
                         "divide(a, b)\n--\n\na / b, element by element with broadcasting."),
        function<power>(
            "power",
            "power(a, b)\n--\n\na to the power of b, element by element with broadcasting."),
        function<negative>("negative", "negative(a)\n--\n\nThe element-wise negative."),
        function<square>("square", "square(a)\n--\n\nEvery element times itself."),
        function<conj>("conj", "conj(a)\n--\n\nThe complex conjugates; a float64 tensor as it is."),
        function<real>("real", "real(a)\n--\n\nThe real parts, as float64."),
        function<imag>(
            "imag", "imag(a)\n--\n\nThe imaginary parts, as float64; zeros for a float64 tensor."),
        function<exp>("exp", "exp(a)\n--\n\ne to the power of every element."),
        function<log>("log", "log(a)\n--\n\nThe natural logarithm of every element; -inf for 0, "
                             "NaN for a negative float64."),
        function<sqrt>(
            "sqrt", "sqrt(a)\n--\n\nThe square root of every element; NaN for a negative float64."),
        function<sin>("sin", "sin(a)\n--\n\nThe sine of every element."),
        function<cos>("cos", "cos(a)\n--\n\nThe cosine of every element."),
        function<tan>("tan", "tan(a)\n--\n\nThe tangent of every element."),
        function<tanh>("tanh", "tanh(a)\n--\n\nThe hyperbolic tangent of every element."),
        function<abs>("abs", "abs(a)\n--\n\nThe modulus of every element, as float64."),
        function<exp2>("exp2", "exp2(a)\n"
                               "--\n"
                               "\n"
                               "2 to the power of every element."),
        function<expm1>("expm1", "expm1(a)\n"
                                 "--\n"
                                 "\n"
                                 "exp(a) - 1, exact near 0 as well."),
        function<log2>("log2", "log2(a)\n"
                               "--\n"
                               "\n"
                               "The logarithm to base 2 of every element."),
        function<log10>("log10", "log10(a)\n"
                                 "--\n"
                                 "\n"
                                 "The logarithm to base 10 of every element."),
        function<log1p>("log1p", "log1p(a)\n"
                                 "--\n"
                                 "\n"
                                 "log(1 + a), exact near 0 as well."),
        function<sinh>("sinh", "sinh(a)\n"
                               "--\n"
                               "\n"
                               "The hyperbolic sine of every element."),
        function<cosh>("cosh", "cosh(a)\n"
                               "--\n"
                               "\n"
                               "The hyperbolic cosine of every element."),
        function<arcsin>("arcsin", "arcsin(a)\n"
                                   "--\n"
                                   "\n"
                                   "The inverse sine of every element, in [-pi/2, pi/2]; NaN "
                                   "outside [-1, 1] for float64."),
        function<arccos>(
            "arccos",
            "arccos(a)\n"
            "--\n"
            "\n"
            "The inverse cosine of every element, in [0, pi]; NaN outside [-1, 1] for float64."),
        function<arctan>("arctan", "arctan(a)\n"
                                   "--\n"
                                   "\n"
                                   "The inverse tangent of every element, in [-pi/2, pi/2]."),
        function<arctan2>("arctan2", "arctan2(y, x)\n"
                                     "--\n"
                                     "\n"
                                     "The angle of the points (x, y), in [-pi, pi]; float64 only."),
        function<hypot>("hypot", "hypot(a, b)\n"
                                 "--\n"
                                 "\n"
                                 "sqrt(a*a + b*b) without overflow between; float64 only."),
        function<equal>("equal", "equal(a, b)\n"
                                 "--\n"
                                 "\n"
                                 "The mask of a == b, with broadcasting; a bool for two numbers."),
        function<not_equal>("not_equal",
                            "not_equal(a, b)\n"
                            "--\n"
                            "\n"
                            "The mask of a != b, with broadcasting; a bool for two numbers."),
        function<less>("less", "less(a, b)\n"
                               "--\n"
                               "\n"
                               "The mask of a < b, with broadcasting; a bool for two numbers.\n"
                               "\n"
                               "TypeError for complex128, which has no order."),
        function<less_equal>("less_equal",
                             "less_equal(a, b)\n"
                             "--\n"
                             "\n"
                             "The mask of a <= b, with broadcasting; a bool for two numbers.\n"
                             "\n"
                             "TypeError for complex128, which has no order."),
        function<greater>("greater",
                          "greater(a, b)\n"
                          "--\n"
                          "\n"
                          "The mask of a > b, with broadcasting; a bool for two numbers.\n"
                          "\n"
                          "TypeError for complex128, which has no order."),
        function<greater_equal>("greater_equal",
                                "greater_equal(a, b)\n"
                                "--\n"
                                "\n"
                                "The mask of a >= b, with broadcasting; a bool for two numbers.\n"
                                "\n"
                                "TypeError for complex128, which has no order."),
        function<maximum>("maximum", "maximum(a, b)\n"
                                     "--\n"
                                     "\n"
                                     "The larger of each pair of elements; NaN if one is.\n"
                                     "\n"
                                     "TypeError for complex128, which has no order."),
        function<minimum>("minimum", "minimum(a, b)\n"
                                     "--\n"
                                     "\n"
                                     "The smaller of each pair of elements; NaN if one is.\n"
                                     "\n"
                                     "TypeError for complex128, which has no order."),
        function<logical_and>(
            "logical_and", "logical_and(a, b)\n"
                           "--\n"
                           "\n"
                           "The mask of the pairs of which both are true: not zero; NaN is true."),
        function<logical_or>("logical_or",
                             "logical_or(a, b)\n"
                             "--\n"
                             "\n"
                             "The mask of the pairs of which one is true: not zero; NaN is true."),
        function<logical_xor>(
            "logical_xor",
            "logical_xor(a, b)\n"
            "--\n"
            "\n"
            "The mask of the pairs of which just one is true: not zero; NaN is true."),
        function<logical_not>("logical_not", "logical_not(a)\n"
                                             "--\n"
                                             "\n"
                                             "The mask of the zeros."),
        function<isnan>(
            "isnan",
            "isnan(a)\n"
            "--\n"
            "\n"
            "The mask of NaNs, of complex numbers with one in either part; a bool for a number."),
        function<isinf>("isinf",
                        "isinf(a)\n"
                        "--\n"
                        "\n"
                        "The mask of infinities of both signs, in either part of complex numbers."),
        function<isfinite>("isfinite", "isfinite(a)\n"
                                       "--\n"
                                       "\n"
                                       "The mask of what is neither infinite nor NaN."),
        function<isclose>("isclose",
                          "isclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)\n"
                          "--\n"
                          "\n"
                          "The mask of abs(a - b) <= atol + rtol*abs(b), with broadcasting."),
        function<floor>("floor",
                        "floor(a)\n"
                        "--\n"
                        "\n"
                        "The largest integers up to the elements of a float64 tensor, as float64."),
        function<ceil>(
            "ceil", "ceil(a)\n"
                    "--\n"
                    "\n"
                    "The smallest integers from the elements of a float64 tensor on, as float64."),
        function<trunc>("trunc", "trunc(a)\n"
                                 "--\n"
                                 "\n"
                                 "The elements of a float64 tensor without their fractions."),
        function<round>("round",
                        "round(a, decimals=0)\n"
                        "--\n"
                        "\n"
                        "Rounded to decimals, halves to the even digit; complex numbers by parts."),
        function<sign>("sign", "sign(a)\n"
                               "--\n"
                               "\n"
                               "1, 0 or -1; a/abs(a) of complex numbers; NaN of NaN."),
        function<clip>("clip",
                       "clip(a, min=None, max=None)\n"
                       "--\n"
                       "\n"
                       "The elements of a float64 tensor brought between bounds, which broadcast;\n"
                       "None for no bound."),
    };
    return table;
}

} // namespace numerical::package
