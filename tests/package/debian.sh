#!/bin/sh
# Installs the Debian packages by dpkg into a directory of its own, and uses them from there: the tool, and a host that
# is built by CMake and by pkg-config. dpkg sees the packages of this machine as installed and so judges whether what
# ours depend on is there; but no file of ours comes from elsewhere. It is not a chroot: scripts/package --chroot has one.
# usage: debian.sh FOLDER_OF_PACKAGES CONSUMER_DIR MODEL COMPILER WORK_DIR
set -eu

packages=$1 consumer=$2 model=$3 compiler=$4 work=$(realpath -m "$5")
here=$(dirname "$(realpath "$0")")
fail() {
  echo "$*" >&2
  exit 1
}

rm -rf "$work"
root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/triggers"
# What is installed here, but for packages of ours, and without their lists of files.
awk -v RS= -v ORS='\n\n' '!/(^|\n)Source: knopensganim/' /var/lib/dpkg/status > "$root/var/lib/dpkg/status"
find /var/lib/dpkg/info -name '*.list' -printf '%f\n' | (cd "$root/var/lib/dpkg/info" && xargs touch)

as_root=
[ "$(id -u)" = 0 ] || as_root=fakeroot
$as_root dpkg --root="$root" --force-not-root --force-script-chrootless --log="$work/dpkg.log" --install "$packages"/*.deb > "$work/dpkg.out" 2>&1 ||
  { cat "$work/dpkg.out" >&2; fail "dpkg does not install the packages"; }

libdir=$(dirname "$(cd "$root/usr" && find lib -name 'libknScene.so.0')")
[ -n "$libdir" ] || fail "no library with the SONAME is installed"
export LD_LIBRARY_PATH="$root/usr/$libdir"
if ldd "$root/usr/bin/knanim" | grep libkn | grep -qv "$root/"; then fail "knanim takes libraries from elsewhere"; fi
"$root/usr/bin/knanim" info "$model" > "$work/info.txt"
for page in man/man1/knanim.1.gz bash-completion/completions/knanim zsh/vendor-completions/_knanim; do
  [ -s "$root/usr/share/$page" ] || fail "$page is missing"
done
grep -q 'animations  1' "$work/info.txt" || fail "knanim info finds no animation: $(cat "$work/info.txt")"

"$here/pkg-config.sh" "$compiler" "$consumer/main.cpp" "$root/usr" "$libdir" "$work/pkg_config"
cmake -S "$consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_CXX_COMPILER="$compiler" > "$work/cmake.out"
grep -q "knOpenSGAnim_DIR:PATH=$root/" "$work/cmake/CMakeCache.txt" || fail "CMake found another package"
cmake --build "$work/cmake" >> "$work/cmake.out"
"$work/cmake/consumer"
