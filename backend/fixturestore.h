#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>

class EventLog;

// The desk's fixtures: the list, loaded from and saved to a fixtures file (the default one
// in the configuration folder when no path is given). Each outcome is one log line.
class FixtureStore : public QObject
{
    Q_OBJECT
public:
    explicit FixtureStore(EventLog *log, QObject *parent = nullptr);

    const QVariantList &fixtures() const { return m_fixtures; }

    // A missing, unreadable or invalid file leaves the list as it was.
    void load(const QString &filePath);
    // Keeps the file it replaces as "<file>.bak"; a failed save leaves the file as it was.
    void save(const QString &filePath);

    static QString defaultFilePath();

signals:
    void fixturesChanged();
    void errorOccurred(QString error);

private:
    EventLog *m_log;
    QVariantList m_fixtures;
};
