"""The package's tests import the built package: $NUMERICAL_BUILD, or the release build."""

import os
import pathlib
import sys

from hypothesis import HealthCheck, settings

ROOT = pathlib.Path(__file__).parents[2]
BUILD = pathlib.Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release"))
sys.path.insert(0, str(BUILD.resolve() / "python"))

# No deadlines: a machine that does other work as well must not fail a test.
settings.register_profile("numerical", deadline=None, suppress_health_check=[HealthCheck.too_slow])
# Under a sanitizer each call takes ten times as long.
settings.register_profile("sanitized", settings.get_profile("numerical"), max_examples=10)
settings.load_profile(os.environ.get("HYPOTHESIS_PROFILE", "numerical"))
