# Shared by the scripts in tools/: Debian packages and the build.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD_DIR="${BUILD_DIR:-$ROOT/build}"
SANITIZE_BUILD_DIR="${SANITIZE_BUILD_DIR:-$ROOT/build-sanitize}"

# Debian packages, by what needs them. The desk: the compiler, Qt, and the QML modules
# that the window imports at run time (listed once, in cmake/runtime-qml-packages.txt,
# which the Debian package's dependencies are read from too).
mapfile -t RUNTIME_QML_PACKAGES < "$ROOT/cmake/runtime-qml-packages.txt"
DESK_PACKAGES=(
    build-essential cmake ninja-build
    qt6-base-dev qt6-declarative-dev
    "${RUNTIME_QML_PACKAGES[@]}"
)
# The tests: Qt Quick Test, a display server, liblo's tools as the independent peer, clang
# for the sanitizers and the fuzzers (which decode with liblo), and what builds and checks
# the package.
TEST_PACKAGES=(
    qml6-module-qttest xvfb xauth liblo-tools liblo-dev pkg-config python3
    clang libclang-rt-14-dev dpkg-dev file desktop-file-utils
)
# The benchmarks: Google Benchmark, and liblo and oscpack as baselines.
BENCH_PACKAGES=(libbenchmark-dev liblo-dev liboscpack-dev pkg-config xvfb xauth python3)

# install_packages PACKAGE...: installs those not installed yet, in one apt-get call.
install_packages() {
    local missing=()
    for p in "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    echo "Installing Debian packages: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# configure DIR [cmake options...]: every time, so that a changed option takes effect
# (configuring an existing folder is quick).
configure() {
    local dir="$1"; shift
    cmake -S "$ROOT" -B "$dir" -G Ninja "$@" >/dev/null
}

# build DIR [cmake options...]: configures, then builds every target.
build() {
    configure "$@"
    cmake --build "$1" --parallel "$(nproc)"
}

# Any sanitizer report ends its process with an error and a stack trace. Leak checking
# stays on, with Qt Quick's own leaks at exit suppressed (tools/lsan.supp says which).
sanitizer_environment() {
    export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1:detect_leaks=1:strict_string_checks=1"
    export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"
    export LSAN_OPTIONS="suppressions=$ROOT/tools/lsan.supp:print_suppressions=0"
}

# As root, what binds UDP ports (the tests, the benchmarks) runs in a network namespace of
# its own with only loopback up: other programs on the machine that use the ports 8000,
# 9000-9002 neither disturb the results nor are disturbed. `"${ISOLATED[@]}" command...`
ISOLATED=()
if [ "$(id -u)" -eq 0 ] && command -v ip >/dev/null && command -v unshare >/dev/null \
    && unshare -n true 2>/dev/null; then
    ISOLATED=(unshare -n sh -c 'ip link set lo up && exec "$@"' isolated)
fi
