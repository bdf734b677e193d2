#include "eventlog.h"

#include "diagnostics.h"
#include "logformat.h"
#include "loglines.h"

#include <QDebug>
#include <QFile>

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

EventLog::EventLog(const std::optional<QString> &fileName, QObject *parent)
    : QObject(parent)
    , m_lines(new LogLines(kMaxLogLines, this))
{
    open(fileName);
}

EventLog::~EventLog()
{
    close();
}

void EventLog::open(const std::optional<QString> &fileName)
{
    QString name;
    if (fileName) {
        if (fileName->isEmpty())
            return;
        name = *fileName;
        m_file = new QFile(name, this);
        m_file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text | QIODevice::Unbuffered);
    } else {
        const QDateTime start = QDateTime::currentDateTime();
        // Two runs in the same second must not overwrite each other's file: the name is
        // created exclusively, and a taken name moves on to "_2", "_3"...
        for (int attempt = 1; attempt <= kMaxLogFileAttempts; ++attempt) {
            name = LogFormat::debugLogFileName(start, attempt);
            delete m_file;
            m_file = new QFile(name, this);
            if (m_file->open(QIODevice::WriteOnly | QIODevice::Text | QIODevice::NewOnly | QIODevice::Unbuffered))
                break;
            if (!m_file->exists())
                break;
        }
    }
    if (!m_file->isOpen()) {
        qWarning() << "Failed to open log file:" << name;
        delete m_file;
        m_file = nullptr;
        return;
    }
    writeToFile(QStringLiteral("=== OSC Emulator Debug Log Started ==="));
    writeToFile(QStringLiteral("Log file: ") + name);
}

void EventLog::close()
{
    if (!m_file)
        return;
    writeToFile(QStringLiteral("=== OSC Emulator Debug Log Ended ==="));
    m_file->close();
    delete m_file;
    m_file = nullptr;
}

QString EventLog::fileName() const
{
    return m_file ? m_file->fileName() : QString();
}

void EventLog::add(const QString &message, QtMsgType level)
{
    const LogFormat::Stamp stamp = LogFormat::now();
    const QString line = LogFormat::memoryLine(stamp, level, message);
    m_lines->append(line);
    emit linesChanged();
    debugOutput(line);
    writeFileLine(stamp, line);
}

void EventLog::writeToFile(const QString &text)
{
    writeFileLine(LogFormat::now(), text);
}

void EventLog::writeFileLine(const LogFormat::Stamp &stamp, const QString &text)
{
    if (!m_file)
        return;
    LogFormat::putFileLine(m_fileLine, stamp, text);
    errno = 0;
    const qint64 written = m_file->write(m_fileLine);
    const int writeErrno = errno;
    if (written == m_fileLine.size() && m_file->error() == QFileDevice::NoError)
        return;
    // A short write leaves no error on the file; the system's own reason is in errno.
    const QString reason = m_file->error() == QFileDevice::NoError && writeErrno != 0 ? qt_error_string(writeErrno)
                                                                                     : m_file->errorString();
    m_file->unsetError();
    // Said once per run; the in-memory log goes on regardless.
    if (!m_writeFailed) {
        m_writeFailed = true;
        add(QStringLiteral("Cannot write the debug log file %1: %2").arg(m_file->fileName(), reason), QtWarningMsg);
    }
}

void EventLog::clear()
{
    m_lines->clear();
    emit linesChanged();
}

const QStringList &EventLog::lines() const
{
    return m_lines->lines();
}
