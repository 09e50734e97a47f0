"""Following the log: what becomes of its lines, and of the hosts they admit."""

import os
import stat
import time
from pathlib import Path

from conftest import HOSTS, LOG, MISSING, PROJECT, USERS, login


def test_logins_reach_both_files_and_expire_on_a_busy_log(machine):
    machine.write(LOG, login("192.0.2.7", "bob@dom1.example", 54) + login("10.0.0.9", "", 20))
    machine.start("t", "1")
    machine.wait_for(lambda: machine.read(USERS) == "10.0.0.9: \n192.0.2.7: bob@dom1.example\n")
    assert machine.read(HOSTS) == "10.0.0.9\n192.0.2.7\n"
    assert oct(machine.path(HOSTS).stat().st_mode) == "0o100644"

    def expired():
        machine.append("another line of another program\n")
        return machine.hosts() == ["10.0.0.9"]

    machine.wait_for(expired)
    assert machine.read(USERS) == "10.0.0.9: \n"


def test_hosts_expire_on_an_idle_log_once_a_sweep_has_seen_them(machine):
    machine.write(LOG, login("192.0.2.7", age=52))
    machine.start("t", "1")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    machine.append("")  # the scan's sweep comes before its lines: it takes another to see them
    machine.wait_for(lambda: machine.hosts() == [], 20)
    assert machine.read(USERS) == ""


def test_hosts_admitted_to_an_empty_table_stay_while_the_log_is_idle(machine):
    machine.write(LOG, login("192.0.2.7"))
    machine.start("t", "0")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    machine.wait_for_cycles(3)
    assert machine.hosts() == ["192.0.2.7"]
    machine.append("")
    machine.wait_for(lambda: machine.hosts() == [])


def test_a_log_may_be_missing_appear_grow_and_shrink(machine):
    machine.start()
    machine.wait_for(lambda: machine.activity() == [MISSING] * 2)
    machine.write(LOG, login("192.0.2.1", "u" * 100))
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1"])
    machine.append(login("192.0.2.2"))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.1", "192.0.2.2"])
    machine.write(LOG, login("192.0.2.3"))  # shorter: from the top
    machine.touch()
    machine.wait_for(lambda: "192.0.2.3" in machine.hosts())
    # Replaced by a file at least as large: taken for the same, and read on from where it was.
    machine.path(LOG).unlink()
    machine.write(LOG, login("192.0.2.4", "u" * 100) + login("192.0.2.5"))
    machine.touch()
    machine.wait_for(lambda: "192.0.2.5" in machine.hosts())
    assert "192.0.2.4" not in machine.hosts()


def test_a_change_within_the_same_second_waits_for_the_next(machine):
    machine.write(LOG, "")
    machine.touch()
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    with open(machine.path(LOG), "a") as log:
        log.write(login("192.0.2.7"))
    os.utime(machine.path(LOG), (machine.modified, machine.modified))
    machine.wait_for_cycles(2)
    assert machine.hosts() == []
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])


def test_a_line_cut_by_the_end_of_the_file_is_two_lines(machine):
    first, second = login("192.0.2.7"), login("192.0.2.8")
    machine.write(LOG, first[:60])
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    machine.append(first[60:] + second)
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.8"])


def test_a_log_that_cannot_be_opened_ends_the_scan_and_nothing_else(machine):
    machine.write(LOG, login("192.0.2.7"))
    machine.start()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    machine.path(LOG).unlink()
    os.mknod(machine.path(LOG), stat.S_IFSOCK | 0o600)
    machine.touch()
    message = f"Unable to open {LOG} for reading\t: No such device or address"
    machine.wait_for(lambda: message in machine.activity())
    assert machine.hosts() == ["192.0.2.7"]
    machine.path(LOG).unlink()
    machine.write(LOG, login("192.0.2.8"))
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7", "192.0.2.8"])


