#!/usr/bin/env bash
# print-queue.sh start|stop DIR: a private CUPS scheduler listening on DIR/sock
# with two PostScript queues that write each job to a file:
#   kvcolour -> DIR/out/kvcolour.ps (a colour PostScript printer)
#   kvmono   -> DIR/out/kvmono.ps   (the same printer, monochrome)
# Clients find it through CUPS_SERVER=DIR/sock. "stop" ends the scheduler by
# the pid it wrote and leaves nothing running.
set -u
cmd=${1:-}
dir=${2:-}
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)

stop() {
  [ -f "$dir/cupsd.pid" ] || return 0
  local pid
  pid=$(cat "$dir/cupsd.pid")
  if [ -n "$pid" ] && kill "$pid" 2>/dev/null; then
    for _ in $(seq 1 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  fi
  rm -f "$dir/cupsd.pid"
}

if [ "$cmd" = stop ]; then stop; exit 0; fi
[ "$cmd" = start ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }
stop
command -v /usr/sbin/cupsd >/dev/null || { echo "print-queue: cupsd is not installed (package cups-daemon)" >&2; exit 1; }
command -v lpadmin >/dev/null || { echo "print-queue: lpadmin is not installed (package cups-client)" >&2; exit 1; }

rm -rf "$dir/spool" "$dir/cache" "$dir/state" "$dir/log" "$dir/ppd" "$dir/out"
mkdir -p "$dir/spool/tmp" "$dir/cache" "$dir/state/certs" "$dir/log" "$dir/ppd" "$dir/out"
cat >"$dir/cupsd.conf" <<CONF
Listen $dir/sock
WebInterface No
DefaultAuthType None
LogLevel warn
MaxJobs 0
PreserveJobFiles No
<Location />
  Allow all
</Location>
<Location /admin>
  Allow all
</Location>
<Policy default>
  <Limit All>
    Allow all
  </Limit>
</Policy>
CONF
cat >"$dir/cups-files.conf" <<CONF
FileDevice Yes
ServerRoot $dir
RequestRoot $dir/spool
TempDir $dir/spool/tmp
CacheDir $dir/cache
StateDir $dir/state
AccessLog $dir/log/access_log
ErrorLog $dir/log/error_log
PageLog $dir/log/page_log
User lp
Group lp
CONF
# The scheduler runs its jobs as lp: the folders it writes must be lp's.
chown -R lp:lp "$dir/spool" "$dir/cache" "$dir/state" "$dir/log" "$dir/ppd" "$dir/out" 2>/dev/null || true
chmod 0755 "$dir"
/usr/sbin/cupsd -t -c "$dir/cupsd.conf" -s "$dir/cups-files.conf" >"$dir/check.log" 2>&1 \
  || { echo "print-queue: cupsd refuses its configuration:" >&2; cat "$dir/check.log" >&2; exit 1; }
# In the foreground of a process of its own, so that its pid is known and kept.
setsid /usr/sbin/cupsd -f -c "$dir/cupsd.conf" -s "$dir/cups-files.conf" </dev/null >"$dir/cupsd.out" 2>&1 &
echo $! >"$dir/cupsd.pid"
for _ in $(seq 1 100); do [ -S "$dir/sock" ] && break; sleep 0.1; done
[ -S "$dir/sock" ] || { echo "print-queue: cupsd did not open $dir/sock" >&2; tail -5 "$dir/log/error_log" >&2; stop; exit 1; }
export CUPS_SERVER=$dir/sock
lpadmin -p kvcolour -E -v "file://$dir/out/kvcolour.ps" -m drv:///sample.drv/generic.ppd 2>>"$dir/lpadmin.log" \
  || { echo "print-queue: the colour queue was refused" >&2; cat "$dir/lpadmin.log" >&2; stop; exit 1; }
# Both printers print at 600 dots per inch; the monochrome one is the same
# printer with its colour switched off. Like the PostScript drivers of
# Windows, they give every job the short operators bd, gs, gr and CB, which
# Wine's driver does not define: the spooler puts them in each job's prolog.
[ -s "$dir/ppd/kvcolour.ppd" ] || { echo "print-queue: cupsd wrote no PPD for kvcolour" >&2; stop; exit 1; }
{ grep -v '^\*DefaultResolution' "$dir/ppd/kvcolour.ppd"; echo '*DefaultResolution: 600dpi'
  echo '*JobPatchFile 1: "/bd {bind def} bind def /gs {gsave} bd /gr {grestore} bd /CB {4 2 roll rectclip} bd"'; } >"$dir/colour.ppd"
sed 's/^\*ColorDevice:.*/*ColorDevice: False/' "$dir/colour.ppd" >"$dir/mono.ppd"
lpadmin -p kvcolour -P "$dir/colour.ppd" 2>>"$dir/lpadmin.log" \
  && lpadmin -p kvmono -E -v "file://$dir/out/kvmono.ps" -P "$dir/mono.ppd" 2>>"$dir/lpadmin.log" \
  || { echo "print-queue: the queues were refused" >&2; cat "$dir/lpadmin.log" >&2; stop; exit 1; }
lpadmin -d kvcolour
echo "print-queue: kvcolour and kvmono on $dir/sock"
