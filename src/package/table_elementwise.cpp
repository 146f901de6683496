#include "package/docs_arithmetic.hpp"
#include "package/docs_booleans.hpp"
#include "package/docs_elementary.hpp"
#include "package/elementary.hpp"
#include "package/elementwise.hpp"
#include "package/numbers.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> elementwise_table()
{
    static PyMethodDef table[] = {
        function<add>("add", add_doc),
        function<subtract>("subtract", subtract_doc),
        function<multiply>("multiply", multiply_doc),
        function<divide>("divide", divide_doc),
        function<power>("power", power_doc),
        function<negative>("negative", negative_doc),
        function<square>("square", square_doc),
        function<conj>("conj", conj_doc),
        function<real>("real", real_doc),
        function<imag>("imag", imag_doc),
        function<exp>("exp", exp_doc),
        function<log>("log", log_doc),
        function<sqrt>("sqrt", sqrt_doc),
        function<sin>("sin", sin_doc),
        function<cos>("cos", cos_doc),
        function<tan>("tan", tan_doc),
        function<tanh>("tanh", tanh_doc),
        function<abs>("abs", abs_doc),
        function<exp2>("exp2", exp2_doc),
        function<expm1>("expm1", expm1_doc),
        function<log2>("log2", log2_doc),
        function<log10>("log10", log10_doc),
        function<log1p>("log1p", log1p_doc),
        function<sinh>("sinh", sinh_doc),
        function<cosh>("cosh", cosh_doc),
        function<arcsin>("arcsin", arcsin_doc),
        function<arccos>("arccos", arccos_doc),
        function<arctan>("arctan", arctan_doc),
        function<arcsinh>("arcsinh", arcsinh_doc),
        function<arccosh>("arccosh", arccosh_doc),
        function<arctanh>("arctanh", arctanh_doc),
        function<arctan2>("arctan2", arctan2_doc),
        function<hypot>("hypot", hypot_doc),
        function<equal>("equal", equal_doc),
        function<not_equal>("not_equal", not_equal_doc),
        function<less>("less", less_doc),
        function<less_equal>("less_equal", less_equal_doc),
        function<greater>("greater", greater_doc),
        function<greater_equal>("greater_equal", greater_equal_doc),
        function<maximum>("maximum", maximum_doc),
        function<minimum>("minimum", minimum_doc),
        function<logical_and>("logical_and", logical_and_doc),
        function<logical_or>("logical_or", logical_or_doc),
        function<logical_xor>("logical_xor", logical_xor_doc),
        function<logical_not>("logical_not", logical_not_doc),
        function<isnan>("isnan", isnan_doc),
        function<isinf>("isinf", isinf_doc),
        function<isfinite>("isfinite", isfinite_doc),
        function<isclose>("isclose", isclose_doc),
        function<floor>("floor", floor_doc),
        function<ceil>("ceil", ceil_doc),
        function<trunc>("trunc", trunc_doc),
        function<round>("round", round_doc),
        function<sign>("sign", sign_doc),
        function<signbit>("signbit", signbit_doc),
        function<floor_divide>("floor_divide", floor_divide_doc),
        function<remainder>("remainder", remainder_doc),
        function<copysign>("copysign", copysign_doc),
        function<nextafter>("nextafter", nextafter_doc),
        function<clip>("clip", clip_doc),
    };
    return table;
}

} // namespace numerical::package
