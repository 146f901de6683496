"""The wheel: setuptools collects the package, CMake builds the module."""

import os
import pathlib
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

try:
    from setuptools.command.bdist_wheel import bdist_wheel
except ImportError:  # before setuptools 70.1
    from wheel.bdist_wheel import bdist_wheel

ROOT = pathlib.Path(__file__).parent.resolve()
sys.path.insert(0, str(ROOT / "tools"))
from glibc_floor import platform_tag  # noqa: E402
from wheel_description import wheel_description  # noqa: E402


class cmake_build(build_ext):
    """Has CMake build the one extension and puts it where setuptools expects it."""

    def build_extension(self, extension):
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve()
        build = pathlib.Path(self.build_temp).resolve()
        generator = ["-G", "Ninja"] if self._has_ninja() else []
        subprocess.check_call(
            ["cmake", "-S", ROOT, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=Release",
             f"-DPython3_EXECUTABLE={sys.executable}", "-DNUMERICAL_TESTS=OFF",
             "-DNUMERICAL_BENCHMARKS=OFF"]
        )  # fmt: skip
        jobs = str(len(os.sched_getaffinity(0)))
        subprocess.check_call(["cmake", "--build", build, "--parallel", jobs])
        target.parent.mkdir(parents=True, exist_ok=True)
        self.copy_file(build / "python" / "numerical" / "_numerical.abi3.so", target)
        subprocess.check_call(["strip", "--strip-unneeded", target])

    @staticmethod
    def _has_ninja():
        try:
            return subprocess.call(["ninja", "--version"], stdout=subprocess.DEVNULL) == 0
        except FileNotFoundError:
            return False


class tagged_wheel(bdist_wheel):
    """Names the systems on which the module loads, as its symbols tell."""

    def get_tag(self):
        python, abi, platform = super().get_tag()
        modules = list(pathlib.Path(self.bdist_dir).rglob("_numerical.abi3.so"))
        return python, abi, platform_tag(modules[0]) if modules else platform


setup(
    long_description=wheel_description((ROOT / "README.md").read_text(encoding="utf-8")),
    long_description_content_type="text/markdown",
    ext_modules=[Extension("numerical._numerical", sources=[], py_limited_api=True)],
    cmdclass={"build_ext": cmake_build, "bdist_wheel": tagged_wheel},
    options={"bdist_wheel": {"py_limited_api": "cp310"}},
)
