"""Faults around the running daemon: it goes on, and recovers once they have gone."""

import fcntl
import os
import re
import signal
import time
from pathlib import Path

import pytest
from conftest import ACTIVITY, HOSTS, LOG, MISSING, USERS, login, stamp

BOB, DOMAIN = "bob@dom1.example", "/etc/virtual/dom1.example"
ALICE, PANEL_USER = "alice", "/usr/local/corvane/data/users/alice"
FILES = [HOSTS, USERS, DOMAIN + "/dovecot.bytes", DOMAIN + "/last_login/bob",
         PANEL_USER + "/dovecot.bytes", PANEL_USER + "/last_login"]
LAST_LOGIN = "when=T&ip=192.0.2.2"
RECORD = "2=type=imap&inbound=2&outbound=0&email={}&log_time=T\n"
SECOND_WRITTEN = ["192.0.2.1\n192.0.2.2\n", "192.0.2.1: alice\n192.0.2.2: alice\n",
                  *(RECORD.format(BOB), LAST_LOGIN, RECORD.format(ALICE), LAST_LOGIN)]
UNDATED, MESSAGE = "Xyz 1 00:00:00 mail dovecot: imap-login: Login:\n", "Unable to parse the date"
FAULTS = {  # how it comes, how it goes, and what the system says
    "full": ("cat /dev/zero >$1/filler || true", "rm $1/filler", None),
    "read-only": ("mount -o remount,ro $1", "mount -o remount,rw $1", "Read-only file system")}


def sessions(number):
    """Bob's and alice's logins from 192.0.2.NUMBER, and the ends of sessions of NUMBER bytes."""
    end = "dovecot: imap({user})<1><x>: Disconnected: Logged out in={address} out=0"
    return "".join(login(f"192.0.2.{number}", user) + login(number, user, text=end)
                   for user in (BOB, ALICE))


def written(machine):
    """What stands in FILES, without times; None for those that aren't there."""
    return [re.sub(r"\b\d{10}\b", "T", text) if text else text
            for text in map(machine.read, FILES)]


@pytest.mark.parametrize("fault", FAULTS)
def test_what_cannot_be_written_is_lost_and_the_next_is_written(machine, fault):
    comes, goes, reason = FAULTS[fault]
    folders = "/etc/virtual", "/usr/local/corvane", "/var/log/corvane"
    for folder in folders:
        machine.inside("mkdir -p $1; mount -t tmpfs -o size=64k none $1", folder)
    machine.inside("mkdir -p $@", DOMAIN, PANEL_USER)
    for folder in folders[:2]:
        machine.inside(comes, folder)
    machine.write(LOG, sessions(1))
    machine.start()
    messages = [*(f"Cannot open {folder}/dovecot.bytes for logging dovecot bytes: {reason}"
                  for folder in (DOMAIN, PANEL_USER)),
                *(f"Unable to open {name} for writing : {reason}" for name in (HOSTS, USERS)),
                f"Cannot open {PANEL_USER}/last_login for logging last login",
                f"write_last_logins: unable to create {DOMAIN}/last_login: {reason}"]
    # On a full disk files can be made but stay empty, and nothing is said.
    first = ([None] * 6, messages) if reason else ([""] * 6, [])
    machine.wait_for(lambda: (written(machine), machine.activity()) == first)

    machine.path(ACTIVITY).unlink(missing_ok=True)
    machine.inside(comes, folders[2])
    for folder in folders[:2]:
        machine.inside(goes, folder)
    machine.append(sessions(2) + UNDATED)
    machine.wait_for(lambda: written(machine) == SECOND_WRITTEN)
    machine.inside(goes, folders[2])
    machine.append(UNDATED)
    machine.wait_for(lambda: machine.activity() == [MESSAGE])


def test_a_host_file_that_another_process_has_leased_is_waited_for(machine):
    machine.inside("mount -t tmpfs none /etc/virtual")
    machine.write(HOSTS, "")
    machine.write(LOG, login("192.0.2.1"))
    with open(machine.path(HOSTS)) as leased:
        before = signal.signal(  # sent to who holds a lease when another wants the file
            signal.SIGIO, lambda *_: fcntl.fcntl(leased, fcntl.F_SETLEASE, fcntl.F_UNLCK))
        try:
            fcntl.fcntl(leased, fcntl.F_SETLEASE, fcntl.F_RDLCK)
            machine.start()
            machine.wait_for(machine.hosts)
        finally:
            signal.signal(signal.SIGIO, before)
    assert machine.hosts() == ["192.0.2.1"] and not machine.activity()


