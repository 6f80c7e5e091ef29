#!/usr/bin/env bash
# print-queue.sh start|stop DIR: a private CUPS scheduler listening on DIR/sock
# with two PostScript queues that write each job to a file:
#   kvcolour -> DIR/out/kvcolour.ps (a colour PostScript printer)
#   kvmono   -> DIR/out/kvmono.ps   (the same printer, monochrome)
# and a second one without any printer on DIR/empty/sock. Clients find them
# through CUPS_SERVER. "stop" ends both by the pids kept and leaves nothing running.
set -u
cmd=${1:-}
dir=${2:-}
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }
mkdir -p "$dir"
dir=$(cd "$dir" && pwd)

stop_one() {  # ROOT
  [ -f "$1/cupsd.pid" ] || return 0
  local pid
  pid=$(cat "$1/cupsd.pid")
  if [ -n "$pid" ] && kill "$pid" 2>/dev/null; then
    for _ in $(seq 1 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  fi
  rm -f "$1/cupsd.pid"
}
stop() { stop_one "$dir"; stop_one "$dir/empty"; }

# Writes the configuration of a scheduler under ROOT and starts it there.
start_one() {  # ROOT
  local root=$1
  rm -rf "$root/spool" "$root/cache" "$root/state" "$root/log" "$root/ppd" "$root/out"
  mkdir -p "$root/spool/tmp" "$root/cache" "$root/state/certs" "$root/log" "$root/ppd" "$root/out"
  cat >"$root/cupsd.conf" <<CONF
Listen $root/sock
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
  cat >"$root/cups-files.conf" <<CONF
FileDevice Yes
ServerRoot $root
RequestRoot $root/spool
TempDir $root/spool/tmp
CacheDir $root/cache
StateDir $root/state
AccessLog $root/log/access_log
ErrorLog $root/log/error_log
PageLog $root/log/page_log
User lp
Group lp
CONF
  # The scheduler runs its jobs as lp: the folders it writes must be lp's.
  chown -R lp:lp "$root/spool" "$root/cache" "$root/state" "$root/log" "$root/ppd" "$root/out" 2>/dev/null || true
  chmod 0755 "$root"
  /usr/sbin/cupsd -t -c "$root/cupsd.conf" -s "$root/cups-files.conf" >"$root/check.log" 2>&1 \
    || { echo "print-queue: cupsd refuses its configuration:" >&2; cat "$root/check.log" >&2; return 1; }
  # In the foreground of a process of its own, so that its pid is known and kept.
  setsid /usr/sbin/cupsd -f -c "$root/cupsd.conf" -s "$root/cups-files.conf" </dev/null >"$root/cupsd.out" 2>&1 &
  echo $! >"$root/cupsd.pid"
  for _ in $(seq 1 100); do [ -S "$root/sock" ] && return 0; sleep 0.1; done
  echo "print-queue: cupsd did not open $root/sock" >&2
  tail -5 "$root/log/error_log" >&2
  return 1
}

if [ "$cmd" = stop ]; then stop; exit 0; fi
[ "$cmd" = start ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }
stop
[ -x /usr/sbin/cupsd ] || { echo "print-queue: cupsd is not installed (package cups-daemon)" >&2; exit 1; }
command -v lpadmin >/dev/null || { echo "print-queue: lpadmin is not installed (package cups-client)" >&2; exit 1; }
mkdir -p "$dir/empty"
start_one "$dir" && start_one "$dir/empty" || { stop; exit 1; }

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
  && lpadmin -d kvcolour 2>>"$dir/lpadmin.log" \
  || { echo "print-queue: the queues were refused" >&2; cat "$dir/lpadmin.log" >&2; stop; exit 1; }
echo "print-queue: kvcolour and kvmono on $dir/sock, no printer on $dir/empty/sock"
