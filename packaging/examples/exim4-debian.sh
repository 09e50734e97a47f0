#!/bin/sh
# Exim with Debian's own configuration: hosts that have logged in by POP3 or IMAP lately may relay,
# beside those that may already. Run it as root.
set -e
conf=/etc/exim4/update-exim4.conf.conf
grep -q /etc/virtual/pophosts $conf || sed -i "s|^dc_relay_nets='\(.*\)'|dc_relay_nets='\1 ; /etc/virtual/pophosts'|
        s|^dc_relay_nets=' ; |dc_relay_nets='|" $conf
update-exim4.conf
! pidof exim4 >/dev/null || service exim4 reload  # it reads its configuration once
