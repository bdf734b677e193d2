#pragma once

#include <QObject>
#include <QVariantList>
#include <QVariantMap>

// Stands in for the backend in QML tests: every call of the operations the desk uses is
// appended to `calls` as { method, args }, and `fixtures` can be set from the test.
class RecordingBackend : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList fixtures READ fixtures WRITE setFixtures NOTIFY fixturesChanged)
    Q_PROPERTY(QVariantList calls READ calls NOTIFY callsChanged)

public:
    using QObject::QObject;

    QVariantList fixtures() const { return m_fixtures; }
    // Always announces, as a load of an equal list does.
    void setFixtures(const QVariantList &fixtures) { m_fixtures = fixtures; emit fixturesChanged(); }
    QVariantList calls() const { return m_calls; }

    Q_INVOKABLE void sendOscChannel(int universe, int channel, int value)
    { record("sendOscChannel", {universe, channel, value}); }
    Q_INVOKABLE void sendOscToAddress(const QString &oscAddress, int value)
    { record("sendOscToAddress", {oscAddress, value}); }
    Q_INVOKABLE void sendOscTyped(const QString &oscAddress, const QString &typeTags, const QVariantList &values)
    { record("sendOscTyped", {oscAddress, typeTags, QVariant(values)}); }
    Q_INVOKABLE void clearCalls() { m_calls.clear(); emit callsChanged(); }

signals:
    void fixturesChanged();
    void callsChanged();

private:
    void record(const char *method, const QVariantList &args)
    {
        m_calls.append(QVariantMap{{QStringLiteral("method"), QString::fromLatin1(method)}, {QStringLiteral("args"), args}});
        emit callsChanged();
    }

    QVariantList m_fixtures;
    QVariantList m_calls;
};
