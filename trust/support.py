"""What the classes share: the build they try, a ledger of what was tried, worker processes, counts."""

import collections.abc
import dataclasses
import hashlib
import json
import mmap
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
HERE = ROOT / "trust"
BUILD = pathlib.Path(os.environ.get("NUMERICAL_BUILD", ROOT / "build" / "release")).resolve()
WORK = ROOT / "build" / "trust"


def package(build=BUILD):
    """The package of a build, imported from it and nowhere else."""
    sys.path.insert(0, str(build / "python"))
    import numerical

    assert pathlib.Path(numerical.__path__[0]).parent == build / "python", numerical.__path__
    return numerical


def module_file(build=BUILD):
    return build / "python" / "numerical" / "_numerical.abi3.so"


@dataclasses.dataclass
class Outcome:
    """What one class comes to: how often it was tried, and what went wrong."""

    tried: int = 0
    faults: list[str] = dataclasses.field(default_factory=list)
    note: str = ""
    details: str = ""  # a table for the page
    commit: str = ""  # on which the first cell was tried

    def add(self, tried, faults=()):
        self.tried += tried
        self.faults += faults


class Budget:
    """Seconds that a class may take; short runs take samples, long ones everything."""

    def __init__(self, seconds, long=False):
        self.long = long
        self.end = time.monotonic() + seconds

    def is_spent(self):
        return time.monotonic() > self.end

    def left(self):
        return max(0.0, self.end - time.monotonic())


def commit():
    """The commit that is tried, and whether sources differ from it."""

    def said(*command):
        return subprocess.run(
            ["git", *command], cwd=ROOT, capture_output=True, text=True
        ).stdout.strip()

    return said("rev-parse", "--short=10", "HEAD") + (
        " with changes" if said("status", "--porcelain", "src") else ""
    )


class Ledger:
    """The cells of a class that are done, a line each, so that a run that was ended goes on.

    It belongs to one build of the module: another one starts anew.
    """

    def __init__(self, name, long):
        WORK.mkdir(parents=True, exist_ok=True)
        self.path = WORK / f"{name}-{'long' if long else 'short'}.jsonl"
        build = hashlib.sha256(module_file().read_bytes()).hexdigest()
        lines = self.path.read_text().splitlines() if self.path.exists() else []
        if not lines or json.loads(lines[0])["build"] != build:
            lines = [json.dumps({"build": build, "commit": commit()})]
            self.path.write_text(lines[0] + "\n")
        self.commit = json.loads(lines[0]).get("commit", "")
        self.cells = {}
        for line in lines[1:]:
            cell = json.loads(line)
            self.cells[cell["cell"]] = cell

    def has(self, cell):
        return cell in self.cells

    def record(self, cell, tried, faults):
        self.cells[cell] = {"cell": cell, "tried": tried, "faults": list(faults)}
        with self.path.open("a") as out:
            out.write(json.dumps(self.cells[cell]) + "\n")

    def outcome(self, of):
        """The sum over the cells, and how many of those that there are have been tried."""
        total = Outcome(note=f"{len(self.cells)} of {of} cells", commit=self.commit)
        for cell in self.cells.values():
            total.add(cell["tried"], cell["faults"])
        return total


class Place:
    """Where a worker is, in memory that outlives it: what a crash or a hang happened in."""

    SIZE = 512

    def __init__(self, path=None):
        self.file = open(path, "r+b") if path else tempfile.NamedTemporaryFile()
        if path is None:
            self.file.truncate(self.SIZE)
        self.memory = mmap.mmap(self.file.fileno(), self.SIZE)

    def write(self, text):
        self.memory[:] = text.encode()[: self.SIZE].ljust(self.SIZE, b"\0")

    def read(self):
        return self.memory[:].rstrip(b"\0").decode(errors="replace")


def how_it_ended(status):
    return signal.Signals(-status).name if status < 0 else f"exit status {status}"


def work_through(script, cells, ledger, budget, environment=None, limit=120.0, python=None):
    """Hands cells to `script --worker PLACE`, which reads a name and answers a line of JSON for each.

    A worker that dies or is silent for `limit` seconds is a fault of its cell; the next cell gets a
    new one.
    """
    waiting = [cell for cell in cells if not ledger.has(cell)]
    while waiting and not budget.is_spent():
        place = Place()
        with tempfile.TemporaryFile() as errors:
            worker = subprocess.Popen(
                [python or sys.executable, script, "--worker", place.file.name], text=True, stderr=errors,
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, env={**os.environ, **(environment or {})},
            )  # fmt: skip
            while waiting and not budget.is_spent():
                alarm = _Alarm(worker, limit)
                try:
                    worker.stdin.write(waiting[0] + "\n")
                    worker.stdin.flush()
                    answer = worker.stdout.readline()
                except BrokenPipeError:
                    answer = ""
                alarm.stop()
                cell = waiting.pop(0)
                if answer:
                    found = json.loads(answer)
                    ledger.record(cell, found["tried"], found["faults"])
                    continue
                status = worker.wait()
                errors.seek(0)
                said = errors.read().decode(errors="replace").strip().splitlines()[-1:]
                how = f"hung for {limit:.0f} s" if alarm.rang else how_it_ended(status)
                ledger.record(cell, 1, [f"{cell}: {how} at {place.read()} {said}"])
                break
            if worker.poll() is None:
                worker.stdin.close()
                worker.wait()


class _Alarm:
    """Ends a worker after some seconds, unless stopped before."""

    def __init__(self, worker, seconds):
        import threading

        self.rang = False
        self.worker = worker
        self.timer = threading.Timer(seconds, self._ring)
        self.timer.start()

    def _ring(self):
        self.rang = True
        self.worker.kill()

    def stop(self):
        self.timer.cancel()


def answer_cells(answer: collections.abc.Callable):
    """A worker's loop: answer(cell, place) gives the number tried and the faults of one cell."""
    place = Place(sys.argv[sys.argv.index("--worker") + 1])
    for line in sys.stdin:
        tried, faults = answer(line.rstrip("\n"), place)
        print(json.dumps({"tried": tried, "faults": faults}), flush=True)


def compiled(source, target, *options, compiler="gcc"):
    """A shared object or program of one source under build/trust, made anew when it is older."""
    WORK.mkdir(parents=True, exist_ok=True)
    target = WORK / target
    if not target.exists() or target.stat().st_mtime < (HERE / source).stat().st_mtime:
        subprocess.run(
            [compiler, *options, "-Wall", "-Wextra", "-Werror", "-o", target, HERE / source],
            check=True,
        )
    return target
