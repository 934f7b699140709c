#!/bin/sh
# Checks what a build of the project installs, the way an application sees it:
#   1. installs it into a scratch prefix (or unpacks its Debian package into a
#      scratch root) and compares the files there with files.txt;
#   2. builds the C program consumer.c against it twice, through the CMake
#      package and through pkg-config, with nothing else on the search paths;
#   3. runs both (under the build's emulator when cross-compiled) and compares
#      the frame each graded with what the installed oxlut tool makes of the
#      same input frame.
#
#   tests/install/check.sh BUILD_DIR        # cmake --install BUILD_DIR
#   tests/install/check.sh --deb BUILD_DIR  # the package ./scripts/package made
set -eu
src=$(cd "$(dirname "$0")/../.." && pwd)
deb=0
if [ "${1:-}" = "--deb" ]; then deb=1; shift; fi
[ $# -eq 1 ] || { echo "usage: $0 [--deb] BUILD_DIR" >&2; exit 2; }
build=$(cd "$1" && pwd)

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
fail() { echo "install check ($build): $*" >&2; exit 1; }
libdir=$(cached CMAKE_INSTALL_LIBDIR)
config=$(cached CMAKE_BUILD_TYPE | tr '[:upper:]' '[:lower:]')
toolchain=$(cached CMAKE_TOOLCHAIN_FILE)
# A relative toolchain path is kept as given when a build directory was
# configured with it before CMake stored it resolved: resolve it as CMake does.
case $toolchain in
'' | /*) ;;
*) if [ -f "$build/$toolchain" ]; then toolchain=$build/$toolchain; else toolchain=$(cached CMAKE_HOME_DIRECTORY)/$toolchain; fi ;;
esac
version=$(sed -n 's/^#define OXC_LUT_VERSION_[A-Z]* \([0-9]*\)$/\1/p' "$src/lut/oxlut3d.h" | paste -sd.)

work=$(mktemp -d "${TMPDIR:-/tmp}/oxlut-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
root=$work/root
if [ $deb = 1 ]; then
    set -- "$build"/liboxluteffect_"$version"_*.deb
    if [ $# -ne 1 ] || [ ! -f "$1" ]; then fail "expected one package for version $version, found: $*"; fi
    dpkg -x "$1" "$root"
    under=usr/
    prefix=$root/usr
else
    cmake --install "$build" --prefix "$root" >"$work/install.log" 2>&1 \
        || { cat "$work/install.log"; fail "cmake --install failed"; }
    under=
    prefix=$root
fi

# 1. Exactly the public files, nothing internal.
sed -e "s|^|$under|" -e "s|@LIBDIR@|$libdir|" -e "s|@CONFIG@|$config|" \
    -e "s|@VERSION@|$version|" -e "s|@SOVERSION@|${version%%.*}|" \
    "$src/tests/install/files.txt" | sort >"$work/expected"
(cd "$root" && find . ! -type d | sed 's|^\./||' | sort) >"$work/installed"
diff -u "$work/expected" "$work/installed" >&2 || fail "installed files differ from files.txt (- expected, + installed)"

# 2. The consumer, once per way of finding the library. A cross toolchain
# (like the NDK's) searches packages only below its own roots, so there the
# package directory is named, as an Android app does; a native build finds it
# from the prefix.
if [ -n "$toolchain" ]; then
    find="-DOxLutEffect_DIR=$prefix/$libdir/cmake/OxLutEffect"
else
    find="-DCMAKE_PREFIX_PATH=$prefix"
fi
for way in cmake pkgconfig; do
    b=$work/consumer-$way
    use_pc=OFF; [ $way = pkgconfig ] && use_pc=ON
    PKG_CONFIG_LIBDIR=$prefix/$libdir/pkgconfig PKG_CONFIG_PATH='' \
        cmake -S "$src/tests/install" -B "$b" ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$toolchain"} \
        "$find" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
        -DOX_VERSION="$version" -DOX_USE_PKGCONFIG=$use_pc >"$b.log" 2>&1 \
        || { cat "$b.log" >&2; fail "the consumer does not configure through $way"; }
    cmake --build "$b" >>"$b.log" 2>&1 || { cat "$b.log" >&2; fail "the consumer does not build through $way"; }
done

# 3. Both consumers and the installed tool grade the same frame alike.
emulator=$(cat "$work/consumer-cmake/emulator")
$emulator "$prefix/bin/oxlut" convert "$src/tools/samples/warm-teal.cube" "$work/grade.lut" >/dev/null \
    || fail "the installed oxlut does not run"
for way in cmake pkgconfig; do
    options=$($emulator "$work/consumer-$way/consumer" "$work/grade.lut" "$work/before.nv21" "$work/$way.nv21") \
        || fail "the consumer built through $way failed"
done
# shellcheck disable=SC2086 # the options are words
$emulator "$prefix/bin/oxlut" apply --lut "$work/grade.lut" $options --threads 1 \
    "$work/before.nv21" "$work/tool.nv21" || fail "oxlut apply failed"
! cmp -s "$work/before.nv21" "$work/tool.nv21" || fail "the grade left the frame unchanged"
for way in cmake pkgconfig; do
    cmp "$work/tool.nv21" "$work/$way.nv21" >&2 || fail "the consumer built through $way graded differently from oxlut"
done
echo "install check passed: $(wc -l <"$work/expected") files, consumers through cmake and pkg-config match oxlut"
