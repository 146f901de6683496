"""Every source has a test file of its name, or one that HELD_BY names.

tests/unit mirrors src/numerical: the test of factor/lu.cpp is tests/unit/factor/lu_test.cpp. The
kernels of a path (avx2_, avx512_, portable_) are held by the test of the function that chooses among
them, which runs on every path. An entry of HELD_BY that is no longer needed is a fault too.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src"
KERNEL = re.compile(r"(avx2|avx512|portable)_")

# Test file, without folder tests/ and suffix, to the sources that it holds.
HELD_BY = {
    "unit/eigen/eigen_test": "numerical/eigen/two_sided_jacobi",
    "unit/eigen/hermitian_band_test": "numerical/eigen/hermitian_band_chase"
    " numerical/eigen/hermitian_band_reduction",
    "unit/eigen/pencil_test": "numerical/eigen/standard_form",
    "unit/eigen/row_operations_test": "numerical/eigen/row_operation_plan",
    "unit/eigen/selected_test": "numerical/eigen/inverse_iteration numerical/eigen/merge_choice",
    "unit/eigen/tridiagonal_divide_test": "numerical/eigen/deflation numerical/eigen/merge_columns"
    " numerical/eigen/merge_workspace numerical/eigen/rank_one_merge",
    "unit/eigen/tridiagonal_test": "numerical/eigen/hermitian_product"
    " numerical/eigen/tridiagonal_basis",
    "unit/einsum/general_loop_test": "numerical/einsum/outer_product",
    "unit/factor/cholesky_test": "numerical/factor/cholesky_blocks",
    "unit/factor/lu_test": "numerical/factor/lu_factorization numerical/factor/lu_panel",
    "unit/factor/qr_panel_test": "numerical/factor/real_qr_panel"
    " numerical/gemm/kernels/reflect_panel",
    "unit/factor/reflector_block_test": "numerical/factor/reflector_apply"
    " numerical/factor/reflector_products",
    "unit/factor/tall_qr_test": "numerical/factor/fastest_qr",
    "unit/factor/tall_step_test": "numerical/factor/tall_panel",
    "unit/gemm/gemm_rows_test": "numerical/gemm/unfused",
    "unit/gemm/gemm_test": "numerical/gemm/split",
    "unit/matrix_functions/functions_test": "numerical/matrix_functions/exponential"
    " numerical/matrix_functions/hermitian numerical/matrix_functions/logarithm"
    " numerical/matrix_functions/matrix_equations numerical/matrix_functions/norm_estimate"
    " numerical/matrix_functions/pade_approximant numerical/matrix_functions/scalar_logarithm"
    " numerical/matrix_functions/square_root numerical/matrix_functions/taylor_polynomial"
    " numerical/matrix_functions/triangular_exponential",
    "unit/matrix_functions/triangular_sylvester_test": "numerical/nonsymmetric/small_system",
    "unit/nonsymmetric/eigenpairs_test": "numerical/nonsymmetric/nonsymmetric"
    " numerical/nonsymmetric/triangular_vectors numerical/nonsymmetric/unit_columns",
    "unit/nonsymmetric/hessenberg_test": "numerical/nonsymmetric/hessenberg_panel"
    " numerical/nonsymmetric/hessenberg_steps numerical/nonsymmetric/hessenberg_update"
    " numerical/nonsymmetric/rows_above",
    "unit/nonsymmetric/kernels_test": "numerical/nonsymmetric/bulge"
    " numerical/nonsymmetric/reflector_lanes",
    "unit/nonsymmetric/order_test": "numerical/nonsymmetric/block_exchange",
    "unit/nonsymmetric/schur_test": "numerical/nonsymmetric/bulge_chain"
    " numerical/nonsymmetric/chain_update numerical/nonsymmetric/early_deflation"
    " numerical/nonsymmetric/far_update"
    " numerical/nonsymmetric/multishift_qr numerical/nonsymmetric/reduction_to_schur"
    " numerical/nonsymmetric/small_qr numerical/nonsymmetric/standard_block"
    " numerical/nonsymmetric/window_chase",
    "unit/many_threads/hardware_test": "numerical/runtime/hardware_threads",
    "unit/runtime/parallel_for_test": "numerical/runtime/pool_job numerical/runtime/thread_pool",
    "unit/stacks/decompositions_test": "numerical/stacks/factorizations"
    " numerical/stacks/lane_groups numerical/stacks/least_squares numerical/stacks/matrix_stack"
    " numerical/stacks/spectra",
    "unit/svd/band_bidiagonal_test": "numerical/svd/band_chase numerical/svd/band_reduction",
    "unit/svd/bidiagonal_divide_test": "numerical/svd/arrow_merge numerical/svd/bidiagonal_leaf",
    "unit/svd/bidiagonal_qr_test": "numerical/svd/bidiagonal_iteration",
    "unit/svd/bidiagonal_test": "numerical/svd/bidiagonal_basis numerical/svd/bidiagonal_panel"
    " numerical/svd/bidiagonal_unblocked",
    "unit/svd/leading_triplets_test": "numerical/svd/randomized",
    "unit/svd/least_squares_fit_test": "numerical/svd/tall_factors",
    "unit/svd/least_squares_test": "numerical/svd/truncated_inverse",
    "unit/svd/svd_test": "numerical/svd/scaled_copy",
    "unit/systems/band_test": "numerical/systems/bandwidths",
    "unit/systems/indefinite_test": "numerical/systems/kept_indefinite numerical/systems/rook_panel",
    "unit/systems/kept_qr_test": "numerical/systems/pivoted_qr",
    "unit/systems/triangle_test": "numerical/systems/triangle_solve"
    " numerical/systems/vector_substitution",
    "unit/vector_math/accuracy_test": "numerical/vector_math/exponential"
    " numerical/vector_math/functions numerical/vector_math/hyperbolic"
    " numerical/vector_math/inverse_hyperbolic numerical/vector_math/inverse_trigonometric"
    " numerical/vector_math/logarithm"
    " numerical/vector_math/payne_hanek numerical/vector_math/power"
    " numerical/vector_math/trigonometric numerical/vector_math/two_operands",
    "unit/vector_math/bits_test": "numerical/vector_math/kernels",
    "unit/vector_math/complex_test": "numerical/vector_math/complex_functions"
    " numerical/vector_math/complex_rare",
    "package/test_arguments": "package/parameters package/operand",
    "package/test_array_object": "binding/attributes package/index_keys"
    " package/int_arrays package/numbers package/operators package/subscript",
    "package/test_assumptions": "package/band_systems",
    "package/test_factors": "package/indefinite_factors package/kept_stacks package/lu_factors"
    " package/triangle_factors",
    "package/test_functions": "package/elementary package/elementwise package/reductions"
    " package/shaping",
    "package/test_hermitian": "package/hermitian_pairs",
    "package/test_linalg": "package/decompositions package/least_squares package/matrices"
    " package/products package/right_sides package/systems",
    "package/test_masks": "module/kept_booleans",
    "package/test_names": "package/module package/table package/table_elementwise"
    " package/table_factors package/table_linear_algebra package/table_matrix_functions"
    " package/table_reductions package/table_shaping",
    "package/test_positions": "package/ordering",
    "package/test_shortcuts": "package/common_matrices package/common_products"
    " package/common_shapes",
    "package/test_standard": "numerical/elementwise/floor_division",
    "packaging/test_wheel": "module/older_glibc",
    "python/test_array_import": "module/element_reader module/elements module/typestr",
    "python/test_binding": "binding/caster binding/errors",
    "python/test_binding_framework": "binding/class binding/fastcall binding/keywords",
    "python/test_eigh": "module/eigen",
    "python/test_surface_references": "module/table",
    "python/test_tensor": "module/module module/tensor_object",
    "python/test_threads": "module/gil_release",
}

TESTS_OF = {"binding": "python", "module": "python", "package": "package"}


def own_tests(source: str) -> list[str]:
    """Where the test of the source would be by its name."""
    folder, name = source.rsplit("/", 1)
    if "gemm/kernels" in folder:
        return [f"unit/kernels/{name}_test"]
    if folder in TESTS_OF:
        return [f"{TESTS_OF[folder]}/test_{name}"]
    return [f"unit/{folder.rsplit('/', 1)[-1]}/{name}_test"]


def exists(test: str) -> bool:
    return any((ROOT / "tests" / f"{test}{suffix}").exists() for suffix in (".cpp", ".py"))


def main() -> int:
    sources = {
        path.relative_to(SOURCES).with_suffix("").as_posix()
        for path in SOURCES.rglob("*.cpp")
        if not KERNEL.match(path.name)
    }
    listed = [source for held in HELD_BY.values() for source in held.split()]
    by_name = {source for source in sources if any(map(exists, own_tests(source)))}
    faults = [f"tests/{test}: there is no such file" for test in HELD_BY if not exists(test)]
    faults += [f"src/{source}.cpp has no test" for source in sources - by_name - {*listed}]
    faults += [f"{source}: no source, or twice in HELD_BY, or with a test of its name"
               for source in listed
               if source not in sources - by_name or listed.count(source) > 1]  # fmt: skip
    print("\n".join(sorted(faults)) or f"{len(sources)} sources, each with its test")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
