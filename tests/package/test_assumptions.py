"""solve with assume_a against NumPy, and the warning of ill-conditioned matrices."""

import warnings

import numpy as np
import pytest

import numerical as nm
from oracle import close, normal

linalg = nm.linalg
DTYPES = ["float64", "complex128"]


def banded(n, lower, upper, dtype="float64", seed=0):
    a = normal((n, n), dtype, seed)
    return np.triu(np.tril(a, upper), -lower) + 3 * np.eye(n)


def structured(name, n, dtype):
    """A matrix of the structure, and the same with NaN where it isn't read."""
    a = normal((n, n), dtype)
    below, above = np.tril(np.full((n, n), np.nan), -1), np.triu(np.full((n, n), np.nan), 1)
    if name in ("general", "gen"):
        return a, a
    if name in ("symmetric", "sym"):
        return a + a.T, a + a.T + above
    if name in ("hermitian", "her"):
        return a + a.conj().T, a + a.conj().T + above
    if name in ("positive definite", "pos"):
        definite = a @ a.conj().T + np.eye(n)
        return definite, definite
    if name == "upper triangular":
        upper = np.triu(a) / n + np.eye(n)
        return upper, upper + below
    if name == "lower triangular":
        lower = np.tril(a) / n + np.eye(n)
        return lower, lower + above
    if name == "diagonal":
        diagonal = np.diag(np.diag(a))
        return diagonal, diagonal + below + above
    if name == "tridiagonal":
        far = np.tril(np.full((n, n), np.nan), -2)
        return banded(n, 1, 1, dtype), banded(n, 1, 1, dtype) + far + far.T
    return banded(n, 3, 2, dtype), banded(n, 3, 2, dtype)


NAMES = [
    "general", "symmetric", "hermitian", "positive definite", "upper triangular", "lower triangular",
    "diagonal", "tridiagonal", "banded", "gen", "sym", "her", "pos",
]  # fmt: skip


@pytest.mark.parametrize("name", NAMES)
@pytest.mark.parametrize("dtype", DTYPES)
def test_a_structure_gives_the_solution_and_reads_no_more(name, dtype):
    for n in (1, 2, 3, 5, 20, 64, 65):
        a, with_nan = structured(name, n, dtype)
        for b in (normal((n,), dtype, 1), normal((n, 3), dtype, 1), normal((n,), seed=2)):
            close(linalg.solve(with_nan, b, assume_a=name), np.linalg.solve(a, b), 1e-9)


@pytest.mark.parametrize("name", NAMES)
def test_structures_of_stacks_and_of_nothing(name):
    a = np.stack([structured(name, 6, "float64")[0] * (i + 1) for i in range(3)])
    b = normal((2, 1, 6, 2))
    close(linalg.solve(a, b, assume_a=name), np.linalg.solve(a, b), 1e-10)
    close(linalg.solve(a, b[0, 0, :, 0], assume_a=name), np.linalg.solve(a, b[0])[..., 0], 1e-10)
    assert linalg.solve(np.zeros((0, 0)), np.zeros(0), assume_a=name).shape == (0,)
    assert linalg.solve(np.zeros((0, 2, 2)), np.zeros(2), assume_a=name).shape == (0, 2)


def test_structures_that_are_singular_are_told():
    for name in NAMES:
        text = "solve: matrix is singular"
        if "triangular" in name:
            text = "solve_triangular: matrix is singular"
        if name.startswith("pos"):
            text = "Cholesky: matrix is not positive-definite"
        with pytest.raises(nm.error) as failure:
            linalg.solve(np.zeros((2, 2)), np.ones(2), assume_a=name)
        assert str(failure.value) == text, name


def test_what_isnt_finite_is_refused():
    a = banded(30, 1, 1)
    a[3, 4] = np.inf
    with pytest.raises(nm.error) as failure:
        linalg.solve(a, np.ones(30), assume_a="banded")
    assert str(failure.value) == "band LU decomposition: the matrix holds an infinite or NaN entry"


def test_a_structure_that_is_none_is_refused():
    with pytest.raises(ValueError) as failure:
        linalg.solve(np.eye(2), np.ones(2), assume_a="sparse")
    assert str(failure.value) == (
        "assume_a is 'general', 'symmetric', 'hermitian', 'positive definite', 'upper triangular',"
        " 'lower triangular', 'diagonal', 'tridiagonal' or 'banded', not 'sparse'"
    )
    with pytest.raises(TypeError, match="^assume_a must be a text, not int$"):
        linalg.solve(np.eye(2), np.ones(2), assume_a=3)


def ill_conditioned(name):
    small = np.diag([1.0, 1e-17])
    if name in ("general", "gen", "upper triangular"):
        return np.array([[1.0, 1.0], [0.0, 1e-17]])
    return small


@pytest.mark.parametrize("name", NAMES)
def test_an_ill_conditioned_matrix_is_warned_of(name):
    a, b = ill_conditioned(name), np.ones(2)
    with pytest.warns(linalg.LinAlgWarning) as told:
        linalg.solve(a, b, assume_a=name)
    (warning,) = told
    assert str(warning.message).startswith("solve: the matrix is ill-conditioned (rcond = ")
    assert str(warning.message).endswith("); the solution may have no correct digit")
    assert warning.filename == __file__
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        linalg.solve(a, b, assume_a=name, check_condition=False)
        linalg.solve(np.eye(2), b, assume_a=name)
    with pytest.warns(linalg.LinAlgWarning):
        linalg.solve(np.stack([np.eye(2), a]), b, assume_a=name)


def test_the_condition_is_looked_at_where_it_is_asked_for():
    a, b = ill_conditioned("general"), np.ones(2)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        plain = linalg.solve(a, b)
        linalg.solve(a, b, check_condition=False)
    with pytest.warns(linalg.LinAlgWarning):
        close(linalg.solve(a, b, check_condition=True), plain)


# Widths around those from which the whole matrix is factored, and whole rows of the band.
@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("path", ["portable", "avx2", "avx512"])
def test_bands_of_every_width(dtype, path):
    n = 24
    with nm.limit_gemm_path(path):
        for lower in (0, 1, 2, 3, 4, 23):
            for upper in (0, 1, 2, 3, 4, 7, 8, 9, 23):
                a = banded(n, lower, upper, dtype)
                np.fill_diagonal(
                    a, np.where(np.arange(n) % 2, 1e-3, 3)
                )  # so that rows change places
                for b in (normal((n,), dtype, 1), normal((n, 3), dtype, 1)):
                    x = np.asarray(linalg.solve(a, b, assume_a="banded", check_condition=False))
                    scale = np.linalg.norm(a) * np.linalg.norm(x) * n * np.finfo(float).eps
                    assert np.linalg.norm(a @ x - b) < 3 * scale, (lower, upper)
