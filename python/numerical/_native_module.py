"""The package's own native functions: a second module in the shared object of _numerical.

It is loaded before _numerical and makes the type Tensor with its operators. CPython finds a module's
initialization function by the last part of its name, so that one file can hold two modules.
"""

import importlib.machinery as machinery
import sys


def _load():
    package = sys.modules[__package__]
    found = machinery.PathFinder.find_spec(f"{__package__}._numerical", package.__path__)
    loader = machinery.ExtensionFileLoader(f"{__package__}._native", found.origin)
    spec = machinery.ModuleSpec(loader.name, loader, origin=found.origin)
    module = loader.create_module(spec)
    loader.exec_module(module)
    sys.modules[loader.name] = module
    return module


native = sys.modules.get(f"{__package__}._native") or _load()
