#!/usr/bin/env bash
# Cross-builds OpenSSL's libraries for 64-bit Windows from Debian's source tarball, once per version and recipe, and
# prints the folder with the result (include/, libcrypto.a, libssl.a). Debian has no OpenSSL for mingw-w64. Needs no root and
# leaves the machine's package configuration alone. WS_OPENSSL_ROOT, when set, is taken as it is.
set -euo pipefail

# TLS 1.3 with pre-shared keys over X25519, random bytes, digests, key derivation, AES and RSA with their encodings are
# linked; every protocol and cipher beside them costs build time only.
options=(no-shared no-tests no-engine no-legacy no-deprecated no-ssl3 no-tls1 no-tls1_1 no-tls1_2 no-dtls no-cms no-ts
    no-ocsp no-srp no-ct no-comp no-cmp no-sock no-dgram no-ui-console no-autoload-config no-aria no-bf no-blake2
    no-camellia no-cast no-chacha no-cmac no-des no-dh no-dsa no-gost no-idea no-md4 no-mdc2 no-ocb no-poly1305 no-rc2 no-rc4
    no-rmd160 no-scrypt no-seed no-siphash no-siv no-sm2 no-sm3 no-sm4 no-whirlpool)
targets=(build_generated libcrypto.a libssl.a)
recipe=$(sha256sum <<<"${options[*]} ${targets[*]}" | cut -c1-8)

complete() { [ -f "$1/libcrypto.a" ] && [ -f "$1/libssl.a" ] && [ -d "$1/include/openssl" ]; }

if [ -n "${WS_OPENSSL_ROOT:-}" ] && complete "$WS_OPENSSL_ROOT"; then
    echo "$WS_OPENSSL_ROOT"
    exit 0
fi

cache=${XDG_CACHE_HOME:-$HOME/.cache}/ws_admin
# Both builds shall have the same OpenSSL, so the native library's version says which one is wanted.
wanted=$(dpkg-query -W -f='${source:Upstream-Version}' libssl-dev 2>/dev/null) ||
    { echo "openssl-mingw.sh: libssl-dev is missing: run scripts/install-packages.sh" >&2; exit 1; }
target=$cache/openssl-$wanted-mingw64-$recipe
if complete "$target"; then
    echo "$target"
    exit 0
fi

mkdir -p "$cache"
# A second run waits here for the first and then finds its result.
exec 9>"$cache/openssl.lock"
flock 9
if complete "$target"; then
    echo "$target"
    exit 0
fi

work=$(mktemp -d "$cache/openssl-build.XXXXXX")
trap 'rm -rf "$work"' EXIT
failed() {
    echo "openssl-mingw.sh: $1" >&2
    [ ! -s "$work/log" ] || tail -n 40 "$work/log" >&2
    exit 1
}

# apt with a configuration of its own: the machine's entries for this Debian release, as source entries.
codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-stable}")
mkdir -p "$work"/apt/{parts,lists/partial,cache/archives/partial}
entry='function ours(suite) { return suite ~ "^(" release "|stable)([-/]|$)" }'
for file in /etc/apt/sources.list.d/*.sources; do
    [ -f "$file" ] || continue
    # Paragraphs: kept when one of the suites is this release's.
    awk -v release="$codename" -v RS= -v ORS='\n\n' "$entry"'
        { keep = 0; lines = split($0, line, "\n"); text = ""
          for (i = 1; i <= lines; ++i) {
              if (line[i] ~ /^Suites:/) { n = split(line[i], suite, /[ \t]+/); for (j = 2; j <= n; ++j) keep += ours(suite[j]) }
              if (line[i] ~ /^Types:/) line[i] = "Types: deb-src"
              if (line[i] !~ /^#/) text = text line[i] "\n"
          }
          if (keep) print text }' "$file" >>"$work/apt/parts/machine.sources"
done
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$file" ] || continue
    # Lines: "deb [options] address suite components".
    awk -v release="$codename" "$entry"'
        /^[ \t]*deb[ \t]/ { text = $0; sub(/^[ \t]*deb/, "deb-src", text); plain = text; sub(/\[[^]]*\]/, "", plain)
                            split(plain, word, /[ \t]+/); if (ours(word[3])) print text }' "$file" >>"$work/apt/machine.list"
done
touch "$work/apt/machine.list"
private=(-o Dir::Etc::sourcelist="$work/apt/machine.list" -o Dir::Etc::sourceparts="$work/apt/parts"
         -o Dir::State::lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User=
         -o Acquire::Retries=3 -o Acquire::Languages=none)

echo "building OpenSSL $wanted for Windows (once, some minutes)" >&2
apt-get "${private[@]}" -qq update >"$work/log" 2>&1 || true # another vendor's entry may have no sources
versions=$(apt-cache "${private[@]}" showsrc openssl 2>>"$work/log" | sed -n 's/^Version: //p' | sort -rV)
[ -n "$versions" ] || failed "the package archive offers no source of openssl"
# The wanted version when the archive still has it, else its newest.
version=$(grep -m1 -E "^([0-9]+:)?${wanted//./\\.}-" <<<"$versions" || head -n1 <<<"$versions")
(cd "$work" && apt-get "${private[@]}" -qq source --tar-only "openssl=$version") >>"$work/log" 2>&1 ||
    failed "the source of openssl $version could not be fetched"

mkdir "$work/source" "$work/result"
tar -xf "$work"/openssl_*.orig.tar.* -C "$work/source" --strip-components=1 || failed "the tarball cannot be unpacked"
(
    cd "$work/source"
    perl ./Configure mingw64 --cross-compile-prefix=x86_64-w64-mingw32- "${options[@]}"
    make -j"$(nproc)" "${targets[@]}"
) >>"$work/log" 2>&1 9>&- || failed "OpenSSL does not build"
cp -r "$work/source/include" "$work/source"/lib{crypto,ssl}.a "$work/result/"
complete "$work/result" || failed "the build left no library"

# Renamed into place when it is whole: nobody ever sees half a folder.
upstream=${version%-*}
built=$cache/openssl-${upstream#*:}-mingw64-$recipe
complete "$built" || { rm -rf "$built"; mv "$work/result" "$built"; }
[ "$built" = "$target" ] || ln -sfn "$(basename "$built")" "$target"
echo "$target"
