#!/bin/sh
# Builds and runs the consumer with nothing but a compiler and pkg-config.
# usage: pkg-config.sh COMPILER SOURCE PREFIX LIBDIR WORK_DIR
set -eu

compiler=$1 source=$2 libdir=$3/$4 work=$5
export PKG_CONFIG_PATH="$libdir/pkgconfig"

mkdir -p "$work"
# The flags come quoted for a shell, as a path may hold a space.
eval "set -- $(pkg-config --cflags --libs knOpenSGAnim)"
"$compiler" -std=c++20 "$source" "$@" -o "$work/consumer"
LD_LIBRARY_PATH="$libdir" "$work/consumer"
