"""Redis for tests, by scripts/cluster: nodes that can be killed."""

import os
import pathlib
import subprocess

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "cluster"


class Nodes:
    """A cluster, or with "--plain" a single Redis; gone at the end of its with."""

    def __init__(self, folder, *arguments):
        self.folder = os.path.abspath(folder)
        self.url = self.do("start", "--port", "0", *arguments).strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.do("stop")

    def do(self, verb, *arguments):
        return subprocess.run([SCRIPT, verb, *map(str, arguments), "--dir", self.folder],
                              check=True, capture_output=True, text=True).stdout

    def masters(self):
        """Their numbers."""
        nodes = [line.split() for line in self.do("status").splitlines()]
        return [int(node[0]) for node in nodes if node[-1] == "master"]

    def tell(self, node, *words):
        """Sends a command to a node; what it says."""
        port = pathlib.Path(self.folder, str(node), "port").read_text().strip()
        return subprocess.run(["redis-cli", "-p", port, *map(str, words)], check=True,
                              capture_output=True, text=True).stdout
