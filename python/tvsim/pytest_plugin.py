"""pytest plugin: a fresh simulated TV per test, and a check that no process the kit started outlives the run.

    def test_volume(tv):                       # tv: a TvService of its own, stopped after the test
        tv.set("orvik.sl2.i32.audio.volume", 30)

    @pytest.mark.tv_model("my_tv.json")        # a model file, relative to the test file's folder
    def test_with_my_tv(tv): ...

    def test_shared(tv_session): ...           # one TvService for the whole session (each xdist worker its own)

Load it with `pytest -p tvsim.pytest_plugin`; an installed kit registers it as a pytest11 entry point.
"""

from __future__ import annotations

import os
from typing import Iterator

import pytest

from . import processes
from .service import TvService


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "tv_model(file): the model file the test's `tv` serves, relative to the "
                            "test file's folder (default: the built-in TV)")


@pytest.fixture
def tv(request: pytest.FixtureRequest) -> Iterator[TvService]:
    """A TvService of the test's own: a private bus and tvsimd, stopped when the test ends however it ends."""
    marker = request.node.get_closest_marker("tv_model")
    model = None
    if marker is not None:
        model = os.path.join(os.path.dirname(str(request.node.fspath)), marker.args[0])
    with TvService.start(model=model) as service:
        yield service


@pytest.fixture(scope="session")
def tv_session() -> Iterator[TvService]:
    """One TvService for every test of the session that asks for it (the built-in TV)."""
    with TvService.start() as service:
        yield service


@pytest.hookimpl(trylast=True)
def pytest_sessionfinish(session: pytest.Session, exitstatus: int) -> None:
    left = processes.still_running()
    if not left:
        return
    for process in left:
        processes.stop(process)
    line = "tvsim: processes still running at the end of the session, now stopped: " + ", ".join(
        f"{process.args[0]} (pid {process.pid})" for process in left)
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    if reporter is not None:
        reporter.write_line(line, red=True)
    else:
        print(line)
    session.exitstatus = pytest.ExitCode.TESTS_FAILED
