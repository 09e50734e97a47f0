#!/bin/sh
# Postfix: hosts that have logged in by POP3 or IMAP lately may relay. Run it as root.
set -e
# Postfix refuses all mail while a file that it is to read is missing.
[ -e /etc/virtual/pophosts ]
postconf -e 'mynetworks = 127.0.0.0/8 [::1]/128 /etc/virtual/pophosts'
postconf -e 'smtpd_relay_restrictions = permit_mynetworks permit_sasl_authenticated defer_unauth_destination'
# A process reads the file when it starts: so that a new connection sees each change, each gets a
# process of its own. Dearer by some milliseconds a connection.
postconf -P 'smtp/inet/max_use=1'
postfix reload
