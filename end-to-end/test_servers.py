"""Dovecot logs through rsyslog, the daemon follows, and Exim decides about relaying."""

import itertools
import re
import smtplib
import time
from contextlib import closing

import pytest
from servers import Host  # makes conftest known
from conftest import HOSTS, LOG, USERS

TRADITIONAL = "/etc/rsyslog.d/00-traditional.conf"
RECEIVE = "/etc/rsyslog.d/10-receive-mail.conf"
SEND = "/etc/rsyslog.d/10-send-mail.conf"
NUMBER = "/etc/rsyslog.d/05-number-host.conf"
DOMAIN = "/etc/virtual/dom1.example"
ALICE = "/usr/local/corvane/data/users/alice"
BOB = "bob@dom1.example"
numbers = itertools.count(11)
clients = []


@pytest.fixture(scope="module")
def mail(tmp_path_factory):
    """The host with Dovecot, Exim and the daemon, one minute of authorization."""
    with closing(Host(tmp_path_factory.mktemp("mail"), "mail", TRADITIONAL, RECEIVE)) as host:
        host.add_bridge("clients", "192.0.2.1")
        host.add_bridge("logs", "198.51.100.1")
        host.execute(f"mkdir -p {DOMAIN} {ALICE}; rsyslogd")
        host.start_dovecot()
        host.start_exim()
        host.daemon = host.start("t", "1")
        host.wait_for(lambda: host.read(HOSTS) is not None)
        yield host


@pytest.fixture
def client(mail):
    return mail.client(next(numbers))


another = client


def log_in_and_relay(mail, client, protocol="imap", user=BOB, **options):
    """The login counts within three seconds, and before it nothing does."""
    assert not client.may_relay()
    mail.quiet()
    session = client.log_in(protocol, user, **options)
    mail.wait_for(client.may_relay, 3)
    assert f"{client.address}: {user}\n" in mail.read(USERS)
    return session


@pytest.mark.parametrize("protocol", ["imap", "imaps", "pop", "pops"])
def test_a_login_authorizes_its_address_to_relay(mail, client, protocol):
    log_in_and_relay(mail, client, protocol)
    clients.append(client)
    with client.enter(), smtplib.SMTP("192.0.2.1", local_hostname="client", timeout=10) as session:
        session.sendmail(BOB, "another@elsewhere.example", f"Subject: by {protocol}\n\n")
    mail.wait_for(lambda: re.search(f"Subject: by {protocol}\n(.+\n)*X-POP-User: {BOB}\n",
                                    mail.read("/var/mail/relayed") or ""))


def test_failed_logins_and_strangers_authorize_nobody(mail, client):
    failing = [mail.client(next(numbers)) for _ in range(2)]
    for one, protocol in zip(failing, ("imap", "pops")):
        with pytest.raises(Exception, match="(?i)auth"):
            one.log_in(protocol, BOB, password="wrong")
    mail.wait_for(lambda: all(f"rip={one.address}," in mail.read(LOG) for one in failing))
    log_in_and_relay(mail, client)
    stranger = mail.client(next(numbers))
    assert not any(one.may_relay() for one in (*failing, stranger))


@pytest.mark.parametrize("user, folder, record", [
    (BOB, DOMAIN, "/last_login/bob"), ("alice", ALICE, "/last_login")])
def test_records_say_what_the_clients_did(mail, client, user, folder, record):
    expected = []
    for protocol in ("imap", "pops", "imaps", "pop"):
        mail.quiet()
        session = client.log_in(protocol, user)
        stamps = range(client.since, int(time.time()) + 1)
        mail.wait_for(lambda: mail.read(folder + record) in [
            f"when={stamp}&ip={client.address}" for stamp in stamps])
        mail.quiet()
        if protocol.startswith("imap"):
            session.append("INBOX", None, None, b"Subject: hello\r\n\r\n" + 50 * b"some text\r\n")
            session.select()
            session.fetch("1:*", "(RFC822)")
            session.send(b"x LOGOUT\r\n")  # logout() leaves the last reply unread
            session.file.read()
        else:
            session.retr(1)
            session.quit()
        # Dovecot doesn't count the line end of LOGOUT.
        sent = session.sent.bytes - 2 * protocol.startswith("imap")
        received = session.received.bytes
        expected.append(f"{sent + received}=type={protocol.rstrip('s')}&inbound={sent}"
                        f"&outbound={received}&email={user}&log_time=")
    mail.quiet()
    mail.log("another line")
    mail.wait_for(lambda: re.sub(r"(?<=log_time=)\d+$", "", mail.read(folder + "/dovecot.bytes")
                                 or "", flags=re.M).split() == expected)


