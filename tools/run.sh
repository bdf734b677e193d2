#!/usr/bin/env bash
# Installs what the desk needs, builds the program alone (no tests, no benchmarks), puts
# the example desk in place when the user has no fixtures file yet, and starts it.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${DESK_PACKAGES[@]}"
configure "$BUILD_DIR"
cmake --build "$BUILD_DIR" --parallel "$(nproc)" --target lumenfold-osc-emulator

config_dir="${XDG_CONFIG_HOME:-$HOME/.config}/lumenfold-osc-emulator"
if [ ! -e "$config_dir/osc_fixtures.json" ]; then
    mkdir -p "$config_dir"
    cp "$ROOT/examples/osc_fixtures.json" "$config_dir/osc_fixtures.json"
    echo "Example desk installed as $config_dir/osc_fixtures.json"
fi

exec "$BUILD_DIR/app/lumenfold-osc-emulator" "$@"
