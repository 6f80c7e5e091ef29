#!/usr/bin/env bash
# screenshot-run.sh EXE [ARGS...]
#
# Runs the Windows program EXE under Wine on a private Xvfb display (for
# machines without a display), waits for its frame window and then until the
# screen has stopped changing (every window painted, a message box included),
# saves a picture of the whole screen as korvanta-screenshot.png in the current
# directory, prints that path, then ends the program and the display.
#
# ARGS that name existing files are passed as Windows paths (Z:\...); others,
# such as /NOLOGO, are passed as they are.
#
# Environment:
#   KV_WINEPREFIX    Wine prefix to use (default: wineprefix beside EXE, as the build keeps it)
#   KV_SHOT_SETTLE   seconds the screen must stay unchanged (default 1.5)
#   KV_SHOT_TIMEOUT  seconds to wait for the frame, and again for the screen to settle (default 60)
#   KV_SHOT_OUTPUT   output file (default ./korvanta-screenshot.png)
set -eu

if [ $# -lt 1 ]; then
  echo "usage: $0 EXE [ARGS...]" >&2
  exit 2
fi

here=$(cd "$(dirname "$0")" && pwd)
exe=$(realpath "$1")
shift
[ -f "$exe" ] || { echo "$0: no such program: $exe" >&2; exit 2; }
prefix=$(realpath -m "${KV_WINEPREFIX:-$(dirname "$exe")/wineprefix}")
settle=${KV_SHOT_SETTLE:-1.5}
timeout=${KV_SHOT_TIMEOUT:-60}
output=$(realpath -m "${KV_SHOT_OUTPUT:-korvanta-screenshot.png}")
title=Korvanta

for tool in Xvfb import xwininfo; do
  command -v "$tool" >/dev/null || { echo "$0: $tool is missing" >&2; exit 2; }
done

work=$(mktemp -d)
xvfb_pid=
program_pid=
x11_key=
cleanup() {
  if [ -n "$program_pid" ]; then
    WINEPREFIX=$prefix wineserver -k >/dev/null 2>&1 || true
    wait "$program_pid" 2>/dev/null || true
  fi
  if [ -n "$x11_key" ]; then
    "$here/wine-run" "$prefix" reg delete "$x11_key" /v Managed /f >/dev/null 2>&1 || true
  fi
  if [ -n "$xvfb_pid" ]; then
    kill "$xvfb_pid" 2>/dev/null || true
    wait "$xvfb_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# Xvfb picks a free display number itself and reports it on the given descriptor.
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$work/display" >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
for _ in $(seq 100); do
  [ -s "$work/display" ] && break
  kill -0 "$xvfb_pid" 2>/dev/null || { cat "$work/xvfb.log" >&2; echo "$0: Xvfb did not start" >&2; exit 1; }
  sleep 0.1
done
[ -s "$work/display" ] || { echo "$0: Xvfb gave no display number" >&2; exit 1; }
export DISPLAY=":$(tr -dc 0-9 <"$work/display")"

# Files given by their Unix names become Z:\ paths; switches stay as they are.
args=()
for arg in "$@"; do
  if [ -e "$arg" ]; then
    full=$(realpath "$arg")
    args+=("Z:${full//\//\\}")
  else
    args+=("$arg")
  fi
done

# Without a window manager Wine should draw the frame's caption itself, and
# then closing doesn't wait for a manager. The setting, for this program file
# only, is taken away again at the end unless it was there before.
key="HKCU\\Software\\Wine\\AppDefaults\\$(basename "$exe")\\X11 Driver"
if ! "$here/wine-run" "$prefix" reg query "$key" /v Managed >/dev/null 2>&1; then
  "$here/wine-run" "$prefix" reg add "$key" /v Managed /d N /f >/dev/null 2>&1 && x11_key=$key
fi

"$here/wine-run" "$prefix" "$exe" "${args[@]}" >"$work/program.log" 2>&1 &
program_pid=$!

deadline=$((SECONDS + timeout))
# xwininfo lists each window as: id "title": ("name" "class") ...
until xwininfo -root -tree 2>/dev/null | grep -Eq "\"$title( - [^\"]*)?\":"; do
  if ! kill -0 "$program_pid" 2>/dev/null; then
    cat "$work/program.log" >&2
    echo "$0: the program ended before its window appeared" >&2
    exit 1
  fi
  if [ $SECONDS -ge $deadline ]; then
    echo "$0: no \"$title\" window after ${timeout}s" >&2
    exit 1
  fi
  sleep 0.5
done

# The picture is taken once the screen has looked the same for the settle
# time: windows that appear after the frame, such as a message box, and their
# painting are then in it. The screen is read with ImageMagick's import, which
# takes the pixels as they are shown; xwd reads each window through its own
# colormap and leaves a window lying wholly inside another one of the same
# Wine process black.
shoot() { import -silent -window root "ppm:$1"; }
poll=0.25
needed=$(awk -v s="$settle" -v p="$poll" 'BEGIN { n = int(s / p + 0.999); print n < 1 ? 1 : n }')
deadline=$((SECONDS + timeout))
same=0
shoot "$work/screen.ppm"
while [ $same -lt "$needed" ] && [ $SECONDS -lt $deadline ]; do
  sleep "$poll"
  shoot "$work/next.ppm"
  if cmp -s "$work/screen.ppm" "$work/next.ppm"; then
    same=$((same + 1))
  else
    same=0
    mv "$work/next.ppm" "$work/screen.ppm"
  fi
done
[ $same -ge "$needed" ] || echo "$0: the screen still changed after ${timeout}s; taking it as it is" >&2
convert "ppm:$work/screen.ppm" "png:$output"
echo "$output"