def test_host_files_that_cannot_be_written_are_reported_until_they_can(machine):
    machine.path("/etc/virtual").rmdir()
    machine.write(LOG, login("192.0.2.7"))
    machine.start()
    messages = [f"Unable to open {name} for writing : No such file or directory"
                for name in (HOSTS, USERS)]
    machine.wait_for(lambda: machine.activity() == messages)
    machine.path("/etc/virtual").mkdir()
    machine.append("")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    assert machine.activity() == messages


def test_without_the_folder_of_the_activity_log_all_else_goes_on(machine):
    machine.path("/var/log/corvane").rmdir()
    machine.write(LOG, login("192.0.2.7"))
    machine.start("t", "5")
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])


def test_too_many_connected_processes_are_forgotten_and_fall_back_to_their_line(machine):
    connect = "vm-pop3d[{user}]: Connect from {address}"
    logs_in = "imapd[{user}]: Login user=alice auth=x b c {address}, end"
    machine.write(LOG, "".join(login("192.0.2.7", pid, text=connect) for pid in range(1, 1001)))
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    machine.wait_for_cycles(2)
    machine.append(login("192.0.2.9", 1000, text=logs_in))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    machine.append(login("192.0.2.7", 1001, text=connect))
    message = "process_ips has more than 1000 id's, emptying it."
    machine.wait_for(lambda: message in machine.activity())
    machine.append(login("192.0.2.9", 1000, text=logs_in))
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7", "192.0.2.9"])
    assert machine.activity().count(message) == 1


def test_after_a_crash_the_hosts_come_back_from_the_log(machine):
    """The pid file of the killed daemon, and a log that it has read before, are in the way."""
    machine.write(LOG, login("192.0.2.7"))
    first = machine.start()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    machine.kill(first)
    machine.append(login("192.0.2.8"))
    machine.path(HOSTS).unlink()
    machine.start()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7", "192.0.2.8"])


def test_the_recording_gives_its_admissions_and_records_and_no_other_file(machine):
    recording = f"{PROJECT}/samples/dovecot-2.3-default"
    stamp = time.strftime("%b %e %H:%M:%S")
    seconds = int(time.mktime(time.strptime(f"{time.localtime().tm_year} {stamp}",
                                            "%Y %b %d %H:%M:%S")))
    folders = {"dom1.example": "/etc/virtual/dom1.example",
               "dom2.example": "/etc/virtual/dom2.example",
               "alice": "/usr/local/corvane/data/users/alice"}
    for folder in folders.values():
        machine.path(folder).mkdir(parents=True)
    users, files = {}, {}
    for line in Path(recording + ".expect").read_text().splitlines():
        effect, *words = line.split()
        if effect == "-":
            continue
        user, address = words[-1], words[0]
        local, _, domain = user.partition("@")
        folder = folders[domain or local]
        if effect == "traffic":
            kind, inbound, outbound = words[:3]
            name = folder + "/dovecot.bytes"
            files[name] = files.get(name, "") + (
                f"{int(inbound) + int(outbound)}=type={kind}&inbound={inbound}"
                f"&outbound={outbound}&email={user}&log_time={seconds}\n")
            continue
        name = f"{folder}/last_login/{local}" if domain else f"{folder}/last_login"
        files[name] = f"when={seconds}&ip={address}"
        if effect == "admit":
            users[address] = user
    files[HOSTS] = "".join(f"{address}\n" for address in sorted(users))
    files[USERS] = "".join(f"{address}: {user}\n" for address, user in sorted(users.items()))

    lines = Path(recording + ".log").read_text().splitlines(keepends=True)
    machine.write(LOG, "".join(stamp + line[15:] for line in lines))
    machine.start()

    def written():
        return {str(file)[len(str(machine.root)):]: file.read_text()
                for top in ("/etc/virtual", "/usr/local/corvane")
                for file in machine.path(top).rglob("*") if file.is_file()}

    machine.wait_for(lambda: written() == files)
    machine.append("")
    machine.wait_for_cycles(2)
    assert written() == files, "what has been read is not recorded again"
    assert machine.activity() == [MISSING] * machine.activity().count(MISSING)
