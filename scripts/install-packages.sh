#!/usr/bin/env bash
# Installs what is missing of the Debian packages that the project builds and tests with. Group names: build (native
# build and the tool), test (the cross build, Wine and the servers for the tests).
set -euo pipefail

build="g++ cmake ninja-build ccache libldap-dev libsasl2-dev libssl-dev libasio-dev nlohmann-json3-dev
       libtomlplusplus-dev libcli11-dev libexpected-dev libsasl2-modules-gssapi-mit"
test="googletest libbenchmark-dev g++-mingw-w64-x86-64-posix wine wine64 samba samba-ad-dc samba-ad-provision
      samba-dsdb-modules ldb-tools ldap-utils krb5-user slapd python3 perl make clang-format clang-tidy"

wanted=""
for group in "${@:-build}"; do
    case $group in
    build) wanted+=" $build" ;;
    test) wanted+=" $build $test" ;;
    *) echo "install-packages.sh: unknown group '$group' (build, test)" >&2; exit 2 ;;
    esac
done

missing=""
for package in $wanted; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=" $package"
done
[ -z "$missing" ] && exit 0

as_root=""
[ "$(id -u)" = 0 ] || as_root=sudo
echo "installing:$missing"
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq
# The servers are started by the tests, never by the machine: keep the packages from starting their services.
policy=/usr/sbin/policy-rc.d
made_policy=""
if [ ! -e $policy ]; then
    printf '#!/bin/sh\nexit 101\n' | $as_root tee $policy >/dev/null
    $as_root chmod +x $policy
    made_policy=1
    trap '[ -z "$made_policy" ] || $as_root rm -f $policy' EXIT
fi
$as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
