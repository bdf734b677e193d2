#pragma once

#include <QString>

// Developer diagnostics on Qt's debug and warning output, never in the user's log. A
// diagnostic is one message whose items are separated by single blanks, texts in double
// quotes, as QDebug writes them.

// Whether debug messages of the default category are shown at all: a message that
// would be dropped need not be built.
bool debugEnabled();

// The same as qDebug().noquote() << text (and qWarning()), without QDebug's stream
// machinery, which costs more than a datagram's whole journey through the desk.
void debugMessage(const QString &text);
void warningMessage(const QString &text);

// The text as QDebug quotes a QString: in double quotes, with quotes, backslashes and
// unprintable characters escaped.
QString quotedText(const QString &text);

// Appends `value` in decimal, as QString::number writes it, without a text of its own.
void appendDecimal(QString &out, qint64 value);
