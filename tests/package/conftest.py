"""The package's tests import the built package: $NUMERICAL_BUILD, or the release build."""

import os
import pathlib
import sys

from hypothesis import HealthCheck, settings

ROOT = pathlib.Path(__file__).parents[2]
BUILD = pathlib.Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release"))
sys.path.insert(0, str(BUILD.resolve() / "python"))

# No deadlines: a machine that does other work as well must not fail a test.
settings.register_profile(
    "numerical", deadline=None, suppress_health_check=[HealthCheck.too_slow]
)
settings.load_profile("numerical")
