"""What the running daemon costs beside plain tools and scripts, measured on its fixed paths.

Runs in a private namespace only, see scripts/benchmark. All costs are CPU time, user and system, of
whole processes; those that are compared take turns, so that a change in the load of the machine
meets them alike. Shown are medians, and from the least to the most.
"""

import argparse
import json
import os
import random
import re
import signal
import statistics
import subprocess
import sys
import time
from pathlib import Path

import mail_log

HERE = Path(__file__).resolve().parent
LOG = Path("/var/log/mail.log")
MANY_LOG = Path("/var/log/many")
HOSTS = Path("/etc/virtual/pophosts")
USERS = Path("/etc/virtual/pophosts_user")
PID_FILE = Path("/run/cv-popb4smtp.pid")
POLL_S = 2
MIB = 1 << 20
OPTIONS = None


class Daemon:
    """The daemon in the background. Its CPU time includes what it cost to start."""

    def __init__(self, *arguments):
        for path in (HOSTS, USERS, PID_FILE):
            path.unlink(missing_ok=True)
        started = subprocess.Popen([OPTIONS.daemon, *arguments], stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(started.pid, 0)
        started.returncode = status
        if status != 0:
            sys.exit(f"the daemon did not start: {status}")
        self.before = usage.ru_utime + usage.ru_stime
        wait_for(lambda: PID_FILE.exists() and PID_FILE.read_text())
        self.pid = int(PID_FILE.read_text())
        self.process = Path(f"/proc/{self.pid}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.kill(self.pid, signal.SIGKILL)
        wait_for(lambda: not self.process.exists())

    def cpu(self):
        return self.before + int((self.process / "schedstat").read_text().split()[0]) / 1e9

    def sleeps(self):
        # Nowhere but in its loop.
        return (self.process / "stat").read_text().rsplit(")", 1)[1].split()[0] == "S"

    def wait_until(self, done):
        """CPU time when the scan that leads there has ended."""
        wait_for(done)
        wait_for(self.sleeps)
        return self.cpu()

    def first_scan(self):
        return self.wait_until(USERS.exists)

    def memory(self):
        """The most memory it has had, in MiB."""
        line = next(x for x in (self.process / "status").read_text().splitlines() if "VmHWM" in x)
        return int(line.split()[1]) / 1024


def wait_for(condition, seconds=120):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            sys.exit(f"not within {seconds} seconds: {condition.__code__.co_names}")
        time.sleep(0.002)


def scan(log=LOG, memory=None):
    """CPU time of the daemon's start and first scan; adds the most memory it had to a list."""
    with Daemon("f", log) as daemon:
        cpu = daemon.first_scan()
        if memory is not None:
            memory.append(daemon.memory())
    return cpu


def command(*arguments, stdin=None):
    """CPU time of a process that writes to a file: grep would stop early if it were /dev/null."""
    with open("/run/output", "w") as output:
        process = subprocess.Popen(arguments, stdin=stdin, stdout=output,
                                   env={"PATH": os.environ["PATH"], "LC_ALL": "C"})
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = status
    if status != 0:
        sys.exit(f"failed: {arguments}")
    return usage.ru_utime + usage.ru_stime


def perl(log=LOG, *arguments):
    return command("perl", HERE / "yardstick.pl", log, f"{HOSTS}.perl", f"{USERS}.perl", *arguments)


def mawk():
    return command("mawk", "-v", f"hosts={HOSTS}.mawk", "-v", f"users={USERS}.mawk", "-f",
                   HERE / "yardstick.awk", LOG)


def same_content(*others):
    """A yardstick that does another job is none."""
    for path in (HOSTS, USERS):
        want = sorted(path.read_text().splitlines())
        for other in others:
            if sorted(Path(f"{path}.{other}").read_text().splitlines()) != want:
                sys.exit(f"{path}.{other} differs from {path}")


def write(path, writer, *arguments):
    with open(path, "w") as file:
        writer(file, *arguments)


def append(text):
    """Appends to the log, and moves its modification time on as seconds that pass would."""
    modified = int(LOG.stat().st_mtime) + 1
    with open(LOG, "a") as file:
        file.write(text)
    os.utime(LOG, (modified, modified))


class Result:
    """The samples of one workload, and its figures beside their targets."""

    def __init__(self, name, about):
        self.name, self.about, self.samples, self.figures = name, about, {}, []
        self.in_seconds = True  # the samples

    def measure(self, rounds=None, **subjects):
        """Lets the subjects take turns, each round in another order."""
        names = list(subjects)
        self.samples.update({name: [] for name in names})
        for i in range(rounds or OPTIONS.rounds):
            for name in names[i % len(names):] + names[:i % len(names)]:
                self.samples[name].append(subjects[name]())

    def figure(self, what, values, limit, aim=None, unit="", more=False, value=None):
        """`value` is the median of the values unless given; the more the better, or the less."""
        value = statistics.median(values) if value is None else value
        verdict = [good for good, bound in (("aim", aim), ("target", limit)) if bound is not None
                   and (value >= bound if more else value <= bound)]
        self.figures.append({
            "what": what, "value": value, "low": min(values), "high": max(values), "unit": unit,
            "target": limit, "aim": aim, "more": more, "verdict": (verdict or ["missed"])[0]})

    def ratio(self, what, over, under, limit, aim=None, more=False):
        """How many times one subject's cost is another's: the median of the rounds, in which they
        took turns; of the medians, if they did not."""
        a, b = self.samples[over], self.samples[under]
        taken_turns = len(a) == len(b)
        self.figure(what, [x / y for x, y in zip(a, b)], limit, aim, "x", more,
                    None if taken_turns else statistics.median(a) / statistics.median(b))


def scan_workload(result):
    write(LOG, mail_log.write_traffic, OPTIONS.lines, time.time())
    memory = []
    result.measure(daemon=lambda: scan(memory=memory),
                   grep=lambda: command("grep", "-c", "Login:", LOG),
                   wc=lambda: command("wc", "-l", LOG), perl=perl, mawk=mawk)
    same_content("perl", "mawk")
    result.ratio("speed beside grep -c", "grep", "daemon", 1.0, 1.5, more=True)
    result.ratio("speed beside the perl script", "perl", "daemon", 7, more=True)
    result.ratio("speed beside the mawk script", "mawk", "daemon", 6, more=True)
    result.figure("most memory", memory, 3, unit="MiB")


def growing(result, writer, targets):
    """10,000 and 100,000 of something, beside perl."""
    memory = []
    write(LOG, writer, 10000)
    write(MANY_LOG, writer, 100000)
    result.measure(3 * OPTIONS.rounds, **{"daemon 10000": scan, "perl 10000": perl})
    mawk()
    same_content("perl", "mawk")
    result.measure(**{"daemon 100000": lambda: scan(MANY_LOG, memory),
                      "perl 100000": lambda: perl(MANY_LOG)})
    same_content("perl")
    for count, limit, aim in targets:
        result.ratio(f"{count:,}: CPU beside the perl script", f"daemon {count}", f"perl {count}",
                     limit, aim)
    result.ratio("growth from 10,000 to 100,000", "daemon 100000", "daemon 10000", 30, 15)
    return memory


def logins_workload(result):
    memory = growing(result, lambda *where: mail_log.write_logins(*where, time.time()),
                     ((10000, 0.4, None), (100000, 0.38, None)))
    result.figure("most memory, 100,000 addresses", memory, 32, unit="MiB")


def million_workload(result):
    memory = []
    write(LOG, mail_log.write_logins, 100000, time.time())
    write(MANY_LOG, mail_log.write_logins, 1000000, time.time())
    result.measure(3, **{"daemon 100000": scan,
                         "daemon 1000000": lambda: scan(MANY_LOG, memory),
                         "perl 1000000": lambda: perl(MANY_LOG)})
    same_content("perl")
    result.ratio("CPU beside the perl script", "daemon 1000000", "perl 1000000", 0.6, 0.4)
    result.ratio("growth from 100,000", "daemon 1000000", "daemon 100000", 18, 13)
    result.figure("most memory", memory, 320, unit="MiB")


def fresh_workload(result):
    count = 100000

    def fresh():
        write(LOG, mail_log.write_logins, count, time.time())
        write(MANY_LOG, mail_log.write_logins, count, time.time(), 2)
        with Daemon() as daemon:
            first = daemon.first_scan()
            append(MANY_LOG.read_text())
            cpu = daemon.wait_until(lambda: HOSTS.read_text().count("\n") > 1.9 * count) - first
        result.samples["into an empty table"].append(first)
        return cpu

    result.samples["into an empty table"] = []
    result.measure(**{"beside as many": fresh})
    result.ratio("CPU beside that into an empty table", "beside as many", "into an empty table", 2.5)


def connects_workload(result):
    with open(LOG, "w") as file:
        mail_log.write_connects(file, 300000, mail_log.old_times(time.time())[1])
    result.measure(3, daemon=scan)
    result.figure("CPU", result.samples["daemon"], 1.5, unit="s")


def sessions_workload(result):
    when = mail_log.old_times(time.time())[1]
    growing(result, lambda *where: mail_log.write_sessions(*where, when), ((100000, 0.4, 0.1),))


def sweep_workload(result):
    def daemon(count):
        # Lifetime a minute: the logins are young at the first scan and too old soon after.
        when = int(time.time()) - 54
        write(LOG, mail_log.write_logins, count, when)
        with Daemon("t", "1") as sweeper:
            sweeper.wait_until(lambda: USERS.exists() and USERS.stat().st_size > 0)
            wait_for(lambda: time.time() > when + 62)
            before = sweeper.cpu()
            append(mail_log.stamp(time.time()) + "CRON[1]: nothing to sweep\n")
            return sweeper.wait_until(lambda: USERS.stat().st_size == 0) - before

    def script(count):
        write(LOG, mail_log.write_logins, count, time.time())
        perl(LOG, "sweep")
        return float(Path("/run/output").read_text())

    for count in (10000, 100000):
        result.measure(**{f"daemon {count}": lambda n=count: daemon(n),
                          f"perl {count}": lambda n=count: script(n)})
    result.ratio("100,000: CPU beside the perl script", "daemon 100000", "perl 100000", 0.5, 0.2)
    result.ratio("growth from 10,000 to 100,000", "daemon 100000", "daemon 10000", 30, 15)


def bursts_workload(result):
    clients = mail_log.addresses(20000)
    LOG.write_text("".join(mail_log.login(time.time(), client, f"user{i}")
                           for i, client in enumerate(clients)))
    waiting, delays, written, cpu = {}, [], 0, []
    phase = random.Random(1)  # or the bursts would keep their distance from the polls

    def burst_time(number):
        # Each in a second of its own: see docs/performance.md.
        return int(began) + 1 + number + phase.uniform(0, 0.9)

    with Daemon() as daemon:
        before, began = daemon.first_scan(), time.time()
        seen, end = USERS.stat().st_mtime_ns, began + OPTIONS.seconds
        next_burst = burst_time(0)
        while time.time() < end or waiting:
            if time.time() >= next_burst:
                mark = f"198.18.{written >> 8}.{written & 255}"
                numbers = [(written * 2000 + i) % len(clients) for i in range(1999)]
                lines = [mail_log.login(time.time(), clients[i], f"user{i}") for i in numbers]
                lines.append(mail_log.login(time.time(), mark, "mark"))
                with open(LOG, "a") as file:
                    file.write("".join(lines))
                if time.time() < end:  # the later ones keep the log changing
                    waiting[mark] = time.time()
                written += 1
                next_burst = burst_time(written)
            if USERS.stat().st_mtime_ns != seen and daemon.sleeps():
                seen, found = USERS.stat().st_mtime_ns, set(HOSTS.read_text().split())
                for mark in found & set(waiting):
                    delays.append((seen / 1e9 - waiting.pop(mark) - POLL_S) * 1000)
                cpu.append(daemon.cpu())
            time.sleep(0.002)
        used = (daemon.cpu() - before) / (time.time() - began) * 100
    result.samples, result.in_seconds = {"delay beyond the poll, ms": delays}, False
    result.figure("longest delay beyond the poll", delays, 100, unit="ms", value=max(delays))
    per_poll = [(b - a) / POLL_S * 100 for a, b in zip(cpu, cpu[1:])]
    result.figure("share of a core", per_poll, 1.5, unit="%", value=used)


def idle_workload(result):
    write(LOG, mail_log.write_logins, 1000, time.time())
    calls = Path("/run/calls")
    with Daemon() as daemon:
        daemon.first_scan()
        time.sleep(POLL_S)
        with open("/run/strace", "w") as errors:
            strace = subprocess.Popen(["strace", "-qq", "-p", str(daemon.pid), "-o", calls],
                                      stderr=errors)
        try:
            time.sleep(OPTIONS.seconds)
        finally:
            strace.terminate()
            strace.wait()
    lines = calls.read_text().splitlines() if calls.exists() else []
    polls = [i for i, line in enumerate(lines) if "nanosleep" in line and "restart" not in line]
    if len(polls) < 3:
        sys.exit(f"strace tells nothing: {Path('/run/strace').read_text()}")
    calls_each = [b - a for a, b in zip(polls, polls[1:])]
    result.samples, result.in_seconds = {"system calls of a poll": calls_each}, False
    result.figure("system calls of a poll", calls_each, 2)


def long_lines_workload(result):
    ordinary = Path("/var/log/ordinary")
    write(ordinary, mail_log.write_traffic, 300000, time.time())

    def scan_behind(head):
        LOG.write_text(head + ordinary.read_text())
        return scan()

    # As after a crash of the machine: the NUL bytes stand where lines were lost, without an end.
    heads = {"ordinary": "", "long line": "x" * 16 * MIB + "\n", "NUL bytes": "\0" * 16 * MIB}
    result.measure(**{name: lambda head=head: scan_behind(head) for name, head in heads.items()})
    for name in ("long line", "NUL bytes"):
        plain = statistics.median(result.samples["ordinary"])
        result.figure(f"16 MiB, {name}: adds", [(x - plain) * 1000 for x in result.samples[name]],
                      50, unit="ms")


def records_workload(result):
    count, domains = 20000, 100
    for i in range(domains):
        Path(f"/etc/virtual/dom{i}.example/last_login").mkdir(parents=True, exist_ok=True)

    def daemon(writer, list_file):
        last = Path(list_file.read_text().splitlines()[-1].split("\t")[0])

        def run():
            write(LOG, writer, count, int(time.time()))
            last.unlink()
            cpu = scan()
            if not last.exists():
                sys.exit(f"{last} was not written")
            return cpu
        return run

    def write_last_logins(file, _, when):
        for i, address in enumerate(mail_log.addresses(count)):
            file.write(mail_log.login(when, address, f"user{i}@dom{i % domains}.example", i))

    def bare(how, list_file):
        def run():
            with open(list_file) as records:
                return command(OPTIONS.write_records, how, stdin=records)
        return run

    now = int(time.time())
    lists = {"truncate": Path("/run/last_logins"), "append": Path("/run/traffic")}
    by_name = sorted(enumerate(mail_log.addresses(count)),  # as the daemon writes them
                     key=lambda login: f"user{login[0]}@dom{login[0] % domains}.example")
    lists["truncate"].write_text("".join(
        f"/etc/virtual/dom{i % domains}.example/last_login/user{i}\twhen={now}&ip={address}\n"
        for i, address in by_name))
    lists["append"].write_text("".join(
        f"/etc/virtual/dom{i % domains}.example/dovecot.bytes\t{2080 + i}=type=imap&inbound=80&"
        f"outbound={2000 + i}&email=user{i}@dom{i % domains}.example&log_time={now}\n"
        for i in range(count)))
    for how in lists:  # as on any day but the first, the files are there
        bare(how, lists[how])()
    result.measure(**{
        "last logins, daemon": daemon(write_last_logins, lists["truncate"]),
        "last logins, bare": bare("truncate", lists["truncate"]),
        "traffic, daemon": daemon(lambda *where: mail_log.write_ends(*where, domains),
                                  lists["append"]),
        "traffic, bare": bare("append", lists["append"])})
    for name in ("last logins", "traffic"):
        result.ratio(f"20,000 {name}: CPU beside bare writing", f"{name}, daemon", f"{name}, bare",
                     1.25)


WORKLOADS = {
    "scan": (scan_workload, "The start-up scan of a log of old lines"),
    "logins": (logins_workload, "A first scan of young logins, each from another address"),
    "million": (million_workload, "The same with 1,000,000 addresses"),
    "fresh": (fresh_workload, "100,000 logins from new addresses, beside 100,000 known ones"),
    "connects": (connects_workload, "300,000 classic connections, then their ends"),
    "sessions": (sessions_workload, "A first scan of classic sessions that stay open"),
    "sweep": (sweep_workload, "A sweep that lets go of all hosts"),
    "bursts": (bursts_workload, "2,000 logins a second, once a second, from 20,000 addresses"),
    "idle": (idle_workload, "No change of the log"),
    "long_lines": (long_lines_workload, "16 MiB before 300,000 old lines"),
    "records": (records_workload, "Records of 20,000 users of 100 domains in one scan"),
}


def show(result):
    print(f"\n{result.name}: {result.about}")
    for name, samples in result.samples.items() if result.in_seconds else ():
        low, high = min(samples) * 1000, max(samples) * 1000
        print(f"  {name:24} {statistics.median(samples) * 1000:10.2f} ms  ({low:.2f} - {high:.2f})")
    for f in result.figures:
        bound = f"{'>=' if f['more'] else '<='} {f['target']}"
        aim = f", aim {f['aim']}" if f["aim"] is not None else ""
        print(f"  {f['what']:44} {f['value']:8.2f} {f['unit']:3} ({f['low']:.2f} - {f['high']:.2f})"
              f"  {bound}{aim}: {f['verdict']}", flush=True)


def machine():
    models = re.findall(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    comment = subprocess.run(["readelf", "-p", ".comment", OPTIONS.daemon], text=True,
                             capture_output=True, check=True).stdout
    return {"processor": f"{models[0] if models else os.uname().machine}, {os.cpu_count()} cores",
            "system": f"{os.uname().sysname} {os.uname().release}",
            "compiler": "; ".join(re.findall(r"\]\s+(.*)", comment)),
            "date": time.strftime("%Y-%m-%d")}


def options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("names", nargs="*", metavar="NAME", help=", ".join(WORKLOADS))
    parser.add_argument("--daemon", required=True)
    parser.add_argument("--write-records", required=True)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--lines", type=int, default=1000000, help="of the log of old lines")
    parser.add_argument("--seconds", type=int, default=30, help="of the bursts and of idling, each")
    parser.add_argument("--results", type=Path, help="where to write the figures, as JSON")
    parser.add_argument("--enforce", action="store_true", help="fail if a target is missed")
    return parser.parse_args()


def main():
    if not Path("/run/private/etc").exists():
        sys.exit("not in a private namespace, see scripts/benchmark")
    facts, results = machine(), []
    print("".join(f"{name}: {fact}\n" for name, fact in facts.items()), end="")
    for name in OPTIONS.names or WORKLOADS:
        run, about = WORKLOADS[name]
        result = Result(name, about)
        run(result)
        show(result)
        results.append(vars(result))
    if OPTIONS.results:
        OPTIONS.results.write_text(json.dumps(
            {"machine": facts, "lines": OPTIONS.lines, "workloads": results}, indent=1))
    missed = sum(figure["verdict"] == "missed" for x in results for figure in x["figures"])
    print(f"\nTargets missed: {missed}")
    return 1 if missed and OPTIONS.enforce else 0


if __name__ == "__main__":
    OPTIONS = options()
    sys.exit(main())
