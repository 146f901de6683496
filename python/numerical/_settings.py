"""The two settings of the process: how many threads a kernel may use, and which kernels run."""

from ._numerical import _limit_gemm_path, _set_num_threads

PATHS = {"portable": 0, "avx2": 1, "avx512": 2}


def set_num_threads(n: int) -> None:
    """Let a kernel use n threads at most; 0 takes the limit away.

    Results have the same bits for every number of threads.
    """
    _set_num_threads(n)


def limit_gemm_path(path: int | str) -> int:
    """Use no instruction set beyond "portable", "avx2" or "avx512", or a path code from 0 to 3.

    The code now in use is returned, which is lower than the limit where the processor has no more.
    """
    return _limit_gemm_path(PATHS.get(path, path) if isinstance(path, str) else path)
