"""Keeps the servers of pytest_server.py, for run_tests.py."""

import collections
import json
import os
import pathlib
import subprocess
import sys
import tempfile

SERVER = pathlib.Path(__file__).with_name("pytest_server.py")


class Servers:
    """For each environment those that are idle; a thread takes one, and starts one if there is none."""

    def __init__(self):
        self.idle = collections.defaultdict(list)

    def run(
        self, environment: dict[str, str], arguments: list[str], folder: pathlib.Path
    ) -> tuple[int, str, float]:
        """Exit status, output and processor time of pytest; a server that ended counts as failed."""
        idle = self.idle[tuple(sorted(environment.items()))]
        server = idle.pop() if idle else self.start(environment, folder)
        with tempfile.NamedTemporaryFile() as output:
            server.stdin.write(json.dumps([output.name, arguments]) + "\n")
            server.stdin.flush()
            answer = server.stdout.readline()
            text = output.read().decode(errors="replace")
        if not answer:
            return server.wait() or 1, text, 0.0
        idle.append(server)
        status, seconds = json.loads(answer)
        return os.waitstatus_to_exitcode(status), text, seconds

    def start(self, environment: dict[str, str], folder: pathlib.Path) -> subprocess.Popen:
        """On one thread of OpenBLAS, NumPy's own: it is forked, and computes the tests' oracles."""
        return subprocess.Popen(
            [sys.executable, str(SERVER)], cwd=folder, text=True,
            env={**os.environ, "OPENBLAS_NUM_THREADS": "1", **environment},
            stdin=subprocess.PIPE, stdout=subprocess.PIPE,
        )  # fmt: skip

    def stop(self) -> None:
        for idle in self.idle.values():
            for server in idle:
                server.communicate()
            idle.clear()
