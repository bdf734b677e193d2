#include "recordingbackend.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantMap>

void RecordingBackend::setFixtures(const QVariantList &fixtures)
{
    m_fixtures = fixtures;
    emit fixturesChanged();
}

void RecordingBackend::sendOscChannel(int universe, int channel, int value)
{
    record(QStringLiteral("sendOscChannel"), {universe, channel, value});
}

void RecordingBackend::sendOscToAddress(const QString &oscAddress, int value)
{
    record(QStringLiteral("sendOscToAddress"), {oscAddress, value});
}

void RecordingBackend::sendOscTyped(const QString &oscAddress, const QString &typeTags,
                                    const QVariantList &values)
{
    record(QStringLiteral("sendOscTyped"), {oscAddress, typeTags, QVariant(values)});
}

void RecordingBackend::loadDefaultFixturesConfig()
{
    record(QStringLiteral("loadDefaultFixturesConfig"), {});
}

void RecordingBackend::saveDefaultFixturesConfig()
{
    record(QStringLiteral("saveDefaultFixturesConfig"), {});
}

void RecordingBackend::loadFixturesFromFile(const QString &filePath)
{
    record(QStringLiteral("loadFixturesFromFile"), {filePath});
}

void RecordingBackend::clearCalls()
{
    m_calls.clear();
    emit callsChanged();
}

QVariantList RecordingBackend::readFixturesFile(const QString &filePath) const
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("fixtures")).toArray()
            .toVariantList();
}

void RecordingBackend::record(const QString &method, const QVariantList &args)
{
    m_calls.append(QVariantMap{{QStringLiteral("method"), method}, {QStringLiteral("args"), args}});
    emit callsChanged();
}
