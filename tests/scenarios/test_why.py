"""The companion: each usual mistake is made on purpose, and named with its remedy."""

import os
import re
import subprocess
import time
from pathlib import Path

import pytest
from conftest import HOSTS, PROJECT, login

LOG = "/var/log/mail-logins.log"
AT = r"(\d{4}-\d\d-\d\d )?\d\d:\d\d"


def log(text=None, address="192.0.2.7", user="bob", age=60):
    """A log of this message, or a login, written when the test runs."""
    return lambda: (login(address, user, age, text) if text else login(address, user, age))


def heartbeats(age):
    """A log with a heartbeat of that age, as the last line that came."""
    return lambda: login("", "", age, f"cv-popb4smtp: heartbeat {int(time.time()) - age}")


BOB = log(user="bob@dom1.example")


def why(machine, *arguments, account=()):
    """Asks, and sees to it that nothing is changed: status, and what it said."""
    listing = ["find", *map(str, map(machine.path, ("/etc/default", "/etc/virtual", "/var/log", "/run"))),
               "-printf", r"%p %m %s %T@ %C@\n"]
    before = subprocess.check_output(listing)
    result = subprocess.run(machine.command(*account, os.environ["DAEMON"] + "-why", *arguments), text=True,
                            stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
    assert subprocess.check_output(listing) == before
    assert result.stderr == "" and "\033" not in result.stdout
    return result.returncode, result.stdout


# The log, the options of the daemon, what is done before the question, the question, the answer.
@pytest.mark.parametrize("log, options, before, subject, status, answer", [
    (BOB, "", "", "192.0.2.7", 0,
     rf"exim -bh 192.0.2.7.*\n192.0.2.7 may relay until {AT}, as bob@dom1.example$"),
    (BOB, "", "", "bob@dom1.example", 0, f"bob@dom1.example may relay from 192.0.2.7 until {AT}$"),
    (BOB, "", "", "", 0, "1 x login, .*from 192.0.2.7: it counts\n.*\nnothing is wrong$"),
    (BOB, "", "", "192.0.2.77", 1, "192.0.2.77 may not: no login of it in " + LOG),
    (log("shop: imap-login: Login: user=<bob>, rip=192.0.2.7, lip=::1"), "", "", "bob", 1,
     "mail shop: .*\nbob may not: nearly a login .*instance_name"),
    (lambda: time.strftime("%Y-%m-%dT%H:%M:%S+01:00 mail dovecot: imap-login: Login: x\n") * 412, "", "",
     "", 1,
     f"WRONG 412 lines in {LOG}, none with a date that is read.*follow {LOG}, .*snippet"),
    (log(address="fd77::7", user="carol"), "", "", "FD77::0:7", 1,
     f"fd77::7 may not: login over IPv6 at {AT} of carol from fd77::7: IPv6 is never admitted.*AAAA"),
    (log(age=2880), "", "", "192.0.2.7", 1,
     rf"may not: last login at {AT}, over at {AT} \(t 30\): connections that stay open do not"),
    (log(age=7200), "", "", "", 1, "2.0 hours behind.*zone.*restart rsyslog"),
    (log(address="127.0.0.1"), "", "", "bob", 1, "from 127.0.0.1: loopback is never listed: allow"),
    (log("dovecot: imap-login: Disconnected (auth failed): user=<bob\033[2J>, rip=::1"), "", "", "bob",
     1, r"user=<bob\\x1b\[2J>(.*\n)+bob may not: refused login at .*: it does not count: wrong password"),
    (BOB, "", f"rm {LOG}", "", 1, f"{LOG}, is missing.*\n(.*\n)*.* old hosts listed in {HOSTS}: 1,"),
    (BOB, "", f"> {LOG}; echo {'x' * 30} > /var/log/mail.log", "", 1, f"{LOG} is empty since {AT}"),
    (BOB, "", f"touch -d '2 days ago' {LOG}", "", 1, f"{LOG} is not written any more since 20"),
    (heartbeats(7200), "", "", "", 1, rf"{LOG} is not written any more since {AT}(?!(.*\n)*.*zone)"),
    (heartbeats(60), "", "", "", 0, "note  no line of dovecot"),
    (BOB, "t abc", "", "", 1, "t abc is no number and counts as 0 seconds: .*end at once"),
    (BOB, "t 35791395", "", "", 1, "t 35791395 wraps round to -2147483596 seconds: .*at once"),
    (BOB, "-t 45", "", "", 1, "does not start with \"-t\": options are words without a dash"),
    (BOB, "", "kill $(cat /run/cv-popb4smtp.pid); sleep 0.5", "", 1,
     f"the daemon is not running .*systemctl start.*; {HOSTS} has not changed since {AT}"),
    (BOB, "", "chmod 700 /etc/virtual", "192.0.2.7", 1, r"may not: .*mode 0700.*chmod o\+x /etc/virtual$"),
    (BOB, "", f"chmod 600 {HOSTS}", "", 1, rf"{HOSTS} has mode 0600.*chmod o\+r {HOSTS}"),
    (BOB, "", f": > {HOSTS}; touch -d '1 minute ago' {HOSTS}", "", 1, "WRONG 192.0.2.7 logged in"),
    (BOB, "", "cd /var/log; truncate -s 1G huge; echo >> huge; date >> huge '+%b %e %T mail dovecot: "
     "imap-login: Login: user=<bob>, rip=192.0.2.7, lip=::1'", "192.0.2.7 f /var/log/huge", 0,
     f"1 lines are so long.*\n(.*\n)*192.0.2.7 may relay until {AT}, as bob$"),
    (BOB, "", "", "t", 1, "t may not: no login"),
    (BOB, "", "", "--version", 0, r"^cv-popb4smtp-why \d"),
])
def test_a_mistake_is_named_with_its_remedy(machine, log, options, before, subject, status, answer):
    machine.path(LOG).write_text(log(), encoding="latin-1", newline="\n")
    machine.write("/etc/default/cv-popb4smtp", f'# "t"\nOPTIONS="{options} f {LOG}"\n')
    if not options.startswith("-"):
        machine.start(*options.split(), "f", LOG)
        machine.wait_for(lambda: machine.read(HOSTS) is not None)
    machine.inside(before)
    found, said = why(machine, *subject.split())
    assert re.search(answer, said, re.M), said
    assert found == status, said


# What is said of a kind of line, and lines of it.
KINDS = {
    "login without a password .*: it counts, so that everybody may relay": [
        "dovecot: imap-login: Login: user=<anonymous>, method=ANONYMOUS, rip=192.0.2.7, x"],
    '"Logged in:" .* snippet is not active.*login_log_format': [
        "dovecot: imap-login: Logged in: user=<bob>, rip=192.0.2.7, lip=::1"] * 3,
    "login over IPv6": [
        "dovecot: imap-login: Login: user=<b>, rip=2001:db8:1:2:3:4:5:6789, lip=::1",
        "imapd[9]: Login user=alice auth=alice nil nil nil host=[NON-IPv4], x"],
    "login of another program": [
        "dovecot: managesieve-login: Logged in: user=<bob>, rip=::1, lip=::1",
        "imapd: LOGIN, user=bob, ip=[::ffff:192.0.2.7], protocol=IMAP"],
    "refused login": [
        "dovecot: imap-login: Info: Aborted login (auth failed): user=<b>, rip=::1",
        "imapd[9]: Login SYSTEM BREAK-IN ATTEMPT user=alice host=[192.0.2.8]"],
    '"Info:" or no program stands before': [
        "dovecot: imap-login: Info: Login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1",
        "imap-login: Login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1"],
    'the message does not begin with "Login:"': [
        "dovecot: imap-login: user=<bob>, rip=192.0.2.7, lip=192.0.2.1: Login"],
    "the user does not stand between": [
        "dovecot: imap-login: Login: user=bob, rip=192.0.2.7, session=<x>"],
    'no "rip=ADDRESS," stands behind the user.*login_log_format_elements': [
        "dovecot: imap-login: Login: user=<bob>, lip=::1, rip=192.0.2.7",
        "dovecot: imap-login: Login: user=<bob>, rip=192.0.2.7:4711, lip=192.0.2.1"],
    "the address of the client, .*, is missing": [
        "imapd[9]: Login user=alice auth=alice host=[192.0.2.8]"],
    'imapd writes "Authenticated"': ["imapd[9]: Authenticated user=alice host=[192.0.2.8] mech=PLAIN"],
}
NO_LOGINS = [
    "dovecot: imap(login)<1><x>: Disconnected: Logged out in=1 out=2",
    "postfix/smtpd[1]: warning: imap-login: Login: user=<b>, rip=1.2.3.4, x",
    "exim[1]: login authenticator failed for (x) [192.0.2.7]: user=<bob>, rip="]


def test_each_line_is_of_its_kind(machine):
    lines = sum(KINDS.values(), NO_LOGINS)
    machine.write(LOG, "".join(login("", text=line) for line in lines))
    said = why(machine, "f", LOG)[1]
    for kind, of_kind in KINDS.items():
        assert re.search(f" {len(of_kind)} x .*{kind}", said), kind + said
    assert sum(map(int, re.findall(r" (\d+) x ", said))) == len(lines) - len(NO_LOGINS), said


def test_the_logins_of_a_recording_are_those_that_the_daemon_admits(machine):
    recording = PROJECT / "samples/dovecot-2.3-default"
    admitted = Path(f"{recording}.expect").read_text().count("admit ")
    said = why(machine, "f", f"{recording}.log")[1]
    assert f" {admitted} x login, " in said and "nearly" not in said


@pytest.mark.skipif(os.geteuid() != 0, reason="only root can become nobody")
def test_who_may_not_read_is_told_so(machine):
    machine.write(LOG, BOB())
    machine.start("f", LOG)
    machine.wait_for(lambda: machine.hosts() == ["192.0.2.7"])
    nobody = ("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups")
    assert why(machine, "192.0.2.7", account=nobody)[0] == 0
    machine.path(LOG).chmod(0o640)
    assert re.search(f"{LOG} may not be read.*member of", why(machine, account=nobody)[1])
    assert why(machine, "192.0.2.8", account=nobody)[0] == 2

