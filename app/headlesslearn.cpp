#include "headlesslearn.h"

#include "fixtureformat.h"

#include <cstdio>

HeadlessLearn::HeadlessLearn()
    : m_log(QString())
    , m_store(&m_log)
    , m_monitor(&m_log, nullptr)
    , m_editor(&m_store, nullptr, &m_log)
{
    m_monitor.setFollowFeedback(false);
    m_editor.follow(&m_monitor);
    m_editor.setLearning(true);
    QObject::connect(&m_log, &EventLog::linesChanged, &m_log, [this] {
        const QString line = m_log.lines().isEmpty() ? QString() : m_log.lines().last().section(QLatin1Char(' '), 1);
        if (line.startsWith(QLatin1String("[WARNING]")) || line.startsWith(QLatin1String("[CRITICAL]")))
            std::fprintf(stderr, "%s\n", qPrintable(line));
    });
}

bool HeadlessLearn::open(const QString &outFile, quint16 port, QString *error)
{
    m_out.setFileName(outFile);
    if (!m_out.open(QIODevice::WriteOnly)) {
        *error = QStringLiteral("Cannot write %1: %2").arg(outFile, m_out.errorString());
        return false;
    }
    m_monitor.setPort(port);
    m_monitor.start();
    if (m_monitor.running())
        return true;
    m_out.cancelWriting();
    m_out.commit();
    *error = QStringLiteral("Cannot listen on UDP port %1: %2").arg(port).arg(m_monitor.bindError());
    return false;
}

bool HeadlessLearn::finish(int *learned, QString *error)
{
    m_monitor.stop();
    m_editor.flush();
    const QJsonArray fixtures = m_editor.fixtures();
    *learned = 0;
    for (const QJsonValue &fixture : fixtures)
        *learned += fixture.toObject().value(QLatin1String("channelCount")).toInt();
    const QByteArray json = FixtureFormat::writeFixtures(fixtures);
    if (m_out.write(json) != json.size() || !m_out.flush() || !m_out.commit()) {
        *error = QStringLiteral("Cannot write %1: %2").arg(m_out.fileName(), m_out.errorString());
        return false;
    }
    return true;
}
