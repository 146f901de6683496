"""Every source includes the standard headers that it uses, itself or by headers of the tree.

The compiler wouldn't tell: where headers are precompiled, all of them are there anyhow, and without
them one standard header brings others along. Fails on a name of NAMES_OF without one of its
headers.
"""

import functools
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"

# Of the headers in cmake/precompile.cmake and of those that they bring along: what stands after
# `std::` for names that they declare.
NAMES_OF = {
    "algorithm": "adjacent_find all_of any_of none_of binary_search clamp copy copy_backward "
                 "copy_if copy_n count count_if equal equal_range fill fill_n find find_if "
                 "find_if_not for_each generate inplace_merge is_sorted lexicographical_compare "
                 "lower_bound max max_element merge min min_element minmax minmax_element "
                 "mismatch next_permutation nth_element partial_sort partition remove remove_if "
                 "replace replace_if reverse reverse_copy rotate sort stable_partition "
                 "stable_sort swap_ranges transform unique upper_bound",
    "array": "array to_array",
    "atomic": "atomic atomic_ref memory_order_relaxed memory_order_acquire memory_order_release",
    "bit": "bit_cast bit_ceil bit_floor bit_width countl_zero countr_zero popcount",
    "cmath": "abs acos asin atan atan2 cbrt ceil copysign cos cosh erf exp exp2 expm1 fabs fdim "
             "floor fma fmax fmin fmod frexp hypot ilogb isfinite isinf isnan isnormal ldexp "
             "lgamma log log10 log1p log2 logb lround modf nan nearbyint nextafter pow remainder "
             "rint round scalbn signbit sin sinh sqrt tan tanh tgamma trunc",
    "complex": "complex conj imag norm polar proj real",
    "cstddef": "size_t ptrdiff_t byte nullptr_t",
    "cstdint": "int8_t int16_t int32_t int64_t uint8_t uint16_t uint32_t uint64_t intptr_t "
               "uintptr_t",
    "cstdlib": "free malloc",
    "cstring": "memcmp memcpy memmove memset strlen strrchr",
    "exception": "current_exception exception exception_ptr rethrow_exception "
                 "uncaught_exceptions",
    "functional": "function greater hash less multiplies plus ref",
    "initializer_list": "initializer_list",
    "iterator": "back_inserter back_insert_iterator reverse_iterator",
    "limits": "numeric_limits",
    "memory": "unique_ptr shared_ptr make_unique make_shared allocator allocator_traits "
              "uninitialized_copy destroy_at",
    "new": "bad_alloc nothrow nothrow_t",
    "numeric": "accumulate iota inner_product partial_sum reduce gcd lcm midpoint",
    "optional": "optional nullopt",
    "span": "span",
    "stdexcept": "runtime_error logic_error invalid_argument out_of_range length_error "
                 "domain_error overflow_error range_error",
    "string": "string to_string stoi stol getline",
    "string_view": "string_view",
    "tuple": "apply tie tuple",
    "type_traits": "conditional_t decay_t enable_if_t false_type true_type integral_constant "
                   "invoke_result_t is_arithmetic_v is_const_v is_convertible_v "
                   "is_floating_point_v is_integral_v is_invocable_v is_same is_same_v "
                   "is_trivially_copyable_v is_void_v remove_const_t remove_cvref_t "
                   "remove_pointer_t remove_reference_t add_const_t type_identity_t "
                   "underlying_type_t",
    "utility": "as_const exchange forward in_place index_sequence index_sequence_for "
               "make_index_sequence move pair swap",
    "variant": "get_if holds_alternative variant visit",
    "vector": "vector",
}  # fmt: skip
# Names that more than one header declares.
ALSO = {
    "abs": ["complex", "cstdlib"], "exp": ["complex"], "log": ["complex"], "sqrt": ["complex"],
    "pow": ["complex"], "sin": ["complex"], "cos": ["complex"], "tan": ["complex"],
    "sinh": ["complex"], "cosh": ["complex"], "tanh": ["complex"], "log10": ["complex"],
    "move": ["algorithm"], "array": ["span"], "pair": ["map"], "copy": ["iterator"],
    "size_t": ["cstdint", "cstdlib", "cstring", "cstdio", "vector", "string", "array", "complex"],
}  # fmt: skip

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
USE = re.compile(r"\bstd::(\w+)")
HEADERS_OF: dict[str, list[str]] = {}
for header, names in NAMES_OF.items():
    for name in names.split():
        HEADERS_OF[name] = [header, *ALSO.get(name, [])]


@functools.cache
def reached(path: pathlib.Path) -> frozenset[str]:
    """The standard headers that the file and the tree's headers below it include."""
    found = set()
    for quote, name in INCLUDE.findall(path.read_text()):
        if quote == "<":
            found.add(name)
        elif (SOURCES / name).exists():
            found |= reached(SOURCES / name)
    return frozenset(found)


def faults_of(path: pathlib.Path) -> list[str]:
    used = set(USE.findall(COMMENT.sub("", path.read_text()))) & HEADERS_OF.keys()
    return [
        f"std::{name} without <{HEADERS_OF[name][0]}>"
        for name in sorted(used)
        if reached(path).isdisjoint(HEADERS_OF[name])
    ]


def main() -> int:
    files = sorted(SOURCES.rglob("*.[ch]pp"))
    faults = [f"{path.relative_to(ROOT)}: {fault}" for path in files for fault in faults_of(path)]
    print("\n".join(faults) or f"{len(files)} files include what they use")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
