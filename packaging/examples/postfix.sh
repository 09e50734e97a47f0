#!/bin/sh
# Postfix: clients that have logged in by POP3 or IMAP lately may relay. Run it as root:
#
#   sh postfix.sh        adds what is needed to the settings that there are, once
#   sh postfix.sh undo   removes what it has added, and nothing else
#
# It asks nothing and says what it does. Where it cannot do its work it says why, changes nothing
# and returns 1. What it adds beside the name of the host file begins with "pophosts_": by these
# names undo knows it again.
# shellcheck disable=SC2016  # Postfix replaces the names in single quotes
set -euf

hosts=/etc/virtual/pophosts

refuse() {
  echo "postfix.sh: $*. Nothing has been changed." >&2
  exit 1
}

of_service() { postconf -Ph "$1" 2>/dev/null; } # SERVICE/TYPE/PARAMETER; empty if it has none
words() { printf ' %s ' "$(postconf -xh "$1" | tr ',\t' '  ')"; }
has() { case $(words "$1") in *" $2 "*) ;; *) return 1 ;; esac }

# The services that run smtpd: on port 25, behind postscreen, for submission, at one address...
smtpd_services() { postconf -F '*/*/command' | sed -n 's|/command = smtpd\( .*\)\?$||p'; }

refuse_what_is_not_handled() {
  command -v postconf >/dev/null || refuse "Postfix is not installed"
  others=$(postconf -h multi_instance_directories)
  [ -z "$others" ] || refuse "Postfix has several instances, which are not handled: $others"
  postfix status >/dev/null 2>&1 || refuse "Postfix does not run, or this is not root"
}

# Who relays by mynetworks must be decided by mynetworks.
refuse_other_services() {
  [ -f $hosts ] || refuse "$hosts is missing, and Postfix would refuse all mail"
  unknown=$(postconf -F '*/inet/command' | grep -E '^(.*:)?(smtp|25)/inet/' |
    grep -Ev '= (smtpd|postscreen)( |$)') || true
  [ -z "$unknown" ] || refuse "this service is neither smtpd nor postscreen: $unknown"
  [ -n "$(smtpd_services)" ] || refuse "no service in master.cf is an smtpd"
  for service in $(smtpd_services); do
    case $(of_service "$service/max_use") in
      '' | 1 | '$pophosts_max_use') ;;
      *) refuse "$service has a max_use of its own, which has to go" ;;
    esac
  done
}

# Lets mynetworks relay if it may not yet, provided that no network may relay by that as well.
plan_relaying() {
  ! has smtpd_relay_restrictions permit_mynetworks || return 0
  restrictions=$(postconf -h smtpd_relay_restrictions)
  if [ -z "$restrictions" ]; then
    has smtpd_recipient_restrictions permit_mynetworks ||
      refuse "smtpd_recipient_restrictions lacks permit_mynetworks, and smtpd_relay_restrictions is empty"
    return 0
  fi
  for network in $(words mynetworks); do
    case $network in
      127.* | '[::1]'* | '[::ffff:127.'* | "$hosts") ;;
      *) refuse "smtpd_relay_restrictions lacks permit_mynetworks; with it $network may relay too" ;;
    esac
  done
  ours=$(printf '%s' "$restrictions" | sed \
    's/\(^\|[ ,]\)\(\(reject\|defer\)\(_unauth_destination\)\?\([ ,]\|$\)\)/\1$pophosts_may_relay \2/')
  [ "$ours" != "$restrictions" ] ||
    refuse "smtpd_relay_restrictions lacks permit_mynetworks, and has no reject_unauth_destination"
  set_relaying=yes
}

set_up() {
  refuse_other_services
  set_relaying=no
  plan_relaying
  if [ $set_relaying = yes ]; then
    postconf -e 'pophosts_may_relay = permit_mynetworks' "smtpd_relay_restrictions = $ours"
    echo "smtpd_relay_restrictions: added permit_mynetworks, as \$pophosts_may_relay"
  fi
  if ! has mynetworks $hosts; then
    networks='$pophosts_networks'
    if postconf -n mynetworks | grep -q .; then
      networks=$(postconf -h mynetworks)
    else
      postconf -e "pophosts_networks = $(postconf -h mynetworks)"
    fi
    postconf -e "mynetworks = $networks $hosts"
    echo "mynetworks: added $hosts"
  fi
  for service in $(smtpd_services); do
    if [ -n "$(of_service "$service/mynetworks")" ]; then
      echo "$service: has its own mynetworks and stays as it is"
    elif [ -z "$(of_service "$service/max_use")" ]; then
      # A process reads the file when it starts, so each connection gets a process of its own.
      postconf -e 'pophosts_max_use = 1'
      postconf -P "$service/max_use=\$pophosts_max_use"
      echo "$service: a process for each connection"
    fi
    [ -z "$(of_service "$service/smtpd_relay_restrictions")" ] ||
      echo "$service: keeps its own smtpd_relay_restrictions, which decide there"
  done
}

undo() {
  if has mynetworks $hosts; then
    networks=$(postconf -h mynetworks | sed "s#^# #; s# $hosts\([ ,]\|\$\)#\1#; s#^ ##")
    if [ "$networks" = '$pophosts_networks' ]; then
      postconf -X mynetworks pophosts_networks
    else
      postconf -e "mynetworks = $networks"
    fi
    echo "mynetworks: removed $hosts"
  fi
  restrictions=$(postconf -h smtpd_relay_restrictions)
  ours=$(printf '%s' "$restrictions" | sed 's/$pophosts_may_relay //')
  if [ "$ours" != "$restrictions" ]; then
    postconf -e "smtpd_relay_restrictions = $ours"
    echo "smtpd_relay_restrictions: removed permit_mynetworks"
  fi
  for service in $(smtpd_services); do
    if [ "$(of_service "$service/max_use")" = '$pophosts_max_use' ]; then
      postconf -PX "$service/max_use"
      echo "$service: processes serve many connections again"
    fi
  done
  postconf -X pophosts_may_relay pophosts_max_use
}

case ${1-} in
  '' | undo) ;;
  *) refuse "unknown word $1" ;;
esac
refuse_what_is_not_handled
before=$(postconf -n; postconf -M)
if [ -n "${1-}" ]; then undo; else set_up; fi
if [ "$(postconf -n; postconf -M)" = "$before" ]; then echo "Nothing had to be changed."; fi
postfix reload
