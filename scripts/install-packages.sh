#!/usr/bin/env bash
# install-packages.sh [build|test]...: installs what is missing of the Debian packages that the project builds and
# tests with. build: the native build and the tool. test: also the cross build, Wine, the linters and the servers.
set -euo pipefail

build="g++ cmake ninja-build ccache libldap-dev libsasl2-dev libssl-dev libasio-dev nlohmann-json3-dev
       libtomlplusplus-dev libcli11-dev libexpected-dev libsasl2-modules-gssapi-mit"
test="googletest libgmock-dev libbenchmark-dev g++-mingw-w64-x86-64-posix wine wine64 samba samba-ad-dc
      samba-ad-provision samba-dsdb-modules ldb-tools ldap-utils krb5-user slapd openssl python3 perl make clang-format clang-tidy clang
      libclang-rt-14-dev"

wanted=""
for group in "${@:-build}"; do
    case $group in
    build) wanted+=" $build" ;;
    test) wanted+=" $build $test" ;;
    *) echo "install-packages.sh: unknown group '$group' (build, test)" >&2; exit 2 ;;
    esac
done

# One question for all of them; packages that the archive does not know are silent.
installed=" $(dpkg-query -W -f='${db:Status-Status}:${Package} ' $wanted 2>/dev/null || true)"
missing=""
for package in $wanted; do
    [[ $installed == *" installed:$package "* ]] || missing+=" $package"
done
[ -z "$missing" ] && exit 0

as_root=""
[ "$(id -u)" = 0 ] || as_root=sudo
[ -z "$as_root" ] || command -v sudo >/dev/null ||
    { echo "install-packages.sh: neither root nor sudo; as root: apt-get install$missing" >&2; exit 1; }
echo "installing:$missing" >&2
$as_root apt-get update -qq >&2
# The servers are started by the tests, never by the machine: keep the packages from starting their services.
policy=/usr/sbin/policy-rc.d
if [ ! -e $policy ]; then
    printf '#!/bin/sh\nexit 101\n' | $as_root tee $policy >/dev/null
    $as_root chmod +x $policy
    trap '$as_root rm -f $policy' EXIT
fi
# Quiet, but not when it fails.
log=$(mktemp)
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing >"$log" 2>&1 ||
    { tail -n 40 "$log" >&2; rm -f "$log"; exit 1; }
rm -f "$log"
