#!/usr/bin/env bash
# Takes the README's screenshots of the real window under Xvfb (real OpenGL rendering,
# unlike the offscreen platform) into docs/.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# imagemagick's import grabs the X screen.
install_packages "${DESK_PACKAGES[@]}" "${TEST_PACKAGES[@]}" imagemagick
build "$BUILD_DIR" >/dev/null

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/config"
(cd "$work" && "${ISOLATED[@]}" env XDG_CONFIG_HOME="$work/config" OSC_QML_BACKEND=real QT_QPA_PLATFORM=xcb \
    OSC_EXAMPLES_DIR="$ROOT/examples" \
    xvfb-run -a -s "-screen 0 1600x1000x24" \
    "$BUILD_DIR/tests/tst_desk_qml" -input "$ROOT/tools/screenshots/tst_screenshots.qml" >/dev/null)
cp "$work/config/window.png" "$ROOT/docs/window.png"
cp "$work/config/window-minimum.png" "$ROOT/docs/window-minimum.png"
cp "$work/config/monitor.png" "$ROOT/docs/monitor.png"
cp "$work/config/learn.png" "$ROOT/docs/learn.png"
cp "$work/config/edit-mode.png" "$ROOT/docs/edit-mode.png"
echo "Screenshots written to docs/window.png, docs/window-minimum.png, docs/monitor.png, docs/learn.png and docs/edit-mode.png"
