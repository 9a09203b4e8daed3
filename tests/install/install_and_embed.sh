#!/usr/bin/env bash
# Installs the build into a temporary prefix, builds examples/embed against
# the installed package alone (CMake package, shared and static, and
# pkg-config), runs it on the bundled example and checks what it wrote with
# the installed orvane.
#
#   install_and_embed.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/orvane share/man/man1/orvane.1 include/orvane/frame/interfaces.h lib/cmake/Orvane/OrvaneConfig.cmake \
         lib/pkgconfig/orvane.pc; do
  [[ -e $prefix/$f ]] || { echo "not installed: $f"; exit 1; }
done
ls "$prefix"/lib/liborvane.so.1* "$prefix"/lib/liborvane.a >/dev/null
# Nothing of the stages or drivers among the headers.
if find "$prefix/include/orvane" -name '*.h' | grep -E 'filtering/|ordered_work|scan_table|mz_reader'; then
  echo "internal headers installed"; exit 1
fi
"$prefix/bin/orvane" --version | head -1

# The example, by find_package(Orvane).
cmake -S "$source/examples/embed" -B "$work/embed" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/embed" >/dev/null
"$work/embed/embed_clean" "$work/out" "$source/examples/sample.mgf" 2>"$work/err" || { cat "$work/err"; exit 1; }
grep -q "CleanFiles: 0x0" "$work/err"
"$prefix/bin/orvane" info "$work/out/sample_c.mgf" | cut -f2-
grep -c "^Peltrix Log File" "$work/out/embed.log"

# The same host on the static archive: nothing of liborvane.so at run time.
cmake -S "$source/examples/embed" -B "$work/embed_static" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DEMBED_STATIC=ON >/dev/null
cmake --build "$work/embed_static" >/dev/null
if ldd "$work/embed_static/embed_clean" | grep -q liborvane; then echo "static host loads liborvane.so"; exit 1; fi
"$work/embed_static/embed_clean" "$work/out_static" "$source/examples/sample.mgf" 2>/dev/null
cmp "$work/out/sample_c.mgf" "$work/out_static/sample_c.mgf" && echo "static: the same"

# The same host by pkg-config.
flags=$(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs orvane)
# shellcheck disable=SC2086
c++ "$source/examples/embed/embed_clean.cpp" -o "$work/embed_pc" $flags -Wl,-rpath,"$prefix/lib"
"$work/embed_pc" "$work/out_pc" "$source/examples/sample.mgf" 2>/dev/null
cmp "$work/out/sample_c.mgf" "$work/out_pc/sample_c.mgf" && echo "pkg-config: the same"
