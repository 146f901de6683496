#include "numerical/runtime/floating_control.hpp"

#include <xmmintrin.h>

namespace numerical::detail {
namespace {

constexpr unsigned flags = _MM_EXCEPT_MASK;

} // namespace

floating_control floating_control::current()
{
    floating_control control{_mm_getcsr() & ~flags, 0};
    __asm__ volatile("fnstcw %0" : "=m"(control.x87));
    return control;
}

// The flags are cleared: one left from an earlier job would trap where this caller unmasks it.
void floating_control::adopt() const
{
    if (*this == current())
        return;
    _mm_setcsr(mxcsr);
    __asm__ volatile("fnclex\n\tfldcw %0" : : "m"(x87));
}

} // namespace numerical::detail