def test_after_a_crash_authorized_hosts_come_back_from_the_log(mail, client):
    log_in_and_relay(mail, client)
    mail.kill(mail.daemon)
    mail.write(HOSTS, "")
    assert not client.may_relay()
    mail.daemon = mail.start("t", "1")
    mail.wait_for(client.may_relay, 3)


@pytest.mark.parametrize("way", [
    "create\ninclude /etc/logrotate.d/rsyslog\n", "/var/log/mail.log {\ncopytruncate\n}\n"])
def test_logins_count_before_and_after_the_log_is_rotated(mail, client, another, way):
    log_in_and_relay(mail, client)
    mail.quiet()
    size, inode = mail.path(LOG).stat().st_size, mail.path(LOG).stat().st_ino
    mail.write("/run/rotate", way)
    mail.execute("logrotate --force --state /run/rotated /run/rotate")
    mail.wait_for(lambda: mail.path(LOG).exists() and mail.path(LOG).stat().st_size < size)
    assert (mail.path(LOG).stat().st_ino == inode) == ("copytruncate" in way)
    log_in_and_relay(mail, another)
    assert client.may_relay()


@pytest.fixture(scope="module")
def senders(mail, tmp_path_factory):
    """Two hosts with Dovecot that send their logs to the first."""
    hosts = [Host(tmp_path_factory.mktemp(name), name, SEND) for name in ("mx1", "mx2")]
    for number, host in enumerate(hosts, 1):
        mail.connect(host.network, "clients", f"mx{number}", f"192.0.2.{number + 1}")
        mail.connect(host.network, "logs", f"mx{number}-logs", f"198.51.100.{number + 1}")
        host.execute("rsyslogd")
        host.start_dovecot()
    yield hosts
    for host in hosts:
        host.close()


def restart_rsyslog(host):
    host.execute("start-stop-daemon --stop --quiet --retry 15 --pidfile /run/rsyslogd.pid")
    queued = [path.name for path in host.path("/var/spool/rsyslog").iterdir()]
    host.execute("rsyslogd")
    return queued


def test_logins_at_other_hosts_arrive_also_after_one_was_cut_off(mail, senders, client, another):
    log_in_and_relay(mail, client, server="192.0.2.2")
    log_in_and_relay(mail, another, server="192.0.2.3")
    mail.execute("ip link set mx2-logs down")
    late = [mail.client(next(numbers)) for _ in range(3)]
    late[0].log_in("imap", BOB, "192.0.2.3")  # into the open connection
    restart_rsyslog(senders[1])
    late[1].log_in("pops", BOB, "192.0.2.3")  # into the queue
    senders[1].wait_for(lambda: late[1].address in senders[1].read(LOG))
    assert "send-mail.qi" in restart_rsyslog(senders[1])
    late[2].log_in("imaps", BOB, "192.0.2.3")
    log_in_and_relay(mail, mail.client(next(numbers)), server="192.0.2.2")
    assert not any(one.may_relay() for one in late)
    mail.execute("ip link set mx2-logs up")
    mail.wait_for(lambda: all(f"rip={one.address}," in mail.read(LOG) for one in late), 30)
    mail.quiet()
    mail.log("another line")
    mail.wait_for(lambda: all(one.may_relay() for one in late))


@pytest.mark.parametrize("numbered", [False, True])
def test_process_ids_of_two_hosts_collide_unless_they_are_numbered(mail, senders, client, numbered):
    if numbered:
        for number, host in enumerate(senders, 1):
            host.document(SEND, replace=("RSYSLOG_TraditionalForwardFormat", "numbered"))
            host.document(NUMBER, replace=("[1", f"[{number}"))
            restart_rsyslog(host)
    first, second = addresses = [f"192.0.2.{next(numbers)}" for _ in senders]

    def say(host, text):
        mail.quiet()
        host.log(text, "-t", "vm-pop3d", "--id=1234")
        mail.wait_for(lambda: text in mail.read(LOG))

    for host, address in zip(senders, addresses):
        say(host, f"Connect from {address}")
    say(senders[0], "User 'carol' of 'dom1.example' logged in")
    mail.wait_for(lambda: set(addresses) & set(mail.hosts()))
    assert set(addresses) & set(mail.hosts()) == {first if numbered else second}
    log_in_and_relay(mail, client, "pop", server="192.0.2.2")


def test_an_authorization_ends_after_its_minute(mail):
    """The last one: during the others the first login grows old."""
    if not clients:
        pytest.skip("the test of the first login was left out")
    mail.wait_for(lambda: not clients[0].may_relay(), 75)
    assert time.time() - clients[0].since > 60
