"""A daemon that is killed at any moment, again and again, while the log grows.

CRASHES sets how often, CRASH_SEED the moments and the log.
"""

import os
import random
import time
from pathlib import Path

from conftest import HOSTS, USERS, login


def test_after_a_crash_at_any_moment_the_files_are_those_of_a_run_without(machine):
    chance = random.Random(int(os.environ.get("CRASH_SEED", "1")))
    users, host_file = {}, machine.path(HOSTS)

    def write(lines):
        text = ""
        for _ in range(lines):
            address = f"10.0.{chance.randrange(256)}.{chance.randrange(256)}"
            users[address] = f"user{chance.randrange(300)}"
            text += login(address, users[address])
        machine.append(text)

    def caught_up():
        text = "".join(f"{address}: {user}\n" for address, user in sorted(users.items()))
        return machine.hosts() == sorted(users) and machine.read(USERS) == text

    write(30000)
    for crashes in range(int(os.environ.get("CRASHES", "8"))):
        # During the first scan or the second, or as the files are being written.
        assert machine.run() == (0, "")
        changed = host_file.exists() and host_file.stat().st_mtime_ns
        time.sleep(chance.uniform(0, 0.02))
        write(20)
        if changed and crashes % 3 == 0:
            machine.wait_for(lambda: host_file.stat().st_mtime_ns != changed, pause=0)
            time.sleep(chance.choice((0, 0.001, 0.004)))
        else:
            time.sleep(chance.uniform(0, 0.02) + (2 if crashes % 12 == 11 else 0))
        machine.crash()
        assert machine.run() == (0, "")
        machine.wait_for(caught_up)
        # In one piece each: a part of a host file could end in the middle of an address.
        done = Path(f"/proc/{machine.background()}/io").read_text()
        assert int(done.split("syscw: ")[1].split()[0]) < 10
        machine.crash()
    assert machine.activity() == []
