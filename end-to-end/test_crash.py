"""A daemon that is killed at any moment, again and again, while the log grows.

CRASHES sets how often, CRASH_SEED the moments and the log.
"""

import os
import random
import signal
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/scenarios"))
from conftest import HOSTS, USERS, machine, stamp  # of the scenarios


def test_after_a_crash_at_any_moment_the_files_are_those_of_a_run_without(machine):
    chance = random.Random(int(os.environ.get("CRASH_SEED", "1")))
    users, host_file = {}, machine.path(HOSTS)

    def write(lines):
        now, text = time.time(), []
        # The last is too old to be admitted, unless it was last year, as stamps name none.
        stamps = {age: stamp(now - age) for age in (0, 60, 10800)
                  if time.localtime(now - age).tm_year == time.localtime(now).tm_year}
        for _ in range(lines):
            age, user = chance.choice(list(stamps)), f"user{chance.randrange(300)}"
            address = f"10.0.{chance.randrange(256)}.{chance.randrange(256)}"
            text.append(f"{stamps[age]} mail dovecot: imap-login: Login: user=<{user}>, "
                        f"method=PLAIN, rip={address}, lip=10.77.0.1, session=<x>\n")
            if age < 1800:
                users[address] = user
        machine.append("".join(text))

    def caught_up():
        text = "".join(f"{address}: {user}\n" for address, user in sorted(users.items()))
        return machine.hosts() == sorted(users) and machine.read(USERS) == text

    def crash():
        os.kill(machine.wait_for(machine.background), signal.SIGKILL)
        machine.wait_for(lambda: not machine.background())

    write(30000)
    for crashes in range(int(os.environ.get("CRASHES", "100"))):
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
        crash()
        assert machine.run() == (0, "")
        machine.wait_for(caught_up)
        crash()
    machine.inside("rm $@", HOSTS, USERS)
    machine.run()
    machine.wait_for(caught_up)
    assert machine.activity() == []
