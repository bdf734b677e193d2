#include "testtools.h"

#include <QDeadlineTimer>
#include <QUdpSocket>

int TestTools::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000))
        return -1;
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

int TestTools::startOscDump()
{
    stopOscDump();
    connect(&m_oscDump, &QProcess::readyReadStandardOutput, this, &TestTools::readOscDump, Qt::UniqueConnection);
    quint16 port;
    {
        QUdpSocket free;
        if (!free.bind(QHostAddress::LocalHost, 0))
            return -1;
        port = free.localPort();
    }
    QUdpSocket probe;
    m_listening = false;
    m_pending.clear();
    m_messages.clear();
    m_oscDump.start(QStringLiteral("oscdump"), {QStringLiteral("-L"), QString::number(port)});
    // oscdump binds its port a moment after it starts: probe until it prints one.
    for (int attempt = 0; attempt < 100 && !m_listening && m_oscDump.waitForStarted(); ++attempt) {
        probe.writeDatagram(QByteArray::fromHex("2f70726f62650000" "2c000000"), QHostAddress::LocalHost, port);
        m_oscDump.waitForReadyRead(100);
    }
    return m_listening ? port : -1;
}

void TestTools::stopOscDump()
{
    if (m_oscDump.state() == QProcess::NotRunning)
        return;
    m_oscDump.kill();
    m_oscDump.waitForFinished(5000);
}

bool TestTools::waitForOscDump(int count, int timeout)
{
    QDeadlineTimer deadline(timeout);
    while (m_messages.size() < count && !deadline.hasExpired() && m_oscDump.state() == QProcess::Running)
        m_oscDump.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    return m_messages.size() >= count;
}

void TestTools::readOscDump()
{
    m_pending += m_oscDump.readAllStandardOutput();
    for (int end; (end = m_pending.indexOf('\n')) >= 0; m_pending.remove(0, end + 1)) {
        // "<time tag> <address> <types> <arguments...>"; the probes are not kept.
        const QString message = QString::fromUtf8(m_pending.left(end)).section(QLatin1Char(' '), 1).trimmed();
        if (message == QLatin1String("/probe"))
            m_listening = true;
        else if (!message.isEmpty())
            m_messages.append(message);
    }
    emit oscDumpMessagesChanged();
}
