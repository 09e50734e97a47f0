"""Behind the fence that its systemd unit describes the daemon does all of its work, and no more."""

import errno
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/scenarios"))
from conftest import ACTIVITY, HOSTS, LOG, PID_FILE, PROJECT, USERS, login, machine  # of the scenarios

UNIT = (PROJECT / "packaging/systemd/cv-popb4smtp.service.in").read_text()
# The whole tree again, with "strict" read-only but for what comes before "--"; then the command.
TREE = """set -e; [ "$1" = strict ] || { while [ "$1" != -- ]; do shift; done; shift; exec "$@"; }
shift; mkdir -p /run/fence; mount --rbind / /run/fence
while [ "$1" != -- ]; do mount --bind "/run/fence$1" "/run/fence$1"; keep="$keep:$1:"; shift; done
while read -r _ _ _ _ point _; do case "$keep:/proc::/sys::/dev:" in
*":${point#/run/fence}:"*) ;; *) [ "$point" = "${point#/run/fence}" ] ||
mount -o remount,bind,ro "$point"; esac; done </proc/self/mountinfo
shift; exec chroot /run/fence "$@" """
CALLS = """import os, seccomp, sys
fence = seccomp.SyscallFilter(seccomp.ERRNO(int(sys.argv[1])))
for call in sys.argv[2].split():
    if seccomp.resolve_syscall(seccomp.Arch(), call) >= 0: fence.add_rule(seccomp.ALLOW, call)
os.umask(int(sys.argv[3], 8)); fence.load(); os.execv(sys.argv[4], sys.argv[4:])"""


def words(key):
    return " ".join(re.findall(rf"^{key}=(.*)", UNIT, re.M)).split()


def calls(group):
    listing = subprocess.check_output(["systemd-analyze", "syscall-filter", group], text=True)
    names = re.findall(r"^ +([@\w-]+)$", listing, re.M)
    return {call for name in names for call in (calls(name) if name[0] == "@" else [name])}


def run(machine, lacking, *command):
    allowed = calls("@default")
    for line in re.findall(r"^SystemCallFilter=(.*)", UNIT, re.M):
        found = set().union(*(calls(name) for name in line.lstrip("~").split()))
        allowed = allowed - found if line[0] == "~" else allowed | found
    capabilities = [name for name in words("CapabilityBoundingSet") if name != lacking]
    kept = "".join(",+" + name[4:].lower() for name in capabilities)
    return subprocess.run(machine.command(
        "unshare", "--mount", *["--net"] * (words("PrivateNetwork") == ["yes"]),
        "--propagation", "unchanged", "sh", "-c", TREE, "sh", *words("ProtectSystem"), *(path.lstrip("-") for path in words("ReadWritePaths")), "--",
        "setpriv", "--bounding-set=-all" + kept, "--inh-caps=-all", "--no-new-privs",
        "env", "ASAN_OPTIONS=detect_leaks=0", sys.executable, "-c", CALLS,
        str(getattr(errno, words("SystemCallErrorNumber")[0])), " ".join(allowed), *words("UMask"), *command),
        capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=30, check=False)


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can set up the fence")
@pytest.mark.parametrize("lacking", [None, *words("CapabilityBoundingSet")])
def test_all_work_is_done_behind_the_fence_and_needs_each_capability(machine, lacking):
    end = "dovecot: imap({user})<1><x>: Disconnected: Logged out in=80 out=2583"
    machine.write(LOG, "".join(login("192.0.2.7", user) + login("", user, text=end)
                               for user in ("alice", "bob@dom1.example")))
    domain, user = "/etc/virtual/dom1.example", "/usr/local/corvane/data/users/alice"
    for path in domain, user, LOG:  # belong to others, who let nobody in
        path == LOG or machine.path(path).mkdir(parents=True)
        machine.path(path).chmod(0o700)
        os.chown(machine.path(path), 12345, 12345)
    machine.inside("\n".join(re.findall(r"^ExecStartPre=\+(.*)", UNIT, re.M)))
    for path in "/etc/x", "/run/x", "/var/log/x", "/usr/local/x":
        assert "Read-only" in run(machine, lacking, "/bin/touch", path).stderr
    assert "not permitted" in run(machine, lacking, "/bin/nice", "true").stderr
    result = run(machine, lacking, os.environ["DAEMON"], "t", "45")
    assert (result.returncode, result.stdout) == (0, ""), result.stderr
    assert words("PIDFile") == [PID_FILE] and words("NoNewPrivileges") == ["yes"]
    interfaces = Path(f"/proc/{machine.background()}/net/dev").read_text()
    assert re.findall(r"\w+(?=:)", interfaces) == ["lo"]
    last = domain + "/last_login/bob"
    machine.wait_for(lambda: machine.read(last) or "Unable to open" in machine.read(ACTIVITY))
    files = HOSTS, USERS, PID_FILE, ACTIVITY, domain + "/dovecot.bytes", user + "/dovecot.bytes"
    done = all(map(machine.read, [*files, last])) and machine.path(last).parent.group() == "mail"
    assert done == (lacking is None)
    machine.inside("\n".join(re.findall(r"^ExecStopPost=\+(.*)", UNIT, re.M)))
    # The mail server has to be able to read them, and finds nobody there.
    assert [(oct(machine.path(file).stat().st_mode), machine.read(file)) for file in (HOSTS, USERS)] == [("0o100644", "")] * 2
