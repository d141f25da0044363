# Shared by the scripts that run a command in surroundings of its own (a directory server, a Windows prefix); source
# it. The surroundings live in a temporary folder, a server on a loopback address that nobody else uses, and end with
# the command, whatever happens.
# shellcheck shell=bash
set -euo pipefail

servers=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/ws_admin
base=DC=vdi,DC=talvex,DC=int
password=Passw0rd.Test
work="" server_pid="" command_pid="" address_lock=""
mkdir -p "$cache"

die() { echo "$(basename "$0"): $*" >&2; exit 70; }

# Unix sockets live in there, so the path has to be short: /tmp, not TMPDIR.
make_work() { work=$(mktemp -d "/tmp/ws-$1.XXXXXX"); }

listens() { (exec 3<>"/dev/tcp/$1/$2") 2>/dev/null; }

# claim_address PORT: sets address to one of the loopback addresses that are the tests' own. Its lock is held for as
# long as this script or its server lives.
claim_address() {
    local locks=/tmp/ws_admin-addresses-$(id -u) i
    mkdir -p "$locks"
    for i in {1..20}; do
        address=127.77.0.$i
        exec {address_lock}>"$locks/$address"
        if flock -n "$address_lock" && ! listens "$address" "$1"; then return; fi
        exec {address_lock}>&-
    done
    die "port $1 is taken on all of 127.77.0.1 to 127.77.0.20"
}

# pristine NAME HASH FUNCTION: sets copy to the cached folder that FUNCTION FOLDER fills, made once for a hash.
pristine() {
    copy=$cache/$1-$2
    [ -d "$copy" ] && { touch "$copy"; return; }
    exec {build_lock}>"$cache/$1.lock"
    flock "$build_lock"
    if [ ! -d "$copy" ]; then
        local fresh
        fresh=$(mktemp -d "$cache/$1-build.XXXXXX")
        "$3" "$fresh" >"$work/build.log" 2>&1 || { tail -n 20 "$work/build.log" >&2; rm -rf "$fresh"; die "cannot build $1"; }
        mv "$fresh" "$copy"
        find "$cache" -maxdepth 1 -type d -name "$1-*" -mtime +7 -exec rm -rf {} +
    fi
    exec {build_lock}>&-
}

# start PROGRAM...: runs the server so that it dies with this script even when nobody can stop it any more.
start() {
    setpriv --pdeathsig TERM "$@" </dev/null >"$work/server.log" 2>&1 &
    server_pid=$!
}

# wait_for PORT: until the server answers on its address.
wait_for() {
    local i
    for ((i = 0; i < 600; ++i)); do
        kill -0 "$server_pid" 2>/dev/null || { tail -n 20 "$work/server.log" >&2; die "the server ended at once"; }
        if listens "$address" "$1"; then return; fi
        sleep 0.05
    done
    die "the server does not answer on $address:$1"
}

# write_configuration USER: hdqadmin's configuration file for the running server, with a simple bind.
write_configuration() {
    export WS_TEST_CONFIG=$work/hdqadmin.toml
    cat >"$WS_TEST_CONFIG" <<END
[directory]
host = "$address"
port = $WS_TEST_LDAP_PORT
method = "simple"
user = "$1"
password = "$password"
END
    chmod 600 "$WS_TEST_CONFIG"
}

end_process() {
    local i
    [ -n "$1" ] || return 0
    kill "$1" 2>/dev/null || return 0
    for ((i = 0; i < 100; ++i)); do
        kill -0 "$1" 2>/dev/null || break
        sleep 0.05
    done
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

# What a script has to end beside its command and its server.
at_end() { :; }

finish() {
    trap '' INT TERM HUP
    end_process "$command_pid"
    end_process "$server_pid"
    at_end
    [ -z "$work" ] || rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# run COMMAND...: with the command's exit status. In the background, so that a signal reaches this script at once.
run() {
    local status=0
    [ -n "$address_lock" ] || exec {address_lock}</dev/null
    setpriv --pdeathsig TERM "$@" <&0 {address_lock}>&- &
    command_pid=$!
    wait "$command_pid" || status=$?
    command_pid=""
    return "$status"
}
