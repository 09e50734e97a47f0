#!/bin/sh
# Exim with Debian's own configuration: clients that have logged in by POP3 or IMAP lately may
# relay. Run it as root:
#
#   sh exim4-debian.sh        adds the host file to dc_relay_nets, once
#   sh exim4-debian.sh undo   removes it, and nothing else
#
# It asks nothing and says what it does. Where it cannot do its work it says why, changes nothing
# and returns 1.
set -eu

hosts=/etc/virtual/pophosts
conf=/etc/exim4/update-exim4.conf.conf

refuse() {
  echo "exim4-debian.sh: $*. Nothing has been changed." >&2
  exit 1
}

setting() (
  # shellcheck source=/dev/null
  . $conf
  eval "printf '%s' \"\${$1-}\""
)

is_added() {
  case " $(setting dc_relay_nets | tr ':;' '  ') " in *" $hosts "*) ;; *) return 1 ;; esac
}

# The list keeps its separator, and the value its quotes; without quotes it gets some.
add() {
  case $(setting dc_relay_nets) in
    '') separator= ;;
    *';'*) separator=' ; ' ;;
    *) separator=' : ' ;;
  esac
  sed -i -E "/^dc_relay_nets=['\"]/! s|^(dc_relay_nets=)([^ #]*)|\1'\2'|
    s|^(dc_relay_nets=(['\"])[^'\"]*)|\1$separator$hosts|" $conf
}

remove() {
  sed -i -E "/^dc_relay_nets=/ {
    s# *[:;] *$hosts([ :;'\"])#\1#
    s#([='\"])$hosts *[:;]? *#\1#
  }" $conf
}

# Has Exim read the settings, and found what it is to find there?
takes_effect() {
  update-exim4.conf || return 1
  [ "$1" = undo ] || exim4 -bP +relay_from_hosts | grep -q "$hosts"
}

task=${1-add}
case $task in
  add | undo) ;;
  *) refuse "unknown word $task" ;;
esac
[ "$(id -u)" = 0 ] || refuse "only root can do that"
{ command -v update-exim4.conf && [ -f $conf ]; } >/dev/null ||
  refuse "this is not Exim with Debian's configuration"
[ "$(grep -c '^dc_relay_nets=' $conf)" = 1 ] || refuse "$conf does not have dc_relay_nets once"

before=$(cat $conf)
case $task in
  add)
    [ -f $hosts ] || refuse "$hosts is missing, and Exim would refuse all mail"
    is_added || add
    ;;
  undo) ! is_added || remove ;;
esac
takes_effect "$task" || {
  printf '%s\n' "$before" >$conf
  update-exim4.conf || true
  refuse "Exim does not use dc_relay_nets: an exim4.conf or a macro of yours overrides it"
}
[ "$(cat $conf)" != "$before" ] || echo "Nothing had to be changed."
echo "In $conf: $(grep '^dc_relay_nets=' $conf)"
[ "$(setting dc_eximconfig_configtype)" != local ] ||
  echo "Exim is set up to deliver on this host alone: see dpkg-reconfigure exim4-config"
# It reads its configuration when it starts.
if pidof exim4 >/dev/null; then service exim4 reload; else echo "Exim does not run."; fi
