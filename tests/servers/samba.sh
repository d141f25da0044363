# Shared by the scripts that run a Samba domain controller; source it. The caller says who that is: realm, domain, host
# (NetBIOS name), base (DN) and sid of the domain.
# shellcheck shell=bash disable=SC2154 # set by the caller
# shellcheck source=server.sh
. "$(dirname "${BASH_SOURCE[0]}")/server.sh"

# as_root ARGUMENTS...: the script again by sudo where this is not root; the command then runs as the caller.
as_root() {
    [ "$(id -u)" != 0 ] || return 0
    command -v sudo >/dev/null || die "needs root or sudo: Samba serves LDAP on port 389 only"
    exec sudo -E env PATH="$PATH" HOME=/root XDG_CACHE_HOME= WS_CALLER="$(id -u)" WS_CALLER_HOME="$HOME" bash "$0" "$@"
}

# configure FOLDER ADDRESS: everything that Samba writes stays in the folder.
configure() {
    mkdir -p "$1"/{etc,run/ncalrpc,cache,state,log}
    cat >"$1/etc/smb.conf" <<END
[global]
    netbios name = $host
    realm = $realm
    workgroup = $domain
    server role = active directory domain controller
    server services = ldap, kdc
    interfaces = $2/8
    bind interfaces only = yes
    private dir = $1/private
    state directory = $1/state
    cache directory = $1/cache
    lock directory = $1/run
    pid directory = $1/run
    ncalrpc dir = $1/run/ncalrpc
    binddns dir = $1/bind-dns
    log file = $1/log/samba.log
    log level = 0
    old password allowed period = 0
    ldap server require strong auth = no
    tls enabled = yes
    tls keyfile = $1/tls/key.pem
    tls certfile = $1/tls/certificate.pem
    tls cafile = $1/tls/certificate.pem
END
}

# make_certificate FOLDER ADDRESS: for the server's address and nothing else, signed by itself.
make_certificate() {
    mkdir -p "$1/tls"
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj "/CN=$host" \
        -addext "subjectAltName=IP:$2" -keyout "$1/tls/key.pem" -out "$1/tls/certificate.pem" >"$work/openssl.log" 2>&1 ||
        { cat "$work/openssl.log" >&2; die "cannot make a certificate"; }
    chmod 600 "$1/tls/key.pem"
}

# database TOOL FOLDER ARGUMENTS...: an ldb tool on the stopped server's database. The tools end without an error at a
# record that they cannot read, so the records of a given file are counted.
database() {
    local tool=$1 folder=$2 file=${*: -1} answer
    shift 2
    answer=$(SMB_CONF_PATH=$folder/etc/smb.conf "$tool" -H "$folder/private/sam.ldb" "$@" 2>&1) ||
        { echo "$answer"; return 1; }
    grep -q "ed $(grep -ci '^dn:' "$file") records" <<<"$answer" || { echo "$file: $answer"; return 1; }
}

# provision FOLDER: an empty domain, whose passwords never expire and whose server has Kerberos names by each of the
# addresses that it may get.
provision() {
    local folder=$1 i
    samba-tool domain provision --targetdir="$folder" --realm="$realm" --domain="$domain" --server-role=dc \
        --domain-sid="$sid" --dns-backend=NONE --host-name="$host" --adminpass="$password" || return
    configure "$folder" 127.0.0.1
    mkdir "$folder/ldif"
    {
        printf 'dn: %s\nchangetype: modify\nreplace: maxPwdAge\nmaxPwdAge: -9223372036854775808\n\n' "$base"
        printf 'dn: CN=%s,OU=Domain Controllers,%s\nchangetype: modify\nadd: servicePrincipalName\n' "$host" "$base"
        for i in localhost 127.77.0.{1..20}; do echo "servicePrincipalName: ldap/$i"; done
    } >"$folder/ldif/0-server.ldif"
    database ldbmodify "$folder" "$folder/ldif/0-server.ldif"
}

# take_copy: a copy of the pristine domain, for an address that is claimed for it.
take_copy() {
    claim_address 389
    cp -a "$copy" "$work/server"
    configure "$work/server" "$address"
    make_certificate "$work/server" "$address"
    cp "$work/server/tls/certificate.pem" "$work/ca.pem"
    export WS_TEST_LDAP_CA=$work/ca.pem
}

start_samba() {
    start samba --interactive --model=single --configfile="$work/server/etc/smb.conf"
    wait_for 389
}

# write_kerberos: the client's configuration, with what a caller's own had before.
write_kerberos() {
    local others=""
    [ -z "${WS_TEST_REALMS:-}" ] || others=$(<"$WS_TEST_REALMS")$'\n'
    printf '%s    %s = {\n        kdc = %s\n    }\n' "$others" "$realm" "$address" >"$work/realms"
    cat - "$work/realms" >"$work/krb5.conf" <<END
[libdefaults]
    default_realm = $realm
    dns_lookup_realm = false
    dns_lookup_kdc = false
    dns_canonicalize_hostname = false
    rdns = false
[realms]
END
    mkdir "$work/caller"
    export WS_TEST_REALMS=$work/realms KRB5_CONFIG=$work/krb5.conf KRB5CCNAME=FILE:$work/caller/tickets
}

# run_as_caller COMMAND...
run_as_caller() {
    if [ -n "${WS_CALLER:-}" ]; then
        chmod 755 "$work"
        chown "$WS_CALLER" "$work/caller" "$WS_TEST_CONFIG"
        set -- setpriv --reuid="$WS_CALLER" --regid="$(id -g "$WS_CALLER")" --init-groups \
            env -u XDG_CACHE_HOME -u WS_CALLER HOME="$WS_CALLER_HOME" "$@"
    fi
    run "$@"
}
