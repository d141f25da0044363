#!/usr/bin/env bash
# bench.sh [NAME...]: builds the benchmarks and runs them (all, or those programs), each measure beside its peer, and
# prints the ratio: ours / peer, below 1 where ours needs less. --quick: one short run each, to see that they work.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
effort=(--benchmark_repetitions=5 --benchmark_min_time=0.1 --benchmark_enable_random_interleaving=true)
quick=()
[ "${1:-}" = --quick ] && { effort=(--benchmark_min_time=0.01); quick=(--quick); shift; }

"$root/scripts/install-packages.sh" build test </dev/null
"$root/scripts/build.sh" --configure native benchmarks hdqadmin mfwhost ws_admin winauth </dev/null

results=$root/build/bench
rm -rf "$results"
mkdir -p "$results"
for program in "$root"/build/native/bench/*; do
    name=$(basename "$program")
    [ -x "$program" ] && [ -f "$program" ] || continue
    [ $# = 0 ] || [[ " $* " == *" $name "* ]] || continue
    echo "running $name" >&2
    # What measures servers gets a pod and the domain of its users, or OpenLDAP's server.
    launcher=()
    [[ $name != server_* ]] || launcher=("$root"/tests/servers/with-{pod,corp})
    [[ $name != slapd_* ]] || launcher=("$root"/tests/servers/with-slapd)
    "${launcher[@]}" "$program" --benchmark_out="$results/$name.json" --benchmark_out_format=json "${effort[@]}" \
        >"$results/$name.log" 2>&1 || { cat "$results/$name.log" >&2; exit 1; }
done
# Whole programs beside whole programs.
for program in "$root"/bench/*.py; do
    name=$(basename "$program" .py)
    [ $# = 0 ] || [[ " $* " == *" $name "* ]] || continue
    echo "running $name" >&2
    "$program" "$results/$name.json" "${quick[@]}" >"$results/$name.log" 2>&1 ||
        { cat "$results/$name.log" >&2; exit 1; }
done
exec "$root/scripts/ratios.py" "$results"
