"""No object of the module has a static with a destructor.

    lasting_statics.py OBJECT...

exit() runs such destructors while other threads may still be in calls, which then work on what is gone.
What lives as long as the process is made by new and never destroyed, or needs no destructor.
"""

import subprocess
import sys


def registers_destructors(path: str) -> bool:
    symbols = subprocess.run(
        ["nm", "--undefined-only", path], check=True, capture_output=True, text=True
    )
    return any(line.split()[-1] == "__cxa_atexit" for line in symbols.stdout.splitlines())


def main() -> int:
    objects = [name for name in sys.argv[1:] if name.endswith(".o")]
    faults = [
        f"{path} has a static with a destructor" for path in objects if registers_destructors(path)
    ]
    print("\n".join(faults) or f"{len(objects)} objects, whose statics last")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
