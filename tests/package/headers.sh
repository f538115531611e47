#!/bin/sh
# Compiles every installed header alone. Then it puts all into one program that uses what they define inline, with a
# class derived from each container class: its link fails when the libraries hide a symbol that a header needs.
# What passed is not compiled again until the headers, the libraries' symbols, the compiler or this script change.
# usage: headers.sh COMPILER PREFIX LIBDIR INCLUDEDIR WORK_DIR
set -eu

compiler=$1 libdir=$2/$3 root=$2/$4/knOpenSGAnim work=$5 script=$(realpath "$0")
export PKG_CONFIG_PATH="$libdir/pkgconfig"
mkdir -p "$work"
eval "set -- $(pkg-config --cflags knOpenSGAnim)"

cd "$root"
find . -name '*.h' | sed 's,^\./,,' | sort > "$work/all"
state=$({
  "$compiler" --version
  echo "$@"
  nm -D --defined-only "$libdir"/lib*.so | cut -d' ' -f2-
  cat "$work/all" $(cat "$work/all") "$script"
} | sha256sum)
if [ "$(cat "$work/passed" 2> /dev/null)" = "$state" ]; then
  echo "$(wc -l < "$work/all") headers, not changed since they passed"
  exit 0
fi
# A header that another one includes before anything else is compiled alone with that one.
for header in $(cat "$work/all"); do
  sed -n '/^#pragma once/d; /^#include "/{s/^#include "\(.*\)"/\1/p;q}; /^#/q' "$header"
done | sort -u > "$work/first"
comm -23 "$work/all" "$work/first" > "$work/alone"
[ -s "$work/alone" ]
cores=$(getconf _NPROCESSORS_ONLN)
export compiler
xargs -P "$cores" -I{} sh -c 'header=$1; shift
  echo "#include <$header>" | "$compiler" -std=c++20 -fsyntax-only "$@" -x c++ - ||
    { echo "$header does not compile alone" >&2; exit 255; }' sh {} "$@" < "$work/alone"

{
  sed 's/.*/#include <&>/' "$work/all"
  cat << 'END'
#include <type_traits>
using namespace osg;
namespace host {
template <class Container>
FieldContainer* make() {
  if constexpr (std::is_abstract_v<Container>) return nullptr;
  else return new Container;
}
END
  # The classes, but for the text that explains the macro and the macro itself.
  grep -hv -e '^//' -e '^#define' $(cat "$work/all") |
    sed -n 's/^ *KN_CONTAINER(\(.*\), \(.*\), .*)$/class \2Kind : public ::\2 { KN_CONTAINER(\2Kind, \2Kind, ::\2) KN_CONTAINER_END };\
KN_CONTAINER_TYPE_IMPL(\2Kind, \2Kind, "\2Kind", (std::is_abstract_v<\2Kind> ? nullptr : \&make<\2Kind>))/p'
  cat << 'END'
}
template class osg::SField<std::string>;
template class osg::MField<std::string>;
template class osg::MField<bool>;
template class osg::MField<osg::Pnt2f>;
template class knDynBlockArray<osg::AnimNodePtr>;
int main() {
  for (FieldContainerType* type : FieldContainerFactory::the().getTypes()) {
    FieldContainerPtr const container = type->createFieldContainer();
    if (!container && !type->isAbstract()) return 1;
    container.subRef();
  }
}
END
} > "$work/all.cpp"
# Emits inline functions that nothing calls; not every compiler can.
keep=-fkeep-inline-functions
"$compiler" $keep -Werror -fsyntax-only -x c++ /dev/null 2> /dev/null || keep=
eval "set -- $(pkg-config --cflags --libs knOpenSGAnim)"
"$compiler" -std=c++20 -O0 $keep "$work/all.cpp" "$@" -ltbb -o "$work/all_headers"
LD_LIBRARY_PATH="$libdir" "$work/all_headers"
classes=$(grep -c KN_CONTAINER_TYPE_IMPL "$work/all.cpp")
[ "$classes" -gt 30 ]
echo "$(wc -l < "$work/all") headers, $(wc -l < "$work/alone") compiled alone; classes derived from $classes"
echo "$state" > "$work/passed"
