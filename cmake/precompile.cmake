# The standard headers take most of the time in which a small source is compiled: a target may have
# them parsed once, with the headers named behind it. The core and the module do so where
# NUMERICAL_PRECOMPILED_HEADERS is set, as in the sanitizers' builds. The release build doesn't set
# it: there a source that forgets an include fails.
function(numerical_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <cmath> <complex> <cstddef> <cstdint> <limits> <memory>
    <numeric> <optional> <span> <stdexcept> <string> <type_traits> <utility> <vector> ${ARGN})
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>) # for ccache
endfunction()
