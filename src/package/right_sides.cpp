#include "package/right_sides.hpp"

#include "numerical/strided/broadcast.hpp"

#include <string>

namespace numerical::package {
namespace {

shape_list broadcast_lead(const shape_list& a, const shape_list& b)
{
    try {
        return broadcast_shape(a, b);
    } catch (const std::exception& failure) {
        binding::fail(PyExc_ValueError, failure.what());
    }
}

} // namespace

right_sides right_sides_of(const shape_list& lead, const shape_list& b, const char* function)
{
    if (b.empty())
        binding::fail(PyExc_ValueError,
                      std::string(function) +
                          " takes right-hand sides of rank 1 and more, not a number");
    if (b.size() == 1)
        return {.own = {}, .lead = lead, .rows = b[0], .cols = 1, .vectors = true};
    shape_list own(b.begin(), b.end() - 2);
    shape_list all = broadcast_lead(lead, own);
    return {.own = std::move(own),
            .lead = std::move(all),
            .rows = b.end()[-2],
            .cols = b.end()[-1],
            .vectors = false};
}

} // namespace numerical::package
