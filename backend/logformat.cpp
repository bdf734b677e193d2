#include "logformat.h"

namespace LogFormat {

QString levelTag(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg: return QStringLiteral("[DEBUG] ");
    case QtWarningMsg: return QStringLiteral("[WARNING] ");
    case QtCriticalMsg: return QStringLiteral("[CRITICAL] ");
    case QtFatalMsg: return QStringLiteral("[FATAL] ");
    case QtInfoMsg: return QStringLiteral("[INFO] ");
    }
    return QString();
}

QString memoryLine(const QTime &time, QtMsgType level, const QString &message)
{
    // Concatenation, not arg(): the message is never scanned for placeholders.
    return QLatin1Char('[') + time.toString(QStringLiteral("hh:mm:ss")) + QStringLiteral("] ")
            + levelTag(level) + message;
}

QString fileLine(const QDateTime &stamp, const QString &text)
{
    return QLatin1Char('[') + stamp.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"))
            + QStringLiteral("] ") + text + QLatin1Char('\n');
}

QString debugLogFileName(const QDateTime &start, int attempt)
{
    QString name = QStringLiteral("osc_emulator_debug_") + start.toString(QStringLiteral("yyyyMMdd_hhmmss"));
    if (attempt > 1)
        name += QLatin1Char('_') + QString::number(attempt);
    return name + QStringLiteral(".log");
}

} // namespace LogFormat
