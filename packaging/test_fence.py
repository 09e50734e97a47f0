"""With the capabilities that its systemd unit leaves it the daemon does all its work. It needs each."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/scenarios"))
from conftest import ACTIVITY, HOSTS, LOG, PID_FILE, PROJECT, USERS, login, machine  # of the scenarios

UNIT = (PROJECT / "packaging/systemd/cv-popb4smtp.service.in").read_text()
CAPABILITIES = re.search(r"^CapabilityBoundingSet=(.*)", UNIT, re.M)[1].split()


@pytest.mark.skipif(os.geteuid() != 0, reason="only root has capabilities to lose")
@pytest.mark.parametrize("lacking", [None, *CAPABILITIES])
def test_all_work_is_done_and_needs_each_capability(machine, lacking):
    end = "dovecot: imap({user})<1><x>: Disconnected: Logged out in=80 out=2583"
    machine.write(LOG, "".join(login("192.0.2.7", user) + login("", user, text=end)
                               for user in ("alice", "bob@dom1.example")))
    domain, user = "/etc/virtual/dom1.example", "/usr/local/corvane/data/users/alice"
    for path in domain, user, LOG:  # belong to others, who let nobody in
        path == LOG or machine.path(path).mkdir(parents=True)
        machine.path(path).chmod(0o700)
        os.chown(machine.path(path), 12345, 12345)
    machine.inside("\n".join(re.findall(r"^ExecStartPre=\+(.*)", UNIT, re.M)))
    kept = [f"+{name[4:].lower()}" for name in CAPABILITIES if name != lacking]
    subprocess.run(machine.command(
        "setpriv", "--bounding-set", ",".join(["-all", *kept]), "--inh-caps=-all", "--no-new-privs",
        "env", "ASAN_OPTIONS=detect_leaks=0", os.environ["DAEMON"], "t", "45"), check=True)
    last = domain + "/last_login/bob"
    machine.wait_for(lambda: machine.read(last) or "Unable to open" in machine.read(ACTIVITY))
    files = HOSTS, USERS, PID_FILE, ACTIVITY, domain + "/dovecot.bytes", user + "/dovecot.bytes"
    done = all(map(machine.read, [*files, last])) and machine.path(last).parent.group() == "mail"
    assert done == (lacking is None)
