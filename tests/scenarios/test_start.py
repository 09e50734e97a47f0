"""Starting: the command line, the pid file, going into the background."""

import os
import re

import pytest
from conftest import ACTIVITY, HOSTS, LOG, PID_FILE, USERS, login

USAGE = """Usage: {program} <option>
options (optional):
\ts: run in standalone mode, used for debugging, to see whats going on.
\tt <num>: set the timeout, where <num> is a number, in minutes. Default: {minutes}
\tf <file>: file to parse (default: {log})
\t?: help, this screen
"""


@pytest.mark.parametrize("arguments, minutes", [
    (["?"], 30), (["t"], 30), (["s", "t", "5", "f"], 5), (["t", "-3x", "x"], -3)])
def test_anything_else_prints_the_usage_text_and_ends_with_5(machine, arguments, minutes):
    status, printed = machine.run(*arguments)
    text = USAGE.format(program=os.environ["DAEMON"], minutes=minutes, log=LOG)
    assert (status, printed[-len(text):]) == (5, text)
    # Messages are printed only once an `s` has come.
    assert printed == text or arguments[0] == "s"


def test_the_default_log_is_maillog_where_there_is_one(machine):
    machine.write("/var/log/maillog", login("192.0.2.7"))
    machine.write(LOG, login("192.0.2.8"))
    machine.start()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])


def test_standalone_mode_stays_and_prints_each_line_at_once(machine):
    machine.write("/var/log/other", "")
    machine.inside("$1 s t 45 f /var/log/absent f /var/log/other >/var/log/printed &",
                   os.environ["DAEMON"])
    stamp = r"\d{4}:\d\d:\d\d-\d\d:\d\d:\d\d: "
    expected = (f"{stamp}Using set timeout value: 45 minutes\n"
                f"{stamp}Using set log file: /var/log/absent\n"
                f"{stamp}Warning: logfile '/var/log/absent' does not exist\n"
                f"{stamp}Using set log file: /var/log/other\n"
                "Log has been updated, scanning from 0\n")
    machine.wait_for(lambda: re.fullmatch(expected, machine.read("/var/log/printed") or ""))
    machine.append(login("192.0.2.7"), "/var/log/other")
    machine.wait_for(lambda: machine.read("/var/log/printed").endswith(
        "scanning from 0\nAdding bob 192.0.2.7\n"))
    assert machine.background()
    assert machine.read(PID_FILE) is None


@pytest.mark.parametrize("content", ["garbage", "-1\n", "999999\n"])
def test_a_stale_pid_file_is_replaced(machine, content):
    machine.write(PID_FILE, content)
    machine.write(LOG, "")
    assert machine.run("f", LOG) == (0, "")
    machine.wait_for(lambda: re.fullmatch(r"[1-9]\d*\n", machine.read(PID_FILE))
                     and machine.read(PID_FILE) != content)


def test_a_second_daemon_does_not_start(machine):
    machine.write(LOG, "")
    pid = machine.start()
    text = f"Cannot start.  PID {pid} is already running."
    assert machine.run() == (1, text + "\n")
    assert machine.activity() == [text]


def test_the_background_has_its_own_session_and_nothing_to_print_on(machine):
    machine.write(LOG, "")
    process = f"/proc/{machine.start('t', '5')}"
    machine.wait_for(lambda: machine.read(HOSTS) is not None)
    assert os.listdir(machine.path(process + "/fd")) == []
    _, parent, _, session = machine.read(process + "/stat").rsplit(")", 1)[1].split()[:4]
    assert session == process.removeprefix("/proc/"), "leads a session"
    assert parent == "1", "its parent has gone"


def test_what_is_printed_in_the_background_reaches_no_file(machine):
    """A library that prints while descriptor 1 is a host file, the activity log or a record."""
    machine.path(PID_FILE).symlink_to("/run/absent/pid")  # cannot be written: the daemon runs on
    machine.write(LOG, login("192.0.2.7"))
    machine.inside("LD_PRELOAD=$1 ASAN_OPTIONS=verify_asan_link_order=0 $2",
                   os.environ["STRAY_PRINT"], os.environ["DAEMON"])
    machine.wait_for(lambda: machine.read(USERS) == "192.0.2.7: bob\n")
    assert machine.read(HOSTS) == "192.0.2.7\n"
    assert machine.activity() == ["Error creating pid file"]
