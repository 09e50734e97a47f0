"""The running daemon, whole, on its real paths inside a private namespace."""

import os
import signal
import subprocess
import time
from pathlib import Path

import pytest

# Neither file modes nor messages of tools are those of whoever runs this.
os.umask(0o022)
os.environ["LC_ALL"] = "C"
PROJECT = Path(__file__).resolve().parents[2]
LOG = "/var/log/mail.log"
HOSTS = "/etc/virtual/pophosts"
USERS = "/etc/virtual/pophosts_user"
ACTIVITY = "/var/log/corvane/cv-popb4smtp.log"
PID_FILE = "/run/cv-popb4smtp.pid"


class Machine:
    """Private namespaces and the daemon in them; all of it ends with the scenario."""

    def __init__(self):
        # It lives until its standard input ends: also when this process is killed.
        self.holder = subprocess.Popen(
            [PROJECT / "scripts/in-private-namespace", "sh", "-c", "echo ready; cat"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert self.holder.stdout.readline() == "ready\n", "no private namespace to be had"
        self.first_process = self.children(self.holder.pid)[0]
        self.root = Path(f"/proc/{self.first_process}/root")
        self.modified = int(time.time()) + 60

    @staticmethod
    def children(process):
        return Path(f"/proc/{process}/task/{process}/children").read_text().split()

    def background(self):
        """The id out here of the daemon in the background, None if there is none."""
        orphans = self.children(self.first_process)[1:]
        return int(orphans[0]) if orphans else None

    def close(self):
        self.holder.stdin.close()
        self.holder.wait()

    def command(self, *arguments):
        return ["nsenter", "--target", self.first_process, "--mount", "--root", "--pid", *arguments]

    def inside(self, script, *arguments):
        """Runs a script of the shell, for what only the namespace can do."""
        subprocess.run(self.command("sh", "-c", script, "sh", *arguments), check=True,
                       stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def run(self, *arguments):
        """Runs the daemon until its first process ends: status, and what it printed."""
        result = subprocess.run(self.command(os.environ["DAEMON"], *arguments), text=True, timeout=20,
                                stdin=subprocess.DEVNULL, capture_output=True)
        return result.returncode, result.stdout + result.stderr

    def start(self, *arguments):
        """Starts the daemon in the background; returns its process id in the namespace."""
        assert self.run(*arguments) == (0, "")
        return int(self.wait_for(lambda: self.read(PID_FILE)))

    def crash(self):
        """Ends the daemon in the background at once, and waits until it has gone."""
        os.kill(self.wait_for(self.background), signal.SIGKILL)
        self.wait_for(lambda: not self.background())

    def path(self, name):
        return self.root / name.lstrip("/")

    def read(self, name):
        """The content of a file, or None if it isn't there."""
        try:
            return self.path(name).read_text(errors="surrogateescape")
        except FileNotFoundError:
            return None

    def write(self, name, content):
        self.path(name).parent.mkdir(parents=True, exist_ok=True)
        self.path(name).write_text(content)

    def touch(self, name=LOG):
        """Moves a log's modification time on, as seconds that pass would."""
        self.modified += 1
        os.utime(self.path(name), (self.modified, self.modified))

    def append(self, content, name=LOG):
        with open(self.path(name), "a") as file:
            file.write(content)
        self.touch(name)

    def activity(self):
        """The messages in the activity log, without their stamps, which are of these minutes."""
        lines = (self.read(ACTIVITY) or "").splitlines()
        for line in lines:
            when = time.mktime(time.strptime(line[:21], "%Y:%m:%d-%H:%M:%S: "))
            assert time.time() - 180 < when <= time.time()
        return [line[21:] for line in lines]

    def hosts(self):
        return (self.read(HOSTS) or "").split()

    @staticmethod
    def wait_for(condition, seconds=15, pause=0.05):
        """What the condition gives once it holds; fails if it doesn't in time."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            found = condition()
            if found:
                return found
            time.sleep(pause)
        pytest.fail(f"not within {seconds} seconds: {condition.__code__.co_names}")
        return None

    def wait_for_cycles(self, cycles):
        """Lets the daemon look at its log that often: it sleeps once after each look."""
        status = Path(f"/proc/{self.background()}/status")

        def sleeps():
            return int(status.read_text().split("\nvoluntary_ctxt_switches:")[1].split()[0])

        before = sleeps()
        self.wait_for(lambda: sleeps() > before + cycles)


def login(address, user="bob", age=0, text="dovecot: imap-login: Login: user=<{user}>, "
          "method=PLAIN, rip={address}, lip=10.77.0.1, mpid=38, session=<x>"):
    # A stamp has no year: one of the old year would lie ahead.
    while time.localtime(time.time() - age).tm_year != time.localtime().tm_year:
        time.sleep(1)
    stamp = time.strftime("%b %e %H:%M:%S", time.localtime(time.time() - age))
    return f"{stamp} mail {text.format(user=user, address=address)}\n"


@pytest.fixture
def machine():
    made = Machine()
    yield made
    made.close()
