#include "oscemulatorbackend.h"

#include <QDir>
#include <QStandardPaths>

QString OscEmulatorBackend::defaultFixturesFilePath() const
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("osc_fixtures.json"));
}

void OscEmulatorBackend::loadFixturesFromFile(const QString &filePath)
{
    Q_UNUSED(filePath)
}

void OscEmulatorBackend::saveFixturesToFile(const QString &filePath) const
{
    Q_UNUSED(filePath)
}

void OscEmulatorBackend::loadDefaultFixturesConfig()
{
    loadFixturesFromFile(QString());
}

void OscEmulatorBackend::saveDefaultFixturesConfig() const
{
    saveFixturesToFile(QString());
}
