"""Limits on threads and kernels, for the process or for a block."""

import _thread  # threading and weakref themselves take long to import
import _weakref
import os
import sys

from . import _numerical
from ._arguments import count, integer, shown

get_num_threads = _numerical.get_num_threads

_PATH_CODES = {"portable": 0, "avx2": 1, "avx512": 2}


_new_lock = getattr(_thread, "RLock")  # by getattr, as the stubs of _thread lack it


class _Limits:
    """The limits of one kind that are in effect, in the order in which they were set.

    The last one applies. Blocks of several threads overlap in any order, so a block that ends removes
    its own limit and no other; when the last limit is removed, the value before the first is restored.
    """

    def __init__(self, read, apply):
        self._read, self._apply = read, apply
        self._set = []  # (weak reference to the owner, value) of each
        self._base = None
        self._lock = _new_lock()  # reentrant: a signal handler may set a limit while it is held
        os.register_at_fork(after_in_child=self._unlock)

    def _unlock(self):
        self._lock = _new_lock()  # a thread of the parent may have held the old one

    def add(self, owner, value):
        """Sets a limit until `remove`; it is permanent if the owner is deleted before."""
        with self._lock:
            self._settle()
            if not self._set:
                self._base = self._read()
            applied = self._apply(value)  # first, as it raises for an invalid limit
            self._set.append((_weakref.ref(owner), value))
            return applied

    def remove(self, owner):
        """Removes the owner's last limit, unless a permanent one has replaced it."""
        with self._lock:
            owned = [i for i, (whose, _) in enumerate(self._set) if whose() is owner]
            if owned:
                del self._set[owned[-1]]
                self._apply(self._set[-1][1] if self._set else self._base)

    def _settle(self):
        """Drops the limits before the last permanent one, whose owner is deleted."""
        lasting = [i for i, (whose, _) in enumerate(self._set) if whose() is None]
        if lasting:
            self._base = self._set[lasting[-1]][1]
            del self._set[: lasting[-1] + 1]

    def replace(self, value):
        """Sets a permanent limit."""
        with self._lock:
            self._apply(value)
            self._set.clear()


_threads = _Limits(_numerical.get_num_threads, _numerical._set_num_threads)
_paths = _Limits(_numerical._gemm_path, _numerical._limit_gemm_path)


def set_num_threads(n):
    """Caps the threads that a kernel uses, for the whole process.

    The cap stays, also after a block of num_threads in which it was set.

    Parameters
    ----------
    n : int
        The most threads; 0 removes the cap.

    Raises
    ------
    ValueError
        If n is negative.

    Examples
    --------
    >>> nm.set_num_threads(1)
    >>> nm.get_num_threads()
    1
    >>> nm.set_num_threads(0)
    """
    _threads.replace(_thread_count(n))


def _thread_count(n):
    return min(count(n, "n"), sys.maxsize)  # more are no cap either


class num_threads:
    """Caps the threads that a kernel uses inside a with block, for all threads of the process.

    Of blocks that overlap the one entered last counts.

    Parameters
    ----------
    n : int
        The most threads; 0 for no cap.

    Raises
    ------
    ValueError
        If n is negative.

    Examples
    --------
    >>> with nm.num_threads(1):
    ...     nm.get_num_threads()
    1
    """

    def __init__(self, n):
        self._n = _thread_count(n)

    def __enter__(self):
        _threads.add(self, self._n)
        return self

    def __exit__(self, *failure):
        _threads.remove(self)


class limit_gemm_path:
    """Limits kernels to a path, for the process or inside a with block.

    As a call the limit stays; in a with block it ends with the block. Of blocks that overlap the one
    entered last counts.

    Parameters
    ----------
    path : {'portable', 'avx2', 'avx512'} or int
        The path or its code 0, 1 or 2; 3 means no limit.

    Attributes
    ----------
    path : int
        The code of the path in use when the limit was set: the best one that limit and processor allow.

    Raises
    ------
    ValueError
        For another text.

    Examples
    --------
    >>> with nm.limit_gemm_path("portable") as limit:
    ...     limit.path
    0
    """

    def __init__(self, path):
        self._code = _path_code(path)
        self._call = _Call()
        self.path = _paths.add(self._call, self._code)

    def __enter__(self):
        self.path = _paths.add(self, self._code)
        _paths.remove(self._call)  # it was the head of a block, not a call
        return self

    def __exit__(self, *failure):
        _paths.remove(self)

    def __repr__(self):
        return f"<kernels of path {self.path}>"


class _Call:
    """Owns the limit of a limit_gemm_path that isn't used as a block."""


def _path_code(path):
    code = _PATH_CODES.get(path) if isinstance(path, str) else path
    if not hasattr(code, "__index__"):
        raise ValueError(f"a path is 'portable', 'avx2', 'avx512' or a code, not {shown(path)}")
    return max(0, min(integer(code, "path"), 3))
