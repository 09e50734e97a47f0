"""What strangers, limits and another start can do to the daemon: it stays, alone, and recovers."""

import os
import resource
from pathlib import Path

import pytest
from conftest import ACTIVITY, HOSTS, LOG, PID_FILE, login

RECORD = "/etc/virtual/dom1/last_login/bob"
UNDATED = "Xyz 1 00:00:00 mail dovecot: imap-login: Login:\n"


def test_a_limit_of_file_size_cuts_files_until_it_is_lifted(machine):
    machine.write(LOG, "")
    machine.write(RECORD, "before")
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    limit = machine.background(), resource.RLIMIT_FSIZE
    before = resource.prlimit(*limit)
    resource.prlimit(*limit, (4, before[1]))
    machine.append(login("192.0.2.1", "bob@dom1") + UNDATED)
    machine.wait_for(lambda: machine.read(HOSTS) == "192." and machine.read(RECORD) == "when")
    assert machine.read(ACTIVITY)
    resource.prlimit(*limit, before)
    machine.append("")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])


@pytest.mark.parametrize("output", ["1>&-", "| true"])
def test_a_line_of_the_activity_log_stands_there_once_whoever_reads_the_output(machine, output):
    machine.write(LOG, UNDATED * 3)
    machine.inside(f"$1 s f {LOG} {output} &", os.environ["DAEMON"])
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    machine.append(login("192.0.2.1"))
    machine.wait_for(machine.hosts)
    assert machine.activity() == [f"Using set log file: {LOG}", *["Unable to parse the date"] * 3]


@pytest.mark.parametrize("starts", [
    "$1 & $1 & wait", "$1; $1 || true", "$1 & kill -9 $!; wait; $1 || true"])
def test_of_two_starts_one_daemon_comes(machine, starts):
    machine.write(LOG, "")
    for _ in range(20):
        machine.inside(starts, os.environ["DAEMON"])
        assert len(machine.children(machine.first_process)) == 2  # the first keeps the namespace
        assert machine.read(f"/proc/{machine.read(PID_FILE).strip()}/comm") == "cv-popb4smtp\n"
        machine.crash()


def test_memory_that_runs_out_is_the_last_thing_it_says(machine):
    if b"__asan_init" in Path(os.environ["DAEMON"]).read_bytes():
        pytest.skip("a sanitizer takes more address space than any limit")
    machine.write("/var/log/maillog", "")
    os.truncate(machine.path("/var/log/maillog"), 3 << 30)  # one long line
    machine.inside("prlimit --as=50000000 $1", os.environ["DAEMON"])
    machine.wait_for(lambda: machine.activity() == ["Out of memory: the daemon ends."])
    machine.wait_for(lambda: machine.background() is None)
    machine.write("/var/log/maillog", login("192.0.2.1"))
    machine.start()
    machine.wait_for(machine.hosts)
