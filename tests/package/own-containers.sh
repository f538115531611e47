#!/bin/sh
# Builds and runs a host that declares containers of its own, with every compiler that is there, unoptimised and
# optimised. It includes the example of the header that explains how to declare one, as it stands there.
# The programs are built again when their source, the headers, the libraries' symbols or the compiler change.
# usage: own-containers.sh SOURCE PREFIX LIBDIR INCLUDEDIR WORK_DIR COMPILER...
set -eu

script=$(realpath "$0") source=$1 libdir=$2/$3 headers=$2/$4/knOpenSGAnim work=$5
shift 5
export PKG_CONFIG_PATH="$libdir/pkgconfig"

mkdir -p "$work"
{
  echo '#include <model/scenegraph/Node.h>'
  sed -n '/^\/\/   class /,/^\/\/   KN_CONTAINER_TYPE/s,^// \{0\,3\},,p' "$headers/model/fields/ContainerMacros.h"
} > "$work/HeaderExample.h"
grep -q KN_CONTAINER_TYPE "$work/HeaderExample.h" || {
  echo "the header has no example" >&2
  exit 1
}

built=" "
build() {
  with=$1 level=$2 program=$work/$(basename "$1")$2
  # The flags come quoted for a shell, as a path may hold a space.
  eval "set -- $(pkg-config --cflags --libs knOpenSGAnim)"
  state=$({
    "$with" --version
    echo "$@"
    nm -D --defined-only "$libdir"/lib*.so | cut -d' ' -f2-
    find "$headers" -name '*.h' | sort | xargs cat "$source" "$script"
  } | sha256sum)
  if [ "$(cat "$program.state" 2> /dev/null)" != "$state" ]; then
    "$with" -std=c++20 "$level" -Wall -Wextra -Werror -I"$work" "$source" "$@" -o "$program"
    echo "$state" > "$program.state"
  fi
  LD_LIBRARY_PATH="$libdir" "$program" "$program.scene"
}

for compiler in "$@"; do
  path=$(command -v "$compiler") || {
    echo "$compiler is not installed: left out"
    continue
  }
  real=$(readlink -f "$path")
  case $built in *" $real "*) continue ;; esac
  built="$built$real "
  build "$path" -O0 &
  unoptimised=$!
  build "$path" -O2
  wait "$unoptimised"
  echo "$compiler: built and run at -O0 and -O2"
done
[ "$built" != " " ]
