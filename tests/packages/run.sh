#!/usr/bin/env bash
# What `cmake --install` and the Debian packages give: run.sh BUILD. Makes the packages, installs them into an empty root
# and removes them again, records with what is in it, and builds the example host against it.
set -euo pipefail

build=$1
tree=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The program finds its module from its own file, and from nothing else.
unset K2R_MODULE LD_LIBRARY_PATH

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# One recording of a second of sound, made and checked by the program in $1.
record_with() {
  ffmpeg -v error -y -f lavfi -i sine=frequency=440:sample_rate=44100 -t 1 -c:a aac "$work/clip.m4a"
  rm -rf "$work/rec"
  (cd / && "$1/bin/k2r" record "$work/clip.m4a" --out "$work/rec/cam1" && "$1/bin/k2r" verify "$work/rec/cam1")
}

echo "any prefix, also one that is moved"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv "$work/prefix" "$work/moved"
record_with "$work/moved"

echo "packages"
(cd "$build" && cpack -B "$work/debs" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log" >&2; fail "cpack"; }
debs=("$work"/debs/*.deb)
[ ${#debs[@]} -eq 2 ] || fail "${#debs[@]} packages"
lintian --no-cfg --allow-root --fail-on error,warning "${debs[@]}"
dpkg-deb --field "$work"/debs/k2r_*.deb Depends | grep -q libavformat || fail "the package does not depend on its libraries"

echo "installed and removed again"
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
# What the packages need is on this machine and not in the empty root.
# The scripts of the packages run on this machine, with DPKG_ROOT, as there is no shell in the root either.
dpkg_there() { dpkg --root="$root" --log="$work/dpkg.log" --force-script-chrootless --force-depends --force-not-root --force-bad-path "$@" >"$work/dpkg.out" 2>&1 || { cat "$work/dpkg.out" >&2; fail "dpkg $1"; }; }
# Without what systemd-sysusers keeps of the user, and with what is in the folder of the recordings.
files_there() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -name "*.pwd.lock" -prune -o -path "./etc/*" -type f -regex '.*/\(passwd\|group\|shadow\|gshadow\)-?' -prune -o -print | sort); }
mkdir -p "$root/etc"
before=$(files_there)
dpkg_there --install "${debs[@]}"
record_with "$root/usr"

echo "the service"
# The unit as it is, but with the programs and documents where they are here.
sed "s|/usr/|$root/usr/|g" "$root/usr/lib/systemd/system/k2r.service" >"$work/k2r.service"
said=$(MANPATH="$root/usr/share/man" systemd-analyze verify "$work/k2r.service" 2>&1) || fail "systemd-analyze verify: $said"
[ -z "$said" ] || fail "systemd-analyze verify: $said"
# In tenths: below 2 is "OK". What a user must open for an input is in drop-ins.
systemd-analyze security --offline=true --threshold=19 "$work/k2r.service" >"$work/security.txt" || { tail -1 "$work/security.txt" >&2; fail "the unit is open"; }
grep -q '^k2r:.*:/var/lib/k2r:/usr/sbin/nologin$' "$root/etc/passwd" || fail "no user k2r"
"$root/usr/bin/k2r" serve --config "$root/etc/k2r/k2r.toml" --check || fail "the configuration of the package"
if [ "$(id -u)" -eq 0 ]; then
  group=$(sed -n 's/^k2r:[^:]*:\([0-9]*\):.*/\1/p' "$root/etc/group")
  [ "$(stat -c %a:%u:%g "$root/etc/k2r/k2r.toml")" = "640:0:$group" ] || fail "permissions of k2r.toml"
  # An administrator's change stays when the package is installed again.
  chgrp 0 "$root/etc/k2r/k2r.toml"
  chmod 600 "$root/etc/k2r/k2r.toml"
  echo "# mine" >>"$root/etc/k2r/k2r.toml"
  dpkg_there --install "${debs[@]}"
  [ "$(stat -c %a:%g "$root/etc/k2r/k2r.toml")" = 600:0 ] || fail "permissions of k2r.toml were changed"
  grep -q "^# mine" "$root/etc/k2r/k2r.toml" || fail "k2r.toml was replaced"
fi

echo "the page, with its player"
for file in "$tree"/web/*.{html,css,js,svg}; do
  cmp "$file" "$root/usr/share/k2r/web/$(basename "$file")" || fail "the page"
done
grep -q PROGRAM-DATE-TIME "$root/usr/share/k2r/web/hls.mjs" || fail "no hls.js"
grep -q Apache "$root/usr/share/k2r/web/hls.LICENSE" || fail "no license of hls.js"

echo "manual and completions"
for command in "" -record -serve -inspect -verify -repair -export -playlist -keys -keys-new -unprotect; do
  page=$root/usr/share/man/man1/k2r$command.1.gz
  [ -f "$page" ] || fail "no page k2r$command(1)"
  warnings=$(MANROFFSEQ='' MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -E UTF-8 -l "$page" 2>&1 >"$work/page.txt")
  [ -z "$warnings" ] || fail "$page: $warnings"
done
man -l "$root/usr/share/man/man1/k2r-record.1.gz" | grep -q -- "--max-queue" || fail "the manual lacks an option"
complete() {
  bash -c '. "$1"; COMP_WORDS=("${@:2}"); COMP_CWORD=$(($# - 2)); _k2r; printf "%s\n" "${COMPREPLY[@]}"' - \
    "$root/usr/share/bash-completion/completions/k2r" "$@" | tr '\n' ' '
}
[ "$(complete k2r rep)" = "repair " ] || fail "bash: a command"
[ "$(complete k2r record x --tail "")" = "keep drop " ] || fail "bash: a value"
[ "$(complete k2r keys n)" = "new " ] || fail "bash: a command below a command"
[ "$(complete k2r export --fr)" = "--from " ] || fail "bash: an option"
zsh -n "$root/usr/share/zsh/vendor-completions/_k2r"
fish --no-execute "$root/usr/share/fish/vendor_completions.d/k2r.fish"
[ "$(fish -c "source '$root/usr/share/fish/vendor_completions.d/k2r.fish'; complete -C 'k2r record x --tail '" | cut -f 1 | sort | tr '\n' ' ')" = "drop keep " ] || fail "fish: a value"

echo "a server outside the tree"
cp "$root/usr/share/doc/libk2r-dev/examples/minimalHost.cpp" "$work/host.cpp"
cmake -S "$tree/tests/packages/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$root/usr" -DEXAMPLE="$work/host.cpp" >/dev/null
cmake --build "$work/consumer" >/dev/null
module=$(cat "$work/consumer/module.txt")
"$work/consumer/host" "$module" "$work/byCMake"
export PKG_CONFIG_PATH=$(dirname "$(find "$root/usr" -name k2r.pc)")
read -ra flags < <(pkg-config --cflags k2r)
g++ -std=c++20 "${flags[@]}" "$work/host.cpp" -o "$work/host" -ldl
[ "$(readlink -f "$(pkg-config --variable=module k2r)")" = "$(readlink -f "$module")" ] || fail "two ways to the module"
"$work/host" "$module" "$work/byPkgConfig"
"$root/usr/bin/k2r" verify "$work/byPkgConfig"

mkdir -p "$root/var/lib/k2r/.k2r" "$root/var/lib/k2r/cam1/20261125T140000.000Z"
touch "$root/var/lib/k2r/.k2r/root" "$root/var/lib/k2r/roots.txt" "$root/var/lib/k2r/cam1/20261125T140000.000Z/x.bootstrap"
dpkg_there --purge libk2r-dev k2r
grep -q "recordings in /var/lib/k2r are kept" "$work/dpkg.out" || fail "purge says nothing of the recordings"
[ -f "$root/var/lib/k2r/cam1/20261125T140000.000Z/x.bootstrap" ] || fail "purge removed a recording"
rm -r "$root/var/lib/k2r/cam1"
dpkg_there --install "${debs[@]}"
dpkg_there --purge libk2r-dev k2r
after=$(files_there)
[ "$before" = "$after" ] || fail "left behind: $(comm -13 <(echo "$before") <(echo "$after"))"
echo "all of it works"
