#include "package/docs_booleans.hpp"
#include "package/docs_ordering.hpp"
#include "package/docs_reductions.hpp"
#include "package/elementwise.hpp"
#include "package/ordering.hpp"
#include "package/reductions.hpp"
#include "package/table_entry.hpp"

namespace numerical::package {

std::span<PyMethodDef> reductions_table()
{
    static PyMethodDef table[] = {
        function<sum>("sum", sum_doc),
        function<mean>("mean", mean_doc),
        function<max>("max", max_doc),
        function<min>("min", min_doc),
        function<var>("var", var_doc),
        function<std>("std", std_doc),
        function<allclose>("allclose", allclose_doc),
        function<array_equal>("array_equal", array_equal_doc),
        function<sort>("sort", sort_doc),
        function<argsort>("argsort", argsort_doc),
        function<argmax>("argmax", argmax_doc),
        function<argmin>("argmin", argmin_doc),
        function<searchsorted>("searchsorted", searchsorted_doc),
        function<nonzero>("nonzero", nonzero_doc),
        function<any>("any", any_doc),
        function<all>("all", all_doc),
        function<count_nonzero>("count_nonzero", count_nonzero_doc),
        function<prod>("prod", prod_doc),
        function<cumsum>("cumsum", cumsum_doc),
        function<cumprod>("cumprod", cumprod_doc),
    };
    return table;
}

} // namespace numerical::package
