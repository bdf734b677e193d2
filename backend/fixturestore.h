#pragma once

#include <QByteArray>
#include <QJsonArray>
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

    QVariantList fixtures() const;
    // The same list as JSON objects.
    QJsonArray fixtureArray() const;
    int fixtureCount() const { return m_fixtureCount; }

    // A missing, unreadable or invalid file leaves the list as it was.
    void load(const QString &filePath);
    // Keeps the file it replaces as "<file>.bak"; a failed save leaves the file as it was.
    void save(const QString &filePath);
    // A list edited in the window: no file is read, and those who follow the list keep
    // what they can of it (fixturesEdited, not fixturesChanged). The first `unchanged`
    // fixtures are those of the list before, as they were.
    void replaceFixtures(const QJsonArray &fixtures, int unchanged = 0);

    static QString defaultFilePath();

signals:
    void fixturesChanged();
    void fixturesEdited(int unchanged);
    // The list was written to a file.
    void saved(QString path);
    void errorOccurred(QString error);

private:
    EventLog *m_log;
    // The normalised list as compact JSON: a desk of thousands of controls keeps a few
    // bytes a control here, where the same list as maps would take kilobytes.
    QByteArray m_fixtures = QByteArrayLiteral("[]");
    // An edited list is kept as given, shared with the editor that holds it anyway, so
    // that an edit costs no rewrite of the whole list; a load goes back to the JSON.
    QJsonArray m_edited;
    bool m_isEdited = false;
    int m_fixtureCount = 0;
};
