# The standard headers take most of the time in which a small source is compiled: a target has them
# parsed once, with the headers named behind it. That a source includes what it uses all the same is
# what tests/checks/standard_headers.py sees to.
function(numerical_precompile target)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <cmath> <complex> <cstddef> <cstdint> <cstring> <limits> <memory>
    <numeric> <optional> <span> <stdexcept> <string> <string_view> <tuple> <type_traits> <utility>
    <variant> <vector> ${ARGN})
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>) # for ccache
endfunction()
