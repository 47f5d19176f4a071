#!/usr/bin/env bash
# Builds the Debian package binwise_VERSION_ARCH.deb: a Release build in build/package (no tests,
# no benchmarks) with Debian's hardening flags, installed to /usr and packed by CPack. Prints the
# package's path on its last line.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

build=build/package
# CMake reads neither CPPFLAGS nor dpkg-buildflags itself; -g is left out because the package
# is stripped anyway.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
cxxflags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS | sed 's/\(^\| \)-g\( \|$\)/ /')"
ldflags=$(dpkg-buildflags --get LDFLAGS)
# The manual page's date and the archive's timestamps: the changelog's, so rebuilds are equal.
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)
export SOURCE_DATE_EPOCH

cmake -S . -B "$build" -G Ninja \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX=/usr \
    -DBINWISE_TESTS=OFF -DBINWISE_BENCH=OFF \
    -DCMAKE_CXX_FLAGS="$cxxflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" >/dev/null
cmake --build "$build"
rm -f "$build"/binwise_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
ls "$PWD/$build"/binwise_*.deb
