#include "fixtureformat.h"
#include "fuzzcheck.h"

#include <cstdint>

// Any fixtures file. Reading either fails with a reason and leaves the list alone, or
// gives normalised fixtures; writing them and reading that back is stable, and
// normalising a normalised fixture changes nothing.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char *>(data), qsizetype(size));
    const QJsonArray sentinel{QStringLiteral("untouched")};
    QJsonArray first = sentinel;
    QString error;
    if (!FixtureFormat::readFixtures(json, &first, &error)) {
        FUZZ_CHECK(!error.isEmpty());
        FUZZ_CHECK(first == sentinel);
        return 0;
    }

    for (const QJsonValue &value : first) {
        const QJsonObject fixture = value.toObject();
        FUZZ_CHECK(!fixture.value(QStringLiteral("id")).toVariant().toString().trimmed().isEmpty());
        FUZZ_CHECK(fixture.value(QStringLiteral("universe")).toInt(-1) >= 0);
        for (const char *key : {"startChannel", "channelCount"}) {
            const int bounded = fixture.value(QLatin1String(key)).toInt(-1);
            FUZZ_CHECK(bounded >= 1 && bounded <= 512);
        }
        FUZZ_CHECK(FixtureFormat::normalizeFixture(fixture) == fixture);
    }

    const QByteArray written = FixtureFormat::writeFixtures(first);
    QJsonArray second;
    FUZZ_CHECK(FixtureFormat::readFixtures(written, &second, nullptr));
    FUZZ_CHECK(second.size() == first.size());
    FUZZ_CHECK(FixtureFormat::writeFixtures(second) == written);
    return 0;
}
