"""Hosts with real servers, and clients, in networks that exist only among them."""

import ctypes
import imaplib
import os
import poplib
import re
import smtplib
import subprocess
import sys
import time
from contextlib import contextmanager
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/scenarios"))
from conftest import HOSTS, PROJECT, USERS, Machine  # of the scenarios

HERE = Path(__file__).parent
UNPACKED = PROJECT / "build/end-to-end/root"
EXAMPLES = PROJECT / "packaging/examples"
LOG = "/var/log/mail-logins.log"
DEBIAN_EXIM, POSTFIX, EXIM = SERVERS = ["192.0.2.1", "192.0.2.2", "192.0.2.3"]
libc = ctypes.CDLL(None, use_errno=True)


class Network:
    """Connections made within enter() are made in this network, given by its file."""

    def __init__(self, file):
        self.file = open(file)

    @contextmanager
    def enter(self):
        with open("/proc/thread-self/ns/net") as before:
            assert libc.setns(self.file.fileno(), 0) == 0
            try:
                yield
            finally:
                assert libc.setns(before.fileno(), 0) == 0


class Host(Machine):
    """A host with rsyslog and Dovecot, as the packaged snippet and examples set them up."""

    enter = (*Machine.enter, "--wd", "--net", "--uts")

    def __init__(self, directory, name):
        if os.geteuid() != 0 or not UNPACKED.with_name("complete").exists():
            pytest.skip("only for root, after scripts/setup end-to-end")
        super().__init__(directory, ("--network", HERE / "server", UNPACKED, name))
        self.network = Network(f"/proc/{self.first_process}/ns/net")
        self.execute(f"cp {PROJECT}/packaging/rsyslog/* /etc/rsyslog.d/; touch {HOSTS} {USERS}")

    def document(self, name, old="", new=""):
        """Puts into a file the block below its name in the page on deployment."""
        page = (PROJECT / "docs/deployment.md").read_text()
        block = re.search(rf"`{re.escape(name)}`:\n\n((?:    .*\n|\n)+)", page)
        assert old in block[1]
        self.write(name, re.sub("^    ", "", block[1], flags=re.M).replace(old, new))

    def execute(self, script, **options):
        subprocess.run(self.command("sh", "-ec", script), check=True, timeout=20,
                       stdin=subprocess.DEVNULL, **options)

    def start_dovecot(self):
        self.execute(f"version=$(dovecot --version | cut -c -3); mkdir -p /etc/dovecot/conf.d; "
                     f"cp {EXAMPLES}/dovecot-$version.conf /etc/dovecot/conf.d/95-popb4smtp.conf; "
                     f"dovecot -c {HERE}/dovecot-$version.conf")

    def start_exim(self):
        """Debian's Exim, and one that keeps in its spool what it has accepted."""
        self.write("/etc/mailname", "mail.example\n")
        self.write("/etc/exim4/update-exim4.conf.conf", f"dc_eximconfig_configtype='internet'\n"
                   f"dc_local_interfaces='{DEBIAN_EXIM}'\ndc_relay_nets='127.0.0.1 : 10.0.0.0/8'\n")
        self.execute(f"sh {EXAMPLES}/exim4-debian.sh; exim4 -bd; "
                     f"exim4 -C {EXAMPLES}/exim.conf -bd -odq -oX {EXIM}.25 -oP /run/exim.pid")

    def start_postfix(self):
        self.execute("cd /usr/share/postfix; cp main.cf.debian /etc/postfix/main.cf; "
                     "cp master.cf.dist /etc/postfix/master.cf; cp dynamicmaps.cf /etc/postfix; "
                     "postconf -e inet_protocols=ipv4 myhostname=mail.example; postfix start; "
                     f"sh {EXAMPLES}/postfix.sh")

    def add_bridge(self, name, address):
        # Otherwise a bridge takes its lowest port's address, which changes with the clients.
        self.execute(f"ip link add {name} address 02:00:00:00:00:01 type bridge; "
                     f"ip address add {address}/24 dev {name}; ip link set {name} up")

    def connect(self, network, bridge, port, address):
        """Puts a cable, named by its port, between the bridge and a network."""
        file = f"/proc/self/fd/{network.file.fileno()}"
        self.execute(f"ip link add {port} type veth peer name {bridge} netns {file}; "
                     f"ip link set {port} master {bridge} up; "
                     f"nsenter --net={file} ip address add {address}/24 dev {bridge}; "
                     f"nsenter --net={file} ip link set {bridge} up",
                     pass_fds=[network.file.fileno()])

    def client(self, number):
        self.execute(f"ip netns add c{number}")
        client = Client(self.path(f"/run/netns/c{number}"))
        client.address = f"192.0.2.{number}"
        self.connect(client, "clients", f"c{number}", client.address)
        return client

    def log(self, message, *options):
        self.execute(f'logger -p mail.info {" ".join(options)} "{message}"')

    def quiet(self):
        """Waits for a second without lines: what comes next changes the log's time visibly."""
        self.wait_for(lambda: time.time() > int(self.path(LOG).stat().st_mtime) + 1)


class Counted:
    """A socket, or the file that it is read by, which counts the bytes that pass."""

    def __init__(self, inner):
        self.inner, self.bytes = inner, 0

    def __getattr__(self, name):
        method = getattr(self.inner, name)

        def counted(*arguments):
            read = method(*arguments)
            self.bytes += len(read if read is not None else arguments[0])
            return read

        return counted if name in ("sendall", "read", "readline") else method


class Client(Network):
    """A client with an address of its own."""

    def log_in(self, protocol, user, server="192.0.2.1", password="secret"):
        """Logs in by "imap", "imaps", "pop" or "pops"; the session counts its bytes."""
        kind = {"imap": imaplib.IMAP4, "imaps": imaplib.IMAP4_SSL,
                "pop": poplib.POP3, "pops": poplib.POP3_SSL}[protocol]
        with self.enter():
            session = kind(server, timeout=10)
        self.since = int(time.time())
        if protocol.startswith("pop"):
            session.user(user)
        session.sock = session.sent = Counted(session.sock)
        session.file = session.received = Counted(session.file)
        if protocol.startswith("pop"):
            session.pass_(password)
        else:
            session.login(user, password)
        session.sent.bytes = 0
        self.session = session  # which so stays open
        return session

    def relays(self, servers=SERVERS):
        """Those servers that relay for this client."""
        found = []
        for server in servers:
            with self.enter(), smtplib.SMTP(server, local_hostname="client", timeout=20) as mail:
                mail.ehlo_or_helo_if_needed()
                mail.mail("someone@elsewhere.example")
                code, text = mail.rcpt("another@elsewhere.example")
            assert code == 250 or code in (454, 550) and b"relay" in text.lower()
            found += [server] if code == 250 else []
        return found
