#!/usr/bin/env bash
# Checks the Debian package that tools/package.sh built: its control fields; that it holds
# the executable, the desktop entry (valid, as desktop-file-validate sees it), the icon, the
# README, the machine-readable copyright file and every file of examples/, and nothing from
# a build tree; that it depends on the package of every QML module the documents import and
# on no build-only package.
# Usage: tools/check-package.sh [package.deb]   (default: the newest .deb in dist/)
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages desktop-file-utils

deb="${1:-$(ls -t "$ROOT"/dist/*.deb 2>/dev/null | head -n 1)}"
if [ ! -f "$deb" ]; then
    echo "No package to check: run tools/package.sh first" >&2
    exit 1
fi

name=lumenfold-osc-emulator
failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
field() { dpkg-deb --field "$deb" "$1"; }

# Control fields
version="$(sed -n 's/^project(.*VERSION \([0-9][0-9.]*\).*/\1/p' "$ROOT/CMakeLists.txt")"
[ "$(field Package)" = "$name" ] || fail "Package is '$(field Package)', not $name"
[ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)', the project's is $version"
[ "$(field Architecture)" = "$(dpkg --print-architecture)" ] ||
    fail "Architecture is '$(field Architecture)', not $(dpkg --print-architecture)"
[[ "$(field Maintainer)" =~ ^[^\<]+\ \<[^@\ ]+@[^\ ]+\>$ ]] ||
    fail "Maintainer '$(field Maintainer)' is not 'name <e-mail>'"
[[ "$(field Homepage)" =~ ^https?://[^\ ]+$ ]] || fail "Homepage '$(field Homepage)' is not an address"
[ -n "$(field Section)" ] || fail "no Section"
[ "$(field Description | wc -l)" -ge 2 ] || fail "Description has a summary and no long description"

# Depends: names only, alternatives and versions dropped
mapfile -t depends < <(field Depends | tr ',|' '\n\n' | sed 's/^ *//; s/[ (].*//' | grep .)
depends_on() { printf '%s\n' "${depends[@]}" | grep -qxF "$1"; }
for d in "${depends[@]}"; do
    case "$d" in
        *-dev | build-essential | cmake | ninja-build | gcc* | g++* | clang* | dpkg-dev | file | \
            qml6-module-qttest | xvfb | xauth | liblo-tools)
            fail "Depends names the build-only package $d" ;;
    esac
done
for lib in libc6 libqt6core6 libqt6qml6; do
    depends_on "$lib" || fail "Depends lacks $lib: were shared-library dependencies computed?"
done
qml_dir="$(qtpaths6 -query QT_INSTALL_QML)"
own_module="$(sed -n 's/^module *//p' "$ROOT/qml/qmldir")"
mapfile -t imports < <(sed -n 's/^[[:space:]]*import[[:space:]]\+\([A-Za-z][A-Za-z0-9_.]*\).*/\1/p' \
    "$ROOT"/qml/*.qml | sort -u)
for module in "${imports[@]}"; do
    [ "$module" = "$own_module" ] && continue
    qmldir="$qml_dir/${module//.//}/qmldir"
    provider="$(dpkg-query -S "$qmldir" 2>/dev/null | cut -d: -f1)"
    if [ -z "$provider" ]; then
        fail "no installed package provides the QML module $module ($qmldir)"
    elif ! depends_on "$provider"; then
        fail "Depends lacks $provider, which provides the QML module $module"
    fi
done

# Contents
mapfile -t listing < <(dpkg-deb --contents "$deb")
mapfile -t paths < <(printf '%s\n' "${listing[@]}" | awk '{ print $6 }')
has_path() { printf '%s\n' "${paths[@]}" | grep -qxF "$1"; }
required=(
    "./usr/bin/$name"
    "./usr/share/applications/$name.desktop"
    "./usr/share/icons/hicolor/scalable/apps/$name.svg"
    "./usr/share/doc/$name/README.md"
    "./usr/share/doc/$name/copyright"
)
while IFS= read -r example; do
    required+=("./usr/share/$name/examples/$example")
done < <(cd "$ROOT/examples" && find . -type f -printf '%P\n' | sort)
for path in "${required[@]}"; do
    has_path "$path" || fail "the package lacks $path"
done
for path in "${paths[@]}"; do
    case "$path" in
        ./usr/*CMakeFiles* | ./usr/*_CPack_Packages* | ./usr/*cmake_install* | *.o | *.a) fail "build tree file $path" ;;
        ./ | ./usr/*) ;;
        *) fail "$path lies outside /usr" ;;
    esac
done
printf '%s\n' "${listing[@]}" | awk '$2 != "root/root" { print "FAIL: not owned by root: " $6; bad = 1 } END { exit bad }' >&2 ||
    failures=$((failures + 1))
printf '%s\n' "${listing[@]}" | grep -q "^-rwxr-xr-x .* \./usr/bin/$name\$" || fail "/usr/bin/$name is not mode 755"

unpacked="$(mktemp -d)"
trap 'rm -rf "$unpacked"' EXIT
dpkg-deb --extract "$deb" "$unpacked"
if readelf -d "$unpacked/usr/bin/$name" | grep -qE 'RPATH|RUNPATH'; then
    fail "/usr/bin/$name carries a run path: $(readelf -d "$unpacked/usr/bin/$name" | grep -E 'RPATH|RUNPATH')"
fi
if grep -rqF "$ROOT" "$unpacked"; then
    fail "names the source or build tree $ROOT: $(grep -rlF "$ROOT" "$unpacked" | sed "s|^$unpacked||")"
fi
desktop="$unpacked/usr/share/applications/$name.desktop"
if [ -f "$desktop" ]; then
    exec_name="$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")"
    icon_name="$(sed -n 's/^Icon=//p' "$desktop")"
    [ -x "$unpacked/usr/bin/$exec_name" ] || fail "the desktop entry runs '$exec_name', not in /usr/bin"
    compgen -G "$unpacked/usr/share/icons/hicolor/*/apps/$icon_name.*" >/dev/null ||
        fail "the desktop entry's icon '$icon_name' is not in the package"
    # Errors, warnings and hints alike (such as more than one main category).
    said="$(desktop-file-validate "$desktop" 2>&1)" || true
    [ -z "$said" ] || fail "desktop-file-validate: ${said//$unpacked/}"
fi
copyright="$unpacked/usr/share/doc/$name/copyright"
if [ -f "$copyright" ]; then
    [ "$(head -n 1 "$copyright")" = "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/" ] ||
        fail "the copyright file is not in the machine-readable format (its first line: $(head -n 1 "$copyright"))"
    grep -qx "Files: \*" "$copyright" || fail "the copyright file has no 'Files: *' paragraph"
    [ "$(grep -cx "License: GPL-3+" "$copyright")" -eq 2 ] ||
        fail "the copyright file does not license the files GPL-3+ and give that licence's text"
    grep -qF "/usr/share/common-licenses/GPL-3" "$copyright" ||
        fail "the copyright file does not point to /usr/share/common-licenses/GPL-3"
    grep -qx "Source: $(field Homepage)" "$copyright" || fail "the copyright file's Source is not the Homepage"
fi

if [ "$failures" -gt 0 ]; then
    echo "$deb: $failures check(s) failed" >&2
    exit 1
fi
echo "$deb: control fields, ${#paths[@]} paths and ${#depends[@]} dependencies checked"
