#pragma once

#include <QUrl>

// Runs the desk: the GUI application, the Material style, the QML engine and the one
// backend, published as `backend`, with mainUrl as the main document. Returns the
// event loop's exit code: 0 after a normal close, -1 when mainUrl cannot be created.
int runOscEmulator(int argc, char *argv[], const QUrl &mainUrl);
