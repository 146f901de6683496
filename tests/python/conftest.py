"""Tests of the extension module by itself, without the Python package around it.

They run on the module of build/release, or of the build directory in $NUMERICAL_BUILD:

    ninja -C build/release _numerical
    /usr/bin/python3 -m pytest tests/python
    NUMERICAL_BUILD=build/release/emulated /usr/bin/python3 -m pytest tests/python
"""

import os
import sys
from pathlib import Path

from hypothesis import HealthCheck, settings

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release"))
MODULE_FOLDER = BUILD.resolve() / "python" / "numerical"

sys.path.insert(0, str(MODULE_FOLDER))

# No deadlines: a machine that does other work as well must not fail a test.
settings.register_profile("numerical", deadline=None, suppress_health_check=[HealthCheck.too_slow])
# Under a sanitizer each call takes ten times as long.
settings.register_profile("sanitized", settings.get_profile("numerical"), max_examples=10)
settings.load_profile(os.environ.get("HYPOTHESIS_PROFILE", "numerical"))
