# Shared by run.sh and test.sh: Debian packages and the build.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD_DIR="${BUILD_DIR:-$ROOT/build}"

PACKAGES=(
    build-essential cmake ninja-build pkg-config
    qt6-base-dev qt6-declarative-dev
    qml6-module-qtqml-workerscript qml6-module-qtquick qml6-module-qtquick-window
    qml6-module-qtquick-templates qml6-module-qtquick-controls qml6-module-qtquick-layouts
    qml6-module-qtquick-dialogs qml6-module-qt-labs-folderlistmodel qml6-module-qtquick-shapes
    qml6-module-qtcore qml6-module-qt-labs-settings qml6-module-qttest
    xvfb xauth
    liblo-tools liblo-dev liboscpack-dev libbenchmark-dev python3
    clang libclang-rt-14-dev
)

install_packages() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    echo "Installing Debian packages: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build DIR [cmake options...]
build() {
    local dir="$1"; shift
    if [ ! -f "$dir/CMakeCache.txt" ]; then
        cmake -S "$ROOT" -B "$dir" -G Ninja "$@" >/dev/null
    fi
    cmake --build "$dir" --parallel "$(nproc)"
}
