"""Dovecot logs through rsyslog, the daemons follow, and Exim and Postfix decide about relaying.

Two hosts relay: "mail" with Exim, "mx2" with Postfix. Each sends its log to the other.
"""

import itertools
import re
import smtplib
import time
from contextlib import ExitStack, closing

import pytest
from servers import DEBIAN_EXIM, EXIM, LOG, POSTFIX, SERVERS, Host  # makes conftest known
from conftest import USERS

RECEIVE = "/etc/rsyslog.d/10-receive-mail.conf"
SEND = "/etc/rsyslog.d/10-send-mail.conf"
NUMBER = "/etc/rsyslog.d/05-number-host.conf"
ADDRESS = "198.51.100.1"
DOMAIN = "/etc/virtual/dom1.example"
ALICE = "/usr/local/corvane/data/users/alice"
BOB = "bob@dom1.example"
numbers = itertools.count(11)
clients = []


@pytest.fixture(scope="module")
def hosts(tmp_path_factory):
    """Both hosts with Dovecot and a daemon, one minute of authorization."""
    with ExitStack() as stack:
        mail, mx2 = both = [stack.enter_context(closing(Host(tmp_path_factory.mktemp(name), name)))
                            for name in ("mail", "mx2")]
        mail.add_bridge("clients", DEBIAN_EXIM)
        mail.add_bridge("logs", ADDRESS)
        mail.execute(f"ip address add {EXIM}/24 dev clients")
        mail.connect(mx2.network, "clients", "mx2", POSTFIX)
        mail.connect(mx2.network, "logs", "mx2-logs", "198.51.100.2")
        for host, own, other in ((mail, ADDRESS, "198.51.100.2"), (mx2, "198.51.100.2", ADDRESS)):
            host.document(RECEIVE, ADDRESS, own)
            host.document(SEND, ADDRESS, other)
            host.execute(f"mkdir -p {DOMAIN} {ALICE}; rsyslogd")
            host.start_dovecot()
            host.daemon = host.start("t", "1", "f", LOG)
        mail.start_exim()
        mx2.start_postfix()
        yield both


@pytest.fixture
def mail(hosts):
    return hosts[0]


@pytest.fixture
def client(mail):
    return mail.client(next(numbers))



def log_in_and_relay(mail, client, protocol="imap", user=BOB, servers=SERVERS, **options):
    """The login counts within three seconds, and before it nothing does."""
    assert client.relays() == []
    mail.quiet()
    session = client.log_in(protocol, user, **options)
    mail.wait_for(lambda: client.relays(servers) == servers, 3)
    return session


@pytest.mark.parametrize("protocol", ["imap", "imaps", "pop", "pops"])
def test_a_login_authorizes_its_address_to_relay(mail, client, protocol):
    log_in_and_relay(mail, client, protocol)
    assert f"{client.address}: {BOB}\n" in mail.read(USERS)
    clients.append(client)
    with client.enter(), smtplib.SMTP(EXIM, local_hostname="client", timeout=10) as session:
        session.sendmail(BOB, "another@elsewhere.example", f"Subject: by {protocol}\n\n")
    mail.wait_for(lambda: any(
        re.search(rf"Subject: by {protocol}\n(.+\n)*.*X-POP-User: {BOB}\n", path.read_text())
        for path in mail.path("/var/spool/exim4/input").glob("*-H")))


def test_failed_logins_and_strangers_authorize_nobody(mail, client):
    failing = [mail.client(next(numbers)) for _ in range(2)]
    for one, protocol in zip(failing, ("imap", "pops")):
        with pytest.raises(Exception, match="(?i)auth"):
            one.log_in(protocol, BOB, password="wrong")
    mail.wait_for(lambda: all(f"rip={one.address}," in mail.read(LOG) for one in failing))
    log_in_and_relay(mail, client)
    for one in (*failing, mail.client(next(numbers))):
        assert one.relays() == []


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


def restart_rsyslog(host):
    host.execute("start-stop-daemon --stop --quiet --retry 15 --pidfile /run/rsyslogd.pid")
    queued = [path.name for path in host.path("/var/spool/rsyslog").iterdir()]
    host.execute("rsyslogd")
    return queued


def test_logins_reach_the_other_host_also_after_it_was_cut_off(hosts, client):
    mail, mx2 = hosts
    log_in_and_relay(mail, client, server=POSTFIX)
    mail.execute("ip link set mx2-logs down")
    late = [mail.client(next(numbers)) for _ in range(3)]
    at_mx2 = {"servers": [POSTFIX], "server": POSTFIX}
    log_in_and_relay(mx2, late[0], "pops", **at_mx2)
    assert "send-mail.qi" in restart_rsyslog(mx2)  # it waits on disk
    mx2.kill(mx2.daemon)
    mx2.start("t", "1", "f", LOG)
    log_in_and_relay(mx2, late[1], "imaps", **at_mx2)
    log_in_and_relay(mail, late[2], servers=[DEBIAN_EXIM, EXIM])
    assert late[1].relays() == [POSTFIX]
    mail.execute("ip link set mx2-logs up")
    mail.wait_for(lambda: all(one.relays() == SERVERS for one in late), 40)


def test_process_ids_of_two_hosts_do_not_collide_if_they_are_numbered(hosts, client):
    mail, mx2 = hosts
    mx2.document(NUMBER)
    mx2.document(SEND, "RSYSLOG_TraditionalForwardFormat", "numbered")
    restart_rsyslog(mx2)
    addresses = [f"192.0.2.{next(numbers)}" for _ in hosts]

    def say(host, text):
        mail.quiet()
        host.log(text, "-t", "vm-pop3d", "--id=1234")
        mail.wait_for(lambda: text in mail.read(LOG))

    for host, address in zip(hosts, addresses):
        say(host, f"Connect from {address}")
    say(mail, "User 'carol' of 'dom1.example' logged in")
    mail.wait_for(lambda: set(addresses) & set(mail.hosts()))
    assert set(addresses) & set(mail.hosts()) == {addresses[0]}
    log_in_and_relay(mail, client, "pop", server=POSTFIX)


def test_an_authorization_ends_after_its_minute(mail):
    """The last one: during the others the first login grows old."""
    mail.wait_for(lambda: clients[0].relays() == [], 75)
    assert time.time() - clients[0].since > 60
