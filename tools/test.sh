#!/usr/bin/env bash
# Checks the test budget (tools/test-budget.sh), installs what the tests need, builds
# everything and runs every test through ctest.
# Then builds the Debian package (tools/package.sh) and checks its control fields and
# contents (tools/check-package.sh). Then builds the whole suite a second time with clang,
# AddressSanitizer and UBSan, plus the fuzzers, and runs it again: there any sanitizer
# report fails its test, and each fuzzer fuzzes for OSC_FUZZ_SECONDS (20) as a test of its
# own. The last lines are that second run's ctest summary.
#
# OSC_QUICK=1 skips the package and the second build for a quick local run; on CI
# (CI=true) they always run.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$ROOT/tools/test-budget.sh"
install_packages "${DESK_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

quick=0
if [ "${OSC_QUICK:-0}" = 1 ] && [ "${CI:-}" != true ]; then
    quick=1
    echo "OSC_QUICK=1: the package, the sanitizer build and the fuzzers are skipped"
fi

build "$BUILD_DIR"
(cd "$BUILD_DIR" && "${ISOLATED[@]}" ctest --output-on-failure --timeout 300)
if [ "$quick" = 1 ]; then
    exit 0
fi

"$ROOT/tools/package.sh"
"$ROOT/tools/check-package.sh"

CC=clang CXX=clang++ build "$SANITIZE_BUILD_DIR" -DOSC_SANITIZE=ON -DOSC_FUZZ=ON -DOSC_BENCH=OFF
cd "$SANITIZE_BUILD_DIR"
sanitizer_environment
"${ISOLATED[@]}" ctest --output-on-failure --timeout 600 --parallel "$(nproc)"
