#pragma once

#include <QString>

// Developer diagnostics on Qt's debug output, never in the user's log.

// Whether debug messages of the default category are shown at all: a message that
// would be dropped need not be built.
bool debugEnabled();

// The same as qDebug().noquote() << text, without QDebug's stream machinery, which
// costs more than a datagram's whole journey through the desk.
void debugMessage(const QString &text);
