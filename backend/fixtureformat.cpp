#include "fixtureformat.h"

#include "oscwire.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QUuid>

namespace FixtureFormat {

namespace {

const QString kId = QStringLiteral("id");
const QString kName = QStringLiteral("name");
const QString kManufacturer = QStringLiteral("manufacturer");
const QString kModel = QStringLiteral("model");
const QString kDeviceType = QStringLiteral("deviceType");
const QString kUniverse = QStringLiteral("universe");
const QString kStartChannel = QStringLiteral("startChannel");
const QString kChannelCount = QStringLiteral("channelCount");
const QString kCapabilities = QStringLiteral("capabilities");
const QString kFixtures = QStringLiteral("fixtures");

constexpr int kLowestChannel = 1;
constexpr int kHighestChannel = Osc::kChannelCount;

// A missing key takes the default; a present one converts as QVariant::toInt does, so
// anything that does not convert becomes 0 before the bounds apply.
int wholeNumber(const QJsonObject &fixture, const QString &key, int whenMissing)
{
    const auto it = fixture.constFind(key);
    return it == fixture.constEnd() ? whenMissing : it->toVariant().toInt();
}

} // namespace

QJsonObject normalizeFixture(const QJsonObject &fixture)
{
    QJsonObject result = fixture;

    // Null, objects and arrays have an empty text form, so they count as blank too.
    if (fixture.value(kId).toVariant().toString().trimmed().isEmpty())
        result.insert(kId, QUuid::createUuid().toString(QUuid::WithoutBraces));

    // Text keys take their default only when missing: an empty name stays empty.
    if (!fixture.contains(kName))
        result.insert(kName, QStringLiteral("Dispositivo OSC"));
    if (!fixture.contains(kManufacturer))
        result.insert(kManufacturer, QString());
    if (!fixture.contains(kModel))
        result.insert(kModel, QString());
    if (!fixture.contains(kDeviceType))
        result.insert(kDeviceType, QStringLiteral("Generic"));

    // Start and count are bounded separately: the last channel may lie past the last
    // channel of the universe.
    result.insert(kUniverse, qMax(0, wholeNumber(fixture, kUniverse, 0)));
    result.insert(kStartChannel, qBound(kLowestChannel, wholeNumber(fixture, kStartChannel, 1), kHighestChannel));
    result.insert(kChannelCount, qBound(kLowestChannel, wholeNumber(fixture, kChannelCount, 3), kHighestChannel));

    if (!fixture.value(kCapabilities).isObject())
        result.insert(kCapabilities, QJsonObject());
    return result;
}

bool readFixtures(const QByteArray &json, QJsonArray *fixtures, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || (!document.isArray() && !document.isObject())) {
        if (error) {
            *error = parseError.error != QJsonParseError::NoError
                    ? parseError.errorString()
                    : QStringLiteral("the document is neither an array nor an object");
        }
        return false;
    }

    const QJsonArray elements = document.isArray() ? document.array() : document.object().value(kFixtures).toArray();
    QJsonArray result;
    for (const QJsonValue &element : elements) {
        if (element.isObject())
            result.append(normalizeFixture(element.toObject()));
    }
    if (fixtures)
        *fixtures = result;
    return true;
}

QByteArray writeFixtures(const QJsonArray &fixtures)
{
    QJsonObject document;
    document.insert(kFixtures, fixtures);
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace FixtureFormat
