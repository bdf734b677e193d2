#include "oscdumpprocess.h"

#include <QStandardPaths>
#include <QUdpSocket>

OscDumpProcess::OscDumpProcess(QObject *parent)
    : QObject(parent)
{
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &OscDumpProcess::readLines);
}

OscDumpProcess::~OscDumpProcess()
{
    stop();
}

bool OscDumpProcess::isInstalled() const
{
    return !QStandardPaths::findExecutable(QStringLiteral("oscdump")).isEmpty();
}

int OscDumpProcess::start()
{
    stop();
    QUdpSocket probe;
    if (!probe.bind(QHostAddress::LocalHost, 0))
        return -1;
    const int port = probe.localPort();
    probe.close();
    m_process.start(QStringLiteral("oscdump"), {QStringLiteral("-L"), QString::number(port)});
    return m_process.waitForStarted(5000) ? port : -1;
}

void OscDumpProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(5000);
}

void OscDumpProcess::clear()
{
    m_messages.clear();
    emit messagesChanged();
}

void OscDumpProcess::readLines()
{
    m_pending += m_process.readAllStandardOutput();
    bool added = false;
    int end;
    while ((end = m_pending.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_pending.left(end)).trimmed();
        m_pending.remove(0, end + 1);
        // "<time tag> <address> <types> <arguments...>"
        const int gap = line.indexOf(QLatin1Char(' '));
        if (gap < 0)
            continue;
        m_messages.append(line.mid(gap + 1));
        added = true;
    }
    if (added)
        emit messagesChanged();
}
