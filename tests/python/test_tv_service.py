from __future__ import annotations

import os
import pathlib
import re
import subprocess
import sys

import pytest

import tvsim

VOLUME = "orvik.sl2.i32.audio.volume"
SWITCH = "orvik.sl2.action.source.switch"
SCENARIOS = pathlib.Path(__file__).parent.parent / "tools" / "scenarios"


@pytest.mark.parametrize("path, value", [
    (VOLUME, 30),
    ("orvik.sl2.i64.system.uptime-ms", 5_000_000_000),
    ("orvik.sl2.str.system.menu-language", "nor"),
    ("orvik.sl2.vi32.tvservice.favourite-channels", [1, 2, 3]),
    ("orvik.sl2.vstr.audio.languages", []),
])
def test_values_round_trip(tv, path, value):
    tv.set(path, value)
    assert tv.get(path) == value


@pytest.mark.parametrize("call, error", [
    (lambda tv: tv.get("no.such.path"), tvsim.UnknownPath),
    (lambda tv: tv.set(VOLUME, "loud"), tvsim.WrongType),
    (lambda tv: tv.set(VOLUME, 1 << 40), tvsim.OutOfRange),
    (lambda tv: tv.responders.set(SWITCH, delay_ms=1000, before_invoke_returns=True), tvsim.InvalidArgument),
    (lambda tv: tv.load_model("/nonexistent.json"), tvsim.BadModelFile),
])
def test_service_errors_arrive_named_with_their_sentence(tv, call, error):
    with pytest.raises(error) as raised:
        call(tv)
    assert raised.value.sentence and "\n" not in raised.value.sentence


def test_model_listing_and_tables(tv):
    assert VOLUME in tv.paths("orvik.sl2.i32") and tv.types(SWITCH) == {SWITCH: "action"}
    table = next(path for path, kind in tv.types().items() if kind == "table")
    width = len(tv.columns(table))
    tv.set_rows(table, [["x"] * width, ["y"] * width])
    assert tv.rows(table) == [["x"] * width, ["y"] * width]


def test_a_client_started_with_env_is_seen_by_waits(tv, client):
    tv.set(VOLUME, 12)
    assert client.ask(f"get {VOLUME}") == "get 0 12"
    assert client.ask("source pauseAV") == "source 1"
    record = tv.wait_for_invoke(SWITCH, {0: tvsim.Regex("ss_access_timercontrol[0-9]+_[0-9]+"), 1: "2",
                                         2: tvsim.ANY})
    assert record.at(2) == "hbbtv" and record.action_id > 0
    assert tv.wait_for_connect(SWITCH).status == 0
    state = tv.responders.source_switch()
    assert state is not None and state.last_failure == 0
    assert client.ask(f"set {VOLUME} 44") == "set 0"
    tv.wait_for_value(VOLUME, 44)
    assert tv.wait_for_write(VOLUME, 44) == tv.records.writes()[0] and tv.records.writes()[0].value == 44


def test_a_failing_wait_names_the_closest_invokes_and_why(tv, client):
    assert client.ask("source pauseAV") == "source 1"
    with pytest.raises(AssertionError) as raised:
        tv.wait_for_invoke(SWITCH, {1: "2", 0: re.compile("other_[0-9]+")}, timeout=0.1)
    message = str(raised.value)
    assert message.startswith(f"no invoke of {SWITCH} with 0: re.compile('other_[0-9]+'), 1: '2' within 0.1 s")
    assert "1='2'" in message and "position 0: 'ss_access_timercontrol" in message
    with pytest.raises(AssertionError, match=f"no write to {VOLUME} of 9 within 0.05 s; none at all"):
        tv.wait_for_write(VOLUME, 9, timeout=0.05)
    with pytest.raises(AssertionError, match="is 0, not 1, after 0.05 s"):
        tv.wait_for_value("orvik.sl2.i32.tvservice.no-banner", 1, timeout=0.05)


def test_faults_and_responders_as_a_client_meets_them(tv, client):
    tv.faults.fail_connects(VOLUME, status=7)  # the library tries again within its connect's time
    assert client.ask(f"watch {VOLUME}") == "connect 0"
    tv.responders.set(SWITCH, failure=5)
    assert client.ask("source pauseAV") == "source 0"
    assert tv.responders.source_switch().last_failure == 0  # a chosen reply leaves the responder alone
    tv.responders.reset(SWITCH)
    assert client.ask("source pauseAV") == "source 1"
    assert client.ask(f"action {SWITCH}") == "connect 0"
    tv.faults.refuse_invokes(SWITCH, status=9, count=2)
    assert client.ask(f"invoke {SWITCH} x") == "invoke 9 0"
    tv.faults.clear(SWITCH)
    tv.responders.set(SWITCH, results=["a", "b"])
    # The outcome's line (callback thread) may come before or after the invoke's own; both before the flush's.
    *answers, flushed = client.ask(f"invoke {SWITCH} x\nflush", lines=3).split("; ")
    action_id = next(a for a in answers if a.startswith("invoke 0 ")).removeprefix("invoke 0 ")
    assert sorted(answers) == [f"invoke 0 {action_id}", f"result {action_id} 2"] and flushed == "flush 1"
    assert [r.status for r in tv.records.connects() if r.path == VOLUME] == [7, 0]
    assert [r.status for r in tv.records.invokes()] == [0, 0, 9, 0]
    tv.records.clear()
    assert tv.records.invokes() == [] and tv.records.dropped() == tvsim.Dropped(0, 0, 0, 0, 0, 0)


@pytest.mark.parametrize("start, end, said", [
    ("request.getfixturevalue('tv')", "assert False", "1 failed"),
    ("request.getfixturevalue('tv')", "raise KeyboardInterrupt", "KeyboardInterrupt"),
    ("tvsim.TvService.start()", "pass  # never stopped", "tvsim: processes still running at the end of the session"),
])
def test_no_process_outlives_a_test_that_fails_is_interrupted_or_forgets_its_tv(tmp_path, start, end, said):
    (tmp_path / "test_inner.py").write_text(
        "import tvsim\n\n"
        "def test_inner(request):\n"
        f"    tv = {start}\n"
        "    open('pids', 'w').write(f'{tv._tvsimd.pid} {tv._daemon.pid}')\n"
        f"    {end}\n")
    done = subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "tvsim.pytest_plugin", "test_inner.py"],
                          cwd=tmp_path, capture_output=True, text=True, timeout=60)
    assert done.returncode != 0 and said in done.stdout, done.stdout
    for pid in (tmp_path / "pids").read_text().split():
        assert not _alive(int(pid)), done.stdout


@pytest.mark.parametrize("variant, exit_code", [([], 0), (["--forget-release"], 1)])
def test_play_judges_a_client_by_a_scenario(tv, tmp_path, variant, exit_code):
    junit = tmp_path / "play.xml"
    report = tv.play(SCENARIOS / "take_switch_release.json", [os.environ["SCENARIO_CLIENT"], *variant], junit=junit)
    assert report.exit_code == exit_code, report.text
    assert report.passed == (exit_code == 0) and "<testcase" in junit.read_text()


@pytest.mark.tv_model("../tools/models/example_tv.json")
def test_the_marker_chooses_the_model(tv):
    assert tv.get("example.str.system.model") == "Example 55"


def _alive(pid: int) -> bool:
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().split()[2] != "Z"
    except FileNotFoundError:
        return False
