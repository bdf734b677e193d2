#include "diagnostics.h"
#include "logformat.h"
#include "oscemulatorbackend.h"

#include <QDebug>

#include <cerrno>

namespace {
constexpr int kMaxLogLines = 500;
constexpr int kMaxLogFileAttempts = 1000;

// The same message as `qDebug() << line`: the line in double quotes.
void debugOutput(const QString &line)
{
    if (debugEnabled())
        debugMessage(quotedText(line));
}
} // namespace

void OscEmulatorBackend::openLogFile(const std::optional<QString> &fileName)
{
    QString name;
    if (fileName) {
        if (fileName->isEmpty())
            return;
        name = *fileName;
        logFile = new QFile(name, this);
        logFile->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text | QIODevice::Unbuffered);
    } else {
        const QDateTime start = QDateTime::currentDateTime();
        // Two runs in the same second must not overwrite each other's file: the name is
        // created exclusively, and a taken name moves on to "_2", "_3"...
        for (int attempt = 1; attempt <= kMaxLogFileAttempts; ++attempt) {
            name = LogFormat::debugLogFileName(start, attempt);
            delete logFile;
            logFile = new QFile(name, this);
            if (logFile->open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::NewOnly | QIODevice::Unbuffered))
                break;
            if (!logFile->exists())
                break;
        }
    }
    if (!logFile->isOpen()) {
        qWarning() << "Failed to open log file:" << name;
        return;
    }
    logStream = new QTextStream(logFile);
    writeToLogFile(QStringLiteral("=== OSC Emulator Debug Log Started ==="));
    writeToLogFile(QStringLiteral("Log file: ") + name);
}

void OscEmulatorBackend::closeLogFile()
{
    if (logStream) {
        writeToLogFile(QStringLiteral("=== OSC Emulator Debug Log Ended ==="));
        logStream->flush();
        delete logStream;
        logStream = nullptr;
    }
    if (logFile) {
        logFile->close();
        delete logFile;
        logFile = nullptr;
    }
}

QString OscEmulatorBackend::logFileName() const
{
    return logStream ? logFile->fileName() : QString();
}

void OscEmulatorBackend::addLogMessage(const QString &message, QtMsgType level) const
{
    const LogFormat::Stamp stamp = LogFormat::now();
    const QString line = LogFormat::memoryLine(stamp, level, message);
    m_logMessages.append(line);
    if (m_logMessages.size() > kMaxLogLines)
        m_logMessages.removeFirst();
    emit const_cast<OscEmulatorBackend *>(this)->logMessagesChanged();
    debugOutput(line);
    writeLogFileLine(stamp, line);
}

void OscEmulatorBackend::writeToLogFile(const QString &text) const
{
    writeLogFileLine(LogFormat::now(), text);
}

void OscEmulatorBackend::writeLogFileLine(const LogFormat::Stamp &stamp, const QString &text) const
{
    if (!logStream || !logFile || !logFile->isOpen())
        return;
    *logStream << LogFormat::fileLine(stamp, text);
    errno = 0;
    logStream->flush();
    const int writeErrno = errno;
    if (logStream->status() == QTextStream::Ok && logFile->error() == QFileDevice::NoError)
        return;
    // A short write leaves no error on the file; the system's own reason is in errno.
    const QString reason = logFile->error() == QFileDevice::NoError && writeErrno != 0 ? qt_error_string(writeErrno)
                                                                                       : logFile->errorString();
    logStream->resetStatus();
    logFile->unsetError();
    // Said once per run; the in-memory log goes on regardless.
    if (!m_logWriteFailed) {
        m_logWriteFailed = true;
        addLogMessage(QStringLiteral("Cannot write the debug log file %1: %2").arg(logFile->fileName(), reason),
                      QtWarningMsg);
    }
}

void OscEmulatorBackend::clearLog()
{
    m_logMessages.clear();
    emit logMessagesChanged();
}
