#include "fixturestore.h"

#include "eventlog.h"
#include "fixtureformat.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

// Copies the file at `path`, when there is one and it differs from `next`, to
// `backupPath`; *count becomes the number of fixtures it held, or stays -1 when it is no
// fixtures document. False when a file to keep could not be read or copied.
bool keepPreviousFile(const QString &path, const QString &backupPath, const QByteArray &next, int *count)
{
    QFile previous(path);
    if (!previous.exists())
        return true;
    if (!previous.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = previous.readAll();
    if (previous.error() != QFileDevice::NoError)
        return false;
    // Saving the same desk again keeps the copy of what was there before it.
    if (bytes == next)
        return true;
    QJsonArray fixtures;
    if (FixtureFormat::readFixtures(bytes, &fixtures, nullptr))
        *count = int(fixtures.size());
    QSaveFile backup(backupPath);
    return backup.open(QIODevice::WriteOnly) && backup.write(bytes) == bytes.size() && backup.flush()
            && backup.commit();
}

} // namespace

FixtureStore::FixtureStore(EventLog *log, QObject *parent)
    : QObject(parent)
    , m_log(log)
{
}

QVariantList FixtureStore::fixtures() const
{
    return fixtureArray().toVariantList();
}

QJsonArray FixtureStore::fixtureArray() const
{
    if (m_isEdited)
        return m_edited;
    return QJsonDocument::fromJson(m_fixtures).array();
}

QString FixtureStore::defaultFilePath()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    QDir().mkpath(folder);
    return QDir(folder).filePath(QStringLiteral("osc_fixtures.json"));
}

void FixtureStore::load(const QString &filePath)
{
    // Trimmed only to tell "no path" apart; a given path is used exactly as typed.
    const QString path = filePath.trimmed().isEmpty() ? defaultFilePath() : filePath;
    QFile file(path);
    if (!file.exists()) {
        m_log->add(QStringLiteral("Fixtures file not found: %1").arg(path), QtWarningMsg);
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
        m_log->add(message, QtCriticalMsg);
        emit errorOccurred(message);
        return;
    }

    QJsonArray loaded;
    QString parseError;
    if (!FixtureFormat::readFixtures(content, &loaded, &parseError)) {
        m_log->add(QStringLiteral("Error parsing fixtures JSON: %1").arg(parseError), QtCriticalMsg);
        emit errorOccurred(QStringLiteral("Error reading fixtures file (invalid JSON)."));
        return;
    }

    m_fixtures = QJsonDocument(loaded).toJson(QJsonDocument::Compact);
    m_edited = QJsonArray();
    m_isEdited = false;
    m_fixtureCount = int(loaded.size());
    // The file and its parse are let go before those who follow the list build from it.
    loaded = QJsonArray();
    content = QByteArray();
    emit fixturesChanged();
    m_log->add(QStringLiteral("Loaded %1 fixtures from %2").arg(QString::number(m_fixtureCount), path),
                  QtInfoMsg);
}

void FixtureStore::replaceFixtures(const QJsonArray &fixtures, int unchanged)
{
    m_fixtures = QByteArray();
    m_edited = fixtures;
    m_isEdited = true;
    m_fixtureCount = int(fixtures.size());
    emit fixturesEdited(qBound(0, unchanged, m_fixtureCount));
}

void FixtureStore::save(const QString &filePath)
{
    const QString path = filePath.trimmed().isEmpty() ? defaultFilePath() : filePath;
    const QByteArray json = FixtureFormat::writeFixtures(fixtureArray());
    QDir().mkpath(QFileInfo(path).absolutePath());

    // Written beside the target and renamed over it on commit, so a failed write
    // leaves the previous file as it was. The explicit flush matters: commit() does not
    // notice a failure to write out what the file still buffers.
    QSaveFile file(path);
    const bool written = file.open(QIODevice::WriteOnly | QIODevice::Text)
            && file.write(json) == json.size() && file.flush();
    // The previous file is kept beside it before the new one takes its place: a save that
    // cannot keep it replaces nothing.
    const QString backupPath = path + QStringLiteral(".bak");
    int previousCount = -1;
    const bool kept = written && keepPreviousFile(path, backupPath, json, &previousCount);
    if (!kept || !file.commit()) {
        QString message = QStringLiteral("Cannot write fixtures file: %1").arg(path);
        if (written && !kept)
            message += QStringLiteral(" (the previous file could not be kept as %1)").arg(backupPath);
        m_log->add(message, QtCriticalMsg);
        emit errorOccurred(message);
        return;
    }
    m_log->add(QStringLiteral("Saved %1 fixtures to %2").arg(QString::number(m_fixtureCount), path),
                  QtInfoMsg);
    emit saved(path);
    if (previousCount > m_fixtureCount) {
        m_log->add(QStringLiteral("Saved %1 fixtures over a file that held %2; the previous file is kept as %3")
                              .arg(QString::number(m_fixtureCount), QString::number(previousCount), backupPath),
                      QtWarningMsg);
    }
}