def test_folders_that_appear_later_are_used_from_the_next_record_on(machine):
    machine.path("/var/log/corvane").rmdir()
    machine.write(LOG, sessions(1))
    machine.start()
    machine.wait_for(lambda: machine.read(USERS))
    machine.wait_for_cycles(0)  # the first has come to its end
    machine.inside("mkdir -p $@", DOMAIN, PANEL_USER, "/var/log/corvane")
    machine.append(sessions(2) + UNDATED)
    machine.wait_for(lambda: written(machine) == SECOND_WRITTEN)
    assert machine.activity() == [MESSAGE]


def test_a_log_that_is_no_file_is_followed_once_it_is_one(machine):
    log, new = machine.path(LOG), machine.path("/var/log/new")
    log.symlink_to("/var/log/elsewhere")
    machine.start()
    machine.wait_for(lambda: machine.activity() == [MISSING])
    machine.append(login("192.0.2.1"), "/var/log/elsewhere")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])
    log.unlink()
    machine.path(HOSTS).unlink()
    log.mkdir()  # can be opened, and has no lines
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])
    os.mkfifo(new)
    machine.touch("/var/log/new")
    log.rmdir()
    machine.path(HOSTS).unlink()
    new.rename(log)  # a pipe without a writer, then one whose writer stays
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])
    writer = os.open(log, os.O_RDWR)
    os.write(writer, login("192.0.2.2").encode())
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1", "192.0.2.2"])
    os.close(writer)
    machine.append(login("192.0.2.3"), "/var/log/new")
    new.rename(log)
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1", "192.0.2.2", "192.0.2.3"])
    assert set(machine.activity()) == {MISSING}


def test_authorizations_follow_the_clock_wherever_it_is_set(machine):
    library = [*Path("/usr/lib").glob("*/faketime/libfaketime.so.1")] or pytest.skip("no faketime")
    if b"__asan_init" in Path(os.environ["DAEMON"]).read_bytes():
        pytest.skip("faketime and a sanitizer, each wanting to be first, may stand still")
    hour, day = 3600, 86400

    def set_clock(offset):
        machine.write("/run/new", f"{offset:+}")
        machine.path("/run/new").rename(machine.path("/run/clock"))

    set_clock(0)
    machine.write(LOG, "")
    assert machine.run(environment=[
        f"LD_PRELOAD={library[0]}", "FAKETIME_TIMESTAMP_FILE=/run/clock", "FAKETIME_NO_CACHE=1",
        "FAKETIME_DONT_FAKE_MONOTONIC=1", "FAKETIME_DISABLE_SHM=1", "NO_FAKE_STAT=1",
        "ASAN_OPTIONS=verify_asan_link_order=0"]) == (0, "")
    # What was admitted while the clock was ahead stays until the clock has passed it.
    for number, (offset, admitted) in enumerate([
            (0, "1"), (hour, "2"), (-day, "23"), (-day, "234"), (0, "25"), (day, "6")], 1):
        set_clock(offset)
        machine.append(stamp(time.time() + offset) + login(f"192.0.2.{number}")[15:])
        machine.wait_for(lambda last=admitted: [host[-1] for host in machine.hosts()] == list(last))
    machine.append(stamp(time.time() + day) + login("192.0.2.7")[15:])
    # The log's own time goes back with the clock: its lines are seen once that has passed.
    os.utime(machine.path(LOG), (machine.modified - hour, machine.modified - hour))
    machine.wait_for_cycles(1)
    assert machine.hosts() == ["192.0.2.6"]
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.6", "192.0.2.7"])


def test_all_of_100000_logins_at_once_and_the_last_of_two_rotations_are_seen(machine):
    machine.write(LOG, "")
    pid = machine.start()
    machine.wait_for(lambda: machine.read(USERS) == "")
    line = login("ADDRESS")
    burst = [f"10.{i >> 16}.{i >> 8 & 255}.{i & 255}" for i in range(100000)]
    machine.append("".join(line.replace("ADDRESS", address) for address in burst))
    text = "".join(f"{address}: bob\n" for address in sorted(burst))
    machine.wait_for(lambda: machine.read(USERS) == text, 60)
    assert machine.hosts() == sorted(burst)
    os.kill(machine.background(), signal.SIGSTOP)
    for address in ("192.0.2.1", "192.0.2.2"):
        machine.path(LOG).rename(machine.path(LOG + ".1"))
        machine.append(login(address))
    os.kill(machine.background(), signal.SIGCONT)
    machine.wait_for(lambda: machine.hosts() == sorted(burst) + ["192.0.2.2"])
    machine.kill(pid)
    machine.start()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.2"])
