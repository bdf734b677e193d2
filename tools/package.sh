#!/usr/bin/env bash
# Builds the Debian package: installs what the build needs, builds the desk in release
# mode in build-package/ and leaves lumenfold-osc-emulator_<version>_<arch>.deb in dist/.
# Install it with `sudo apt install ./dist/lumenfold-osc-emulator_<version>_<arch>.deb`.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

PACKAGE_BUILD_DIR="${PACKAGE_BUILD_DIR:-$ROOT/build-package}"

# What builds the desk, plus dpkg-shlibdeps and file, which compute the package's
# dependencies on shared libraries.
install_packages "${DESK_PACKAGES[@]}" dpkg-dev file

# Configured every time, so these options hold in a build folder made before them. No run
# path in the installed executable: Qt's libraries are found where the system keeps them.
cmake -S "$ROOT" -B "$PACKAGE_BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DBUILD_TESTING=OFF -DOSC_BENCH=OFF -DCMAKE_SKIP_INSTALL_RPATH=ON >/dev/null
cmake --build "$PACKAGE_BUILD_DIR" --parallel "$(nproc)"
rm -f "$PACKAGE_BUILD_DIR"/cpack/*.deb
if ! (cd "$PACKAGE_BUILD_DIR" && cpack -G DEB -B "$PACKAGE_BUILD_DIR/cpack") >"$PACKAGE_BUILD_DIR/cpack.log" 2>&1; then
    cat "$PACKAGE_BUILD_DIR/cpack.log" >&2
    exit 1
fi

mkdir -p "$ROOT/dist"
for deb in "$PACKAGE_BUILD_DIR"/cpack/*.deb; do
    cp "$deb" "$ROOT/dist/"
    echo "dist/$(basename "$deb")"
done
