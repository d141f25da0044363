#!/usr/bin/env bash
# build.sh [--configure] PRESET [TARGET...]: configures where needed (--configure: in any case) and builds. Says nothing
# when nothing is to do; otherwise talks on standard error, so that a caller's standard output stays its own.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
configure=""
[ "${1:-}" = --configure ] && { configure=1; shift; }
preset=${1:?preset}
shift
folder=$root/build/$preset

# What a source includes is known from the compiler's list of dependencies, which saves preprocessing every source once
# more.
export CCACHE_DEPEND=${CCACHE_DEPEND:-1}

mkdir -p "$folder"
exec 9>"$folder/.build-lock"
flock 9
if [ -n "$configure" ] || [ ! -f "$folder/build.ninja" ] || [ "$root/CMakePresets.json" -nt "$folder/build.ninja" ]; then
    # CMake leaves an older build.ninja alone when nothing changed; the touch ends the comparison above.
    (cd "$root" && cmake --preset "$preset") >"$folder/.configure.log" 2>&1 9>&- && touch "$folder/build.ninja" ||
        { rm -f "$folder/build.ninja"; cat "$folder/.configure.log" >&2; exit 1; }
fi

# The first build takes a while: Ninja's moving line on a terminal. Later ones show only what fails.
cold=""
[ -f "$folder/.ninja_log" ] || cold=1
[ -z "$cold" ] || echo "building $preset" >&2
if [ -n "$cold" ] && [ -t 2 ]; then
    exec ninja -C "$folder" "$@" >&2 9>&-
fi
ninja -C "$folder" --quiet "$@" >"$folder/.build.log" 2>&1 9>&- || { cat "$folder/.build.log" >&2; exit 1; }
