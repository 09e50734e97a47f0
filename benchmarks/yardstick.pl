# The daemon's job as a script would do it: reads a mail log once and writes both host files.
#
#   perl yardstick.pl LOG HOSTS USERS [sweep]
#
# With `sweep` all hosts are then let go of; prints the seconds of CPU that this alone took.
use strict;
use warnings;
use Time::HiRes;
use Time::Local;

my ($log, $hosts, $users, $sweep) = @ARGV;
my $limit = time - 30 * 60;
my $year = (localtime)[5];
my $number = 0;
my %month = map { $_ => $number++ } qw(Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec);
my (%midnight, %process, %host, %user);

sub admit {
  my ($ip, $name, $when) = @_;
  return if $ip eq '127.0.0.1' || $ip !~ /^\d{1,3}(?:\.\d{1,3}){3}$/;
  $host{$ip} = $when;
  $user{$ip} = $name;
}

sub write_files {
  open my $out, '>', $hosts or die "$hosts: $!";
  print $out "$_\n" for keys %host;
  close $out;
  open $out, '>', $users or die "$users: $!";
  print $out "$_: $user{$_}\n" for keys %user;
  close $out;
}

open my $in, '<', $log or die "$log: $!";
while (<$in>) {
  my ($mon, $day, $h, $m, $s, $program, $pid, $message) =
    /^(\w{3}) +(\d+) (\d\d):(\d\d):(\d\d) \S+ (dovecot|vm-pop3d|imapd)(?:\[(\d+)\])?: (.*)/ or next;
  if ($program eq 'dovecot') {
    next if $message !~ /^(?:imap|pop3)-login: Login: /;
  } elsif ($message =~ /^Connect \S+ (\S+)/ || $message =~ /^imap service init \S+ (\S+)/) {
    $process{$pid} = $1;
    next;
  } elsif ($message =~ /^(?:Session|Socket|Logout|Command stream end of file|Fatal error)/) {
    delete $process{$pid};
    next;
  } elsif ($message !~ /^(?:User|Login user=)/) {
    next;
  }
  my $start = $midnight{"$mon $day"} //= timelocal(0, 0, 0, $day, $month{$mon}, $year);
  my $when = $start + $h * 3600 + $m * 60 + $s;
  next if $when < $limit;
  if ($program eq 'dovecot') {
    admit($2, $1, $when) if $message =~ /user=<([^>]*)>.* rip=([^,]*),/;
  } elsif (my $ip = $process{$pid}) {
    if ($message =~ /^User '([^']*)' of '([^']*)'/) { admit($ip, "$1\@$2", $when) }
    elsif ($message =~ /^Login user=(\S+)/) { admit($ip, $1, $when) }
  }
}
write_files();
exit unless $sweep;

my $before = Time::HiRes::clock();
for my $ip (keys %host) {
  next if $host{$ip} >= $limit + 24 * 3600;
  delete $host{$ip};
  delete $user{$ip};
}
write_files();
print Time::HiRes::clock() - $before, "\n";
