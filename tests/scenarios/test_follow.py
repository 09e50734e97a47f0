"""Following the log: what becomes of its lines, and of the hosts they admit."""

import os
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


def test_a_change_is_a_later_second(machine):
    """Nothing else is looked at: what was added within the second waits for the next."""
    machine.write(LOG, "")
    machine.touch()
    machine.start()
    machine.wait_for(lambda: machine.read(HOSTS) == "")
    with open(machine.path(LOG), "a") as log:
        log.write(login("192.0.2.7"))
    for modified in (machine.modified, machine.modified - 1):
        os.utime(machine.path(LOG), (modified, modified))
        machine.wait_for_cycles(2)
        assert machine.hosts() == []
    machine.touch()
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])


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
