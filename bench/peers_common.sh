# The common start of the peers_*.sh scripts, sourced by them after `set -eu`
# with their own arguments: the build folder ($1, default build/native), the
# number of runs (RUNS, default $default_runs or 3), kv_bench and
# ImageMagick's convert found, a scratch folder $work removed on exit, and
# cpu: the CPU seconds (user + sys) of a command, the best of $runs.
# Not a script of its own: bench/peers.sh runs only the executable ones.
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/native}
runs=${RUNS:-${default_runs:-3}}
bench=$build/bench/kv_bench
convert=/usr/bin/convert

[ -x "$bench" ] || { echo "kv_bench not found in $build" >&2; exit 1; }
[ -x "$convert" ] || { echo "ImageMagick's convert not found" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cpu() {
    best=""
    i=0
    while [ $i -lt "$runs" ]; do
        /usr/bin/time -o "$work/time" -f '%U %S' "$@" >/dev/null 2>&1 || true
        t=$(tail -n 1 "$work/time" | awk '{ printf "%.3f", $1 + $2 }')
        if [ -z "$best" ] || awk "BEGIN { exit !($t < $best) }"; then best=$t; fi
        i=$((i + 1))
    done
    echo "$best"
}
