"""Limits on threads and kernels, for the process or for a block."""

from . import _numerical

get_num_threads = _numerical.get_num_threads

_PATH_CODES = {"portable": 0, "avx2": 1, "avx512": 2}


def set_num_threads(n):
    """Caps the threads that a kernel uses, for the whole process; 0 removes the cap."""
    _numerical._set_num_threads(n)


class num_threads:
    """Caps the threads that a kernel uses inside a with block (of all threads of the process)."""

    def __init__(self, n):
        self._n = n

    def __enter__(self):
        self._former = _numerical.get_num_threads()
        _numerical._set_num_threads(self._n)
        return self

    def __exit__(self, *failure):
        _numerical._set_num_threads(self._former)


class limit_gemm_path:
    """Limits kernels to a path: "portable", "avx2", "avx512" or its code 0, 1, 2 (3: no limit).

    As a call the limit stays; in a with block the former path comes back at its end. `path` is the
    code of the path now in use, the best one that limit and processor allow.
    """

    def __init__(self, path):
        code = _PATH_CODES.get(path) if isinstance(path, str) else path
        if code is None:
            raise ValueError(f"a path is 'portable', 'avx2', 'avx512' or a code, not {path!r}")
        self._former = _numerical._gemm_path()
        self.path = _numerical._limit_gemm_path(code)

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        _numerical._limit_gemm_path(self._former)

    def __repr__(self):
        return f"<kernels of path {self.path}>"
