#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test; ends with the totals and fails when anything
# failed. --quick: the native unit tests, formatting and walls; no server, no Wine, no sanitizers, and neither the sweep of
# failing calls nor the walks through a federation, which take as long as all others. Tests that have passed on the same
# files and packages are not run again; --again runs them all the same.
# The linter is a command of its own, because it takes longer than everything else: scripts/lint.py.
set -uo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cd "$root" || exit 1
quick="" again=""
for word; do
    case $word in
    --quick) quick=1 ;;
    --again) again=1 ;;
    *) echo "usage: ./test.sh [--quick] [--again]" >&2; exit 2 ;;
    esac
done
git rev-parse HEAD >/dev/null 2>&1 || again=1  # without it nobody knows which files are the tree's
exec </dev/null

# What the outcome of the tests depends on: the tree's files, as they were at the start, and the machine's packages.
files=$(git ls-files -coz --exclude-standard 2>&1 | sort -z | xargs -0 sha256sum 2>&1 | sha256sum)
state() { echo "$files" "$(sha256sum /var/lib/dpkg/status)"; }
results=$root/build/results
before=$root/build/results-before
rm -rf "$before"
[ -z "$again" ] && [ -f "$results/state" ] && [ "$(cat "$results/state")" = "$(state)" ] && mv "$results" "$before"
rm -rf "$results"
mkdir -p "$results"
pod=tests/servers/with-pod
wine=tests/servers/with-wine
all_cpu=0

# stage NAME COMMAND...: runs one stage into its log and tells how long it took and what processor time (user and
# system) its processes needed; the log of a failed stage is shown.
stage() {
    local name=$1 start=$SECONDS status=0 cpu TIMEFORMAT='%0U %0S'
    shift
    printf '%-22s' "$name"
    cpu=$({ time "$@" >"$results/$name.log" 2>&1; } 2>&1) || status=$?
    cpu=$((${cpu/ / + }))
    all_cpu=$((all_cpu + cpu))
    printf '%-8s%4d s%6d s cpu\n' "$([ $status = 0 ] && echo ok || echo FAILED)" $((SECONDS - start)) $cpu
    [ $status = 0 ] || sed 's/^/    /' "$results/$name.log" | tail -n 200
    return $status
}

# check NAME COMMAND...: a stage that is one test by itself.
check() {
    local status=0
    stage "$@" || status=$?
    printf '%s\t%s\n' "$1" "$([ $status = 0 ] && echo passed || echo failed)" >>"$results/checks.txt"
    return $status
}

# tests NAME PRESET LAUNCHER ARGUMENTS...: the preset's tests, started by the launcher (a command prefix or "").
tests() {
    local name=$1 preset=$2 launcher=$3
    shift 3
    if [ -f "$before/$name.passed" ]; then
        cp -a "$before/$name" "$before/$name".* "$results/"
        printf '%-22sas before\n' "$name"
        return 0
    fi
    # Only programs that are one test each leave a list of their cases; natively each case is a test.
    mkdir -p "$results/$name"
    local reports=$results/$name/
    [ "$preset" = windows ] && reports=Z:$reports
    # shellcheck disable=SC2086 # the launcher is several words
    stage "$name" env GTEST_OUTPUT="xml:$reports" $launcher ctest --test-dir "build/$preset" -j"$(nproc)" \
        --output-on-failure --no-tests=error --output-junit "$results/$name.xml" "$@" && touch "$results/$name.passed"
}

build() { check "build-$1" scripts/build.sh --configure "$1"; }

if [ -n "$quick" ]; then
    check packages scripts/install-packages.sh build test
    check format scripts/format.sh --check
    check walls tests/walls.py
    build native && tests unit-quick native "" -LE integration -E 'Sweep|FederationWalks'
else
    check packages scripts/install-packages.sh build test
    check format scripts/format.sh --check
    check walls tests/walls.py
    build native && tests unit native "$pod" -LE integration
    build windows && tests unit-windows windows "$wine $pod" -LE integration
    [ -x build/native/bin/hdqadmin ] && [ -f build/windows/bin/hdqadmin.exe ] &&
        tests integration native "$wine $pod tests/servers/with-corp" -L integration
    [ -x build/native/bin/hdqadmin ] &&
        GTEST_FILTER='*native_samba_maintenance*:*native_samba_domain_lists*' tests integration-openldap native tests/servers/with-slapd -L integration
    build native-asan && tests unit-asan native-asan "$pod" -LE integration
    # The thread sanitizer wants the addresses where it expects them.
    fixed=""
    setarch -R true 2>/dev/null && fixed="setarch -R"
    build native-tsan && tests unit-tsan native-tsan "$fixed $pod" -LE integration
fi

state >"$results/state"
printf '%-30s%4d s%6d s cpu\n\n' "" $SECONDS $all_cpu
exec scripts/totals.py "$results"
