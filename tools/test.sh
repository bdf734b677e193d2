#!/usr/bin/env bash
# Installs what the tests need, builds everything and runs every test through ctest.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages
build "$BUILD_DIR"
cd "$BUILD_DIR"
ctest --output-on-failure --timeout 300
