"""Mail logs that look like those of a busy server, the same ones for the same seed."""

import random
import time

HOUR = 3600


def stamp(when):
    return time.strftime("%b %e %H:%M:%S mail ", time.localtime(when))


def old_times(now):
    """From when to when the old lines of a log reach: six days, in the year of now, all of it too
    old to admit anybody. A stamp has no year: one of the last year would lie ahead."""
    new_year = time.mktime((time.localtime(now).tm_year, 1, 1, 0, 0, 0, 0, 0, -1))
    begin, end = max(now - 6 * 24 * HOUR, new_year), now - 2 * HOUR
    if begin >= end:
        raise SystemExit("no benchmark in the first two hours of a year: no line would be old")
    return begin, end


class Traffic:
    """Messages of the programs of a mail server. What follows a message, as the end of a session,
    comes some lines later."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.later = []
        self.pid = 1000
        self.users = [f"{name}{i}@dom{i % 400}.example" for i in range(800)
                      for name in ("anna", "jan.de.groot", "info", "m.rossi", "o")]
        self.clients = [self.address() for _ in range(6000)]
        self.kinds = [self.dovecot] * 60 + [self.delivery] * 12 + [self.classic] * 10 + [
            self.refused] * 10 + [self.cron] * 4 + [self.exim] * 10

    def address(self):
        bits = self.random.getrandbits(32)
        return f"{1 + bits % 126}.{bits >> 8 & 255}.{bits >> 16 & 255}.{bits >> 24}"

    def next(self):
        """A message, from the program's name on."""
        later = self.later
        if len(later) > 40 or (later and self.random.random() < 0.3):
            i = int(self.random.random() * len(later))
            lines = later[i]
            line = lines.pop(0)
            if not lines:
                later[i] = later[-1]
                later.pop()
            return line
        self.pid = (self.pid + 1 + int(self.random.random() * 30)) % 4194304
        first, *rest = self.random.choice(self.kinds)()
        if rest:
            later.append(rest)
        return first

    def dovecot(self):
        one_in = self.random.random()
        user, client = self.random.choice(self.users), self.random.choice(self.clients)
        session = f"{self.random.getrandbits(48):012x}KTQAL"
        read = int(one_in * 1e7) % 90000
        login = (f"Login: user=<{user}>, method=PLAIN, rip={client}, lip=10.77.0.1, "
                 f"mpid={self.pid}, TLS, session=<{session}>\n")
        if one_in < 0.3:
            return (f"dovecot: pop3-login: {login}",
                    f"dovecot: pop3({user})<{self.pid}><{session}>: Disconnected: Logged out "
                    f"top=0/0, retr=2/{read}, del=0/3, size=2364\n")
        return (f"dovecot: imap-login: {login}",
                f"dovecot: imap({user})<{self.pid}><{session}>: Disconnected: Logged out in=80 "
                f"out={read} deleted=0 expunged=0 trashed=0 hdr_count=0 hdr_bytes=0 body_count=2 "
                f"body_bytes=1576\n")

    def classic(self):
        name, domain = self.random.choice(self.users).split("@")
        client = self.random.choice(self.clients)
        if self.random.random() < 0.5:
            program = f"vm-pop3d[{self.pid}]:"
            return (f"{program} Connect from {client}\n",
                    f"{program} User '{name}' of '{domain}' logged in with mailbox "
                    f"'/var/spool/virtual/{domain}/{name}'\n",
                    f"{program} Session ended for user: '{name}' of '{domain}'\n")
        program = f"imapd[{self.pid}]:"
        return (f"{program} imap service init from {client}\n",
                f"{program} Login user={name} auth={name} host=[{client}]\n",
                f"{program} Logout user={name} host=[{client}]\n")

    def refused(self):
        user, client = self.random.choice(self.users), self.random.choice(self.clients)
        if self.random.random() < 0.5:
            return (f"dovecot: imap-login: Disconnected (auth failed, 1 attempts in 2 secs): "
                    f"user=<{user}>, method=PLAIN, rip={client}, lip=10.77.0.1, TLS: "
                    f"Disconnected, session=<{self.random.getrandbits(48):012x}KTQAL>\n",)
        return (f"postfix/smtpd[{self.pid}]: warning: unknown[{client}]: SASL LOGIN authentication "
                f"failed: UGFzc3dvcmQ6, sasl_username={user}\n",)

    def delivery(self):
        user, client = self.random.choice(self.users), self.random.choice(self.clients)
        queue = f"{self.random.getrandbits(40):010X}"
        return (f"postfix/smtpd[{self.pid}]: connect from client{self.pid}.example[{client}]\n",
                f"postfix/smtpd[{self.pid}]: {queue}: client=client{self.pid}.example[{client}], "
                f"sasl_method=PLAIN, sasl_username={user}\n",
                f"postfix/cleanup[{self.pid + 3}]: {queue}: message-id=<{queue}.{client}@mx>\n",
                f"postfix/qmgr[812]: {queue}: from=<{user}>, size=28114, nrcpt=1 (queue active)\n",
                f"postfix/smtp[{self.pid + 5}]: {queue}: to=<{self.random.choice(self.users)}>, "
                f"relay=mx1.example[{client}]:25, delay=1.3, delays=0.1/0.01/0.6/0.6, dsn=2.0.0, "
                f"status=sent (250 2.0.0 Ok: queued as {queue})\n",
                f"postfix/qmgr[812]: {queue}: removed\n")

    def exim(self):
        user, client = self.random.choice(self.users), self.random.choice(self.clients)
        queue = f"1tE{self.pid:06d}-0000Qk-{self.pid % 90 + 10}"
        return (f"exim[{self.pid}]: {queue} <= {user} H=client{self.pid}.example [{client}] "
                f"P=esmtpsa X=TLS1.3:TLS_AES_256_GCM_SHA384:256 A=plain_server:{user} S=4179\n",
                f"exim[{self.pid}]: {queue} Completed\n")

    def cron(self):
        return (f"CRON[{self.pid}]: (root) CMD (test -x /usr/sbin/greylist && "
                f"/usr/sbin/greylist --expire --quiet)\n",)


