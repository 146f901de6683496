"""The configuration of this process, and the limits set for it from outside.

At import the thread cap is taken from NUMERICAL_NUM_THREADS, otherwise from OMP_NUM_THREADS,
otherwise from the CPU quota of the container (cgroup v2 or v1), which the kernel enforces by
stopping the process: more threads than the quota only wait for one another.
"""

import math
import os
import sys

from . import _numerical

PATHS = ("portable", "avx2", "avx512")
CGROUP_ROOT = "/sys/fs/cgroup"
OWN_CGROUP = "/proc/self/cgroup"


def _first_line(path):
    try:
        # UTF-8's codec is already loaded; another one would be imported from a file.
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.readline().strip()
    except OSError:
        return ""


def _path(value, name):
    """A path as text. open() would take an int for a file descriptor, and close it."""
    path = os.fspath(value) if hasattr(value, "__fspath__") else value
    if not isinstance(path, str):
        raise TypeError(f"{name} must be a path, not {type(value).__name__}")
    return path


def _processors(quota, period):
    """Whole processors that a quota allows; None for no limit."""
    try:
        quota, period = int(quota), int(period)
    except ValueError:
        return None
    return max(1, math.ceil(quota / period)) if quota > 0 and period > 0 else None


def _ancestors(path):
    """The group's folder and those above it, down to the root."""
    parts = [part for part in path.split("/") if part not in ("", "..")]
    return ["/" + "/".join(parts[:count]) for count in range(len(parts), -1, -1)]


def cpu_quota(root=CGROUP_ROOT, own=OWN_CGROUP):
    """The processors that the process's control group may use: the least quota from it up to the root.

    Parameters
    ----------
    root, own : path, optional
        Where control groups are mounted, and the file that names the process's own.

    Returns
    -------
    int or None
        Whole processors; None for no limit.

    Raises
    ------
    TypeError
        If one is no path.

    Examples
    --------
    >>> quota = nm.cpu_quota()
    >>> quota is None or quota >= 1
    True
    """
    root, own = _path(root, "root"), _path(own, "own")
    try:
        with open(own, encoding="utf-8", errors="replace") as file:
            groups = [line.rstrip("\n").split(":", 2) for line in file]
    except OSError:
        return None
    limits = []
    for _, controllers, path in (group for group in groups if len(group) == 3):
        for folder in _ancestors(path):
            if controllers == "":
                quota, _, period = _first_line(f"{root}{folder}/cpu.max").partition(" ")
                limits.append(_processors(quota, period or "100000"))
            elif "cpu" in controllers.split(","):
                for mount in ("cpu", "cpu,cpuacct"):
                    base = f"{root}/{mount}{folder}"
                    limits.append(
                        _processors(
                            _first_line(f"{base}/cpu.cfs_quota_us"),
                            _first_line(f"{base}/cpu.cfs_period_us"),
                        )
                    )
    return min((limit for limit in limits if limit is not None), default=None)


def threads_from_environment(environment=os.environ):
    """The number of threads that a variable holds, and its name; (None, None) if none is a number.

    OMP_NUM_THREADS may hold one number for each nesting level; the first counts.
    """
    for name in ("NUMERICAL_NUM_THREADS", "OMP_NUM_THREADS"):
        digits = environment.get(name, "").split(",")[0].strip().lstrip("0")
        if digits.isdecimal():
            return int(digits[:18]), name  # however many more, they mean no cap
    return None, None


def apply_outer_limits():
    """Sets the thread cap as the module's docstring says; returns its source."""
    threads, source = threads_from_environment()
    if threads is None:
        threads, source = cpu_quota(), "cpu quota"
    if threads is None:
        return None
    _numerical._set_num_threads(threads)
    return source


def show_config():
    """What this process runs on: versions, path, threads, affinity and quota.

    Returns
    -------
    dict
        By name, as python -m numerical prints it.

    Examples
    --------
    >>> nm.show_config()["path"] in ("portable", "avx2", "avx512")
    True
    """
    import platform

    from . import __version__

    return {
        "numerical": __version__,
        "python": platform.python_version(),
        "module": _numerical.__file__,
        "path": PATHS[_numerical._gemm_path()],
        "threads": _numerical.get_num_threads(),
        "cap from": _cap_source,
        "affinity": sorted(os.sched_getaffinity(0)),
        "processors": os.cpu_count(),
        "cpu quota": cpu_quota(),
    }


def register_with_threadpoolctl():
    """Lets threadpoolctl limit our threads, if that package is loaded and can be extended."""
    package = sys.modules.get("threadpoolctl")
    if package is None or not hasattr(package, "register"):
        return False

    class NumericalController(package.LibController):
        user_api = "numerical"
        internal_api = "numerical"
        filename_prefixes = ("_numerical",)

        def get_num_threads(self):
            return _numerical.get_num_threads()

        def set_num_threads(self, num_threads):
            _numerical._set_num_threads(num_threads)

        def get_version(self):
            from . import __version__

            return __version__

    package.register(NumericalController)
    return True


_cap_source = apply_outer_limits()
register_with_threadpoolctl()
