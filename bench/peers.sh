#!/bin/sh
# Runs every side-by-side comparison with the peer tools (ImageMagick,
# netpbm) on the same images in one go. Each peers_*.sh prints its own table
# of times and ratios. Usage: bench/peers.sh [build-dir] (default build/native).
set -u
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-$here/../build/native}
status=0
for script in "$here"/peers_*.sh; do
  [ -x "$script" ] || continue
  echo "== $(basename "$script")"
  "$script" "$build" || status=1
done
exit $status
