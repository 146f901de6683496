"""python -m numerical: what this process runs on. --json for programs."""

import json
import sys

from ._config import show_config


def main():
    config = show_config()
    if "--json" in sys.argv[1:]:
        print(json.dumps(config, indent=1))
        return
    for key, value in config.items():
        print(f"{key:<12} {'-' if value is None else value}")


if __name__ == "__main__":
    main()