def write_traffic(file, count, now, seed=1):
    """A log of `count` lines, the past days of a server."""
    traffic = Traffic(seed)
    begin, end = old_times(now)
    step = (end - begin) / count
    second, head = 0, ""
    for i in range(count):
        when = int(begin + i * step)
        if when != second:
            second, head = when, stamp(when)
        file.write(head + traffic.next())


def addresses(count, seed=1):
    """Different addresses in no order."""
    numbers = random.Random(seed).sample(range(1 << 24, 127 << 24), count)
    return [f"{n >> 24}.{n >> 16 & 255}.{n >> 8 & 255}.{n & 255}" for n in numbers]


def login(when, address, user, number=0):
    return (f"{stamp(when)}dovecot: imap-login: Login: user=<{user}>, method=PLAIN, rip={address}, "
            f"lip=10.77.0.1, mpid={number}, TLS, session=<{number:012x}KTQAL>\n")


def write_logins(file, count, when, seed=1):
    """Logins of one second from `count` addresses, two of each user."""
    for i, address in enumerate(addresses(count, seed)):
        file.write(login(when, address, f"user{i // 2}", i))


def write_sessions(file, count, when):
    """Classic sessions whose ends are missing: each process connects and logs in."""
    for i, address in enumerate(addresses(count)):
        program = f"{stamp(when)}vm-pop3d[{1000 + 13 * i}]:"
        file.write(f"{program} Connect from {address}\n"
                   f"{program} User 'user{i}' of 'dom{i % 400}.example' logged in with mailbox\n")


def write_connects(file, count, when):
    """Classic processes that connect, and then end in the same order."""
    for message in ("Connect from 192.0.2.7", "Session ended"):
        file.writelines(f"{stamp(when)}vm-pop3d[{pid}]: {message}\n" for pid in range(count))


def write_ends(file, count, when, domains):
    """Ends of sessions of one second, each with a record of traffic."""
    head = stamp(when)
    for i in range(count):
        file.write(f"{head}dovecot: imap(user{i}@dom{i % domains}.example)<{i}><{i:012x}KTQAL>: "
                   f"Disconnected: Logged out in=80 out={2000 + i} deleted=0 expunged=0\n")
