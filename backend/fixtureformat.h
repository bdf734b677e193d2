#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

// The fixtures file: its two document forms, the fixture defaults and bounds,
// and the one layout it is written in. Pure functions, no state, no logging.
namespace FixtureFormat {

// Every key of the given object is kept; the nine fixture keys are then set to their
// normalised values. Never fails. Does not look inside `capabilities`.
QJsonObject normalizeFixture(const QJsonObject &fixture);

// Array form or object form (the array under `fixtures`); elements that are not
// objects are skipped, every object is normalised. On failure returns false and
// writes the JSON reader's description into *error (when not null), leaving
// *fixtures untouched. An empty list is a success.
bool readFixtures(const QByteArray &json, QJsonArray *fixtures, QString *error);

// Always the object form {"fixtures": [...]}, indented, members sorted by key.
QByteArray writeFixtures(const QJsonArray &fixtures);

} // namespace FixtureFormat
