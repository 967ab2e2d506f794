"""The kit's own tests run a client program of the test tree (REMOTE_CLIENT) against the TV, one command per
line on its standard input, one answer line each."""

from __future__ import annotations

import os
import subprocess
from typing import Iterator

import pytest

from tvsim import TvService


class Client:
    def __init__(self, tv: TvService) -> None:
        self._process = subprocess.Popen([os.environ["REMOTE_CLIENT"]], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True, env=tv.env())

    def ask(self, line: str, lines: int = 1) -> str:
        """Sends one command line and answers the next lines the client prints, joined by "; "."""
        assert self._process.stdin and self._process.stdout
        self._process.stdin.write(line + "\n")
        self._process.stdin.flush()
        return "; ".join(self._process.stdout.readline().rstrip("\n") for _ in range(lines))

    def close(self) -> None:
        self._process.kill()
        self._process.wait()


@pytest.fixture
def client(tv: TvService) -> Iterator[Client]:
    started = Client(tv)
    yield started
    started.close()
