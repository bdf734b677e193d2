#pragma once

#include <QDateTime>
#include <QString>

// The one place where log lines get their shape.
namespace LogFormat {

// A local date and time to the millisecond.
struct Stamp
{
    int year, month, day, hour, minute, second, millisecond;
};

// The current local time. The zone's offset is asked of the system once a minute, not
// at every line: formatting the local time is otherwise the dearest step of a log line.
Stamp now();

// "[INFO] ", "[WARNING] "... with its trailing blank; empty for an unknown level.
QString levelTag(QtMsgType level);

// In memory: "[hh:mm:ss] " + tag + message, the message exactly as given.
QString memoryLine(const Stamp &stamp, QtMsgType level, const QString &message);

// In the debug log file: "[yyyy-MM-dd hh:mm:ss.zzz] " + text + "\n", in UTF-8, written over
// `out`, whose storage is kept for the next line.
void putFileLine(QByteArray &out, const Stamp &stamp, const QString &text);

// A datagram's dump: lower-case hex without separators, cut to at most maxDigits digits.
QString hexDigits(const QByteArray &data, int maxDigits);
// The same dump appended to `out`.
void appendHexDigits(QString &out, const QByteArray &data, int maxDigits);

// "osc_emulator_debug_yyyyMMdd_hhmmss.log", or with "_2", "_3"... before ".log".
QString debugLogFileName(const QDateTime &start, int attempt);

} // namespace LogFormat
