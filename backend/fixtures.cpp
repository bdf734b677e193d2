#include "fixtureformat.h"
#include "oscemulatorbackend.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

QString OscEmulatorBackend::defaultFixturesFilePath() const
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("osc_fixtures.json"));
}

void OscEmulatorBackend::loadFixturesFromFile(const QString &filePath)
{
    // Trimmed only to tell "no path" apart; a given path is used exactly as typed.
    const QString path = filePath.trimmed().isEmpty() ? defaultFixturesFilePath() : filePath;
    QFile file(path);
    if (!file.exists()) {
        addLogMessage(QStringLiteral("Fixtures file not found: %1").arg(path), QtWarningMsg);
        return;
    }

    // A directory exists but is no file to read; a read that fails half-way (an
    // unreadable /proc entry, an I/O error) counts as a file that cannot be opened.
    QByteArray content;
    bool readable = !QFileInfo(path).isDir() && file.open(QIODevice::ReadOnly | QIODevice::Text);
    if (readable) {
        content = file.readAll();
        readable = file.error() == QFileDevice::NoError;
        file.close();
    }
    if (!readable) {
        const QString message = QStringLiteral("Cannot open fixtures file: %1").arg(path);
        addLogMessage(message, QtCriticalMsg);
        emit errorOccurred(message);
        return;
    }

    QVariantList loaded;
    QString parseError;
    if (!FixtureFormat::readFixtures(content, &loaded, &parseError)) {
        addLogMessage(QStringLiteral("Error parsing fixtures JSON: %1").arg(parseError), QtCriticalMsg);
        emit errorOccurred(QStringLiteral("Error reading fixtures file (invalid JSON)."));
        return;
    }

    m_fixtures = loaded;
    emit fixturesChanged();
    addLogMessage(QStringLiteral("Loaded %1 fixtures from %2").arg(QString::number(m_fixtures.size()), path),
                  QtInfoMsg);
}

void OscEmulatorBackend::saveFixturesToFile(const QString &filePath) const
{
    const QString path = filePath.trimmed().isEmpty() ? defaultFixturesFilePath() : filePath;
    const QByteArray json = FixtureFormat::writeFixtures(m_fixtures);
    QDir().mkpath(QFileInfo(path).absolutePath());

    // Written beside the target and renamed over it on commit, so a failed write
    // leaves the previous file as it was. The explicit flush matters: commit() does not
    // notice a failure to write out what the file still buffers.
    QSaveFile file(path);
    file.setDirectWriteFallback(true);
    const bool written = file.open(QIODevice::WriteOnly | QIODevice::Text)
            && file.write(json) == json.size() && file.flush() && file.commit();
    if (!written) {
        const QString message = QStringLiteral("Cannot write fixtures file: %1").arg(path);
        addLogMessage(message, QtCriticalMsg);
        emit const_cast<OscEmulatorBackend *>(this)->errorOccurred(message);
        return;
    }
    addLogMessage(QStringLiteral("Saved %1 fixtures to %2").arg(QString::number(m_fixtures.size()), path),
                  QtInfoMsg);
}

void OscEmulatorBackend::loadDefaultFixturesConfig()
{
    loadFixturesFromFile(QString());
}

void OscEmulatorBackend::saveDefaultFixturesConfig() const
{
    saveFixturesToFile(QString());
}
