#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>

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
    void setFixtures(const QVariantList &fixtures);
    QVariantList calls() const { return m_calls; }

    Q_INVOKABLE void sendOscChannel(int universe, int channel, int value);
    Q_INVOKABLE void sendOscToAddress(const QString &oscAddress, int value);
    Q_INVOKABLE void sendOscTyped(const QString &oscAddress, const QString &typeTags,
                                  const QVariantList &values = QVariantList());
    Q_INVOKABLE void loadDefaultFixturesConfig();
    Q_INVOKABLE void saveDefaultFixturesConfig();
    Q_INVOKABLE void loadFixturesFromFile(const QString &filePath);

    Q_INVOKABLE void clearCalls();
    // The fixtures of a JSON fixtures document in the object form, as written (not normalised).
    Q_INVOKABLE QVariantList readFixturesFile(const QString &filePath) const;

signals:
    void fixturesChanged();
    void callsChanged();

private:
    void record(const QString &method, const QVariantList &args);

    QVariantList m_fixtures;
    QVariantList m_calls;
};
