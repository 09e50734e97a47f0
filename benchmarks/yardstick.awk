# The daemon's job as a script would do it: reads a mail log once and writes both host files.
#
#   mawk -v hosts=HOSTS -v users=USERS -f yardstick.awk LOG

BEGIN {
  limit = systime() - 30 * 60
  year = strftime("%Y")
  n = split("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec", names)
  for (i = 1; i <= n; ++i) month[names[i]] = i
}

function is_fresh(    day, clock) {
  day = $1 $2
  if (!(day in midnight)) midnight[day] = mktime(year " " month[$1] " " $2 " 0 0 0")
  split($3, clock, ":")
  when = midnight[day] + clock[1] * 3600 + clock[2] * 60 + clock[3]
  return when >= limit
}

function admit(ip, name) {
  if (ip == "127.0.0.1" || ip !~ /^[0-9]+\.[0-9]+\.[0-9]+\.[0-9]+$/) return
  host[ip] = when
  user[ip] = name
}

$5 ~ /^dovecot/ {
  if ($7 != "Login:" || ($6 != "imap-login:" && $6 != "pop3-login:") || !is_fresh()) next
  split(substr($0, index($0, "<") + 1), name, ">")
  split(substr($0, index($0, " rip=") + 5), address, ",")
  admit(address[1], name[1])
  next
}

$5 ~ /^(vm-pop3d|imapd)/ {
  if ($6 == "Connect") process[$5] = $8
  else if ($6 == "imap" && $7 == "service") process[$5] = $10
  else if ($6 ~ /^(Session|Socket|Logout|Command|Fatal)/) delete process[$5]
  else if ($6 == "User" && is_fresh() && $5 in process) {
    split($0, quoted, "'")
    admit(process[$5], quoted[2] "@" quoted[4])
  } else if ($6 == "Login" && $7 ~ /^user=/ && is_fresh() && $5 in process)
    admit(process[$5], substr($7, 6))
}

END {
  printf "" > hosts
  printf "" > users
  for (ip in host) {
    print ip > hosts
    print ip ": " user[ip] > users
  }
}
