"""Following the log: what becomes of its lines, and of the hosts they admit."""

import fcntl
import os
import signal
import socket
import time

from conftest import HOSTS, LOG, USERS, login


def test_logins_reach_both_files_and_expire_on_an_idle_log_once_a_sweep_has_seen_them(machine):
    machine.write(LOG, login("192.0.2.7", "bob@dom1.example", 52) + login("10.0.0.9", "", 52))
    machine.start("t", "1")
    machine.wait_for(lambda: machine.read(USERS) == "10.0.0.9: \n192.0.2.7: bob@dom1.example\n")
    assert machine.read(HOSTS) == "10.0.0.9\n192.0.2.7\n"
    assert oct(machine.path(HOSTS).stat().st_mode) == "0o100644"
    machine.append("")  # the scan's sweep comes before its lines: it takes another to see them
    machine.wait_for(lambda: machine.hosts() == [], 20)
    assert machine.read(USERS) == ""


def test_a_log_may_be_missing_appear_and_shrink(machine):
    machine.start()
    machine.wait_for(lambda: machine.activity() == [f"Cannot stat: {LOG} : No such file or directory"] * 2)
    machine.append(login("192.0.2.1", "u" * 100))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])
    machine.write(LOG, login("192.0.2.3"))  # shorter: from the top
    machine.touch()
    machine.wait_for(lambda: "192.0.2.3" in machine.hosts())
    # Replaced by a file at least as large: taken for the same, and read on from where it was.
    machine.write(LOG, login("192.0.2.6"))
    machine.touch()
    machine.wait_for_cycles(2)
    machine.path(LOG).unlink()
    machine.append(login("192.0.2.4") + login("192.0.2.5"))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1", "192.0.2.3", "192.0.2.5"])


def test_a_change_is_a_later_second(machine):
    """Nothing else is looked at: what was added within the second waits for the next."""
    machine.append("")
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    with open(machine.path(LOG), "a") as log:
        log.write(login("192.0.2.7"))
    begun = time.monotonic()
    for modified in (machine.modified, machine.modified - 1):
        os.utime(machine.path(LOG), (modified, modified))
        machine.wait_for_cycles(2)
        assert machine.hosts() == []
    assert time.monotonic() - begun > 8, "it looks every two seconds"
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])


def test_a_host_file_that_another_process_has_leased_is_waited_for(machine):
    machine.inside("mount -t tmpfs none /etc/virtual")
    machine.write(HOSTS, "")
    machine.write(LOG, login("192.0.2.1"))
    with open(machine.path(HOSTS)) as leased:
        signal.signal(  # sent to who holds a lease when another wants the file
            signal.SIGIO, lambda *_: fcntl.fcntl(leased, fcntl.F_SETLEASE, fcntl.F_UNLCK))
        fcntl.fcntl(leased, fcntl.F_SETLEASE, fcntl.F_RDLCK)
        machine.start()
        machine.wait_for(machine.hosts)
    assert machine.hosts() == ["192.0.2.1"]
    assert machine.activity() == []


def test_what_is_no_file_is_waited_for_and_then_used(machine):
    """A log that is a socket, a folder or a pipe, and a host file that is a folder, then a pipe."""
    machine.path(HOSTS).mkdir()
    socket.socket(socket.AF_UNIX).bind(str(machine.path(LOG)))
    machine.start()
    machine.wait_for(lambda: machine.activity() == [
        f"Unable to open {LOG} for reading\t: No such device or address"])
    machine.path(LOG).unlink()
    machine.path(LOG).mkdir()  # can be opened, and has no lines
    machine.touch()
    machine.wait_for(lambda: machine.activity()[1:] == [f"Unable to open {HOSTS} for writing : Is a directory"])
    machine.path(HOSTS).rmdir()
    os.mkfifo(machine.path(HOSTS))
    machine.path(LOG).rmdir()
    os.mkfifo(machine.path(LOG))  # without a writer, then with one that stays
    machine.touch()
    machine.wait_for(lambda: machine.activity()[2:] == [
        f"Unable to open {HOSTS} for writing : No such device or address"])
    machine.path(HOSTS).unlink()
    writer = os.open(machine.path(LOG), os.O_RDWR)
    os.write(writer, login("192.0.2.2").encode())
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.2"])
    os.close(writer)
    machine.path(LOG).unlink()
    machine.append(login("192.0.2.3"))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.2", "192.0.2.3"])
