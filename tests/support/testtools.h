#pragma once

#include "testsupport.h"

#include <QDir>
#include <QFileInfo>
#include <QObject>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

// What a test cannot do on its own: run other programs, among them liblo's oscdump as an
// independent receiver, and read and write files. Published to QML tests as `testTools`.
class TestTools : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString configFolder READ configFolder CONSTANT)
    Q_PROPERTY(QStringList oscDumpMessages READ oscDumpMessages NOTIFY oscDumpMessagesChanged)

public:
    using QObject::QObject;
    ~TestTools() override { stopOscDump(); }

    QString configFolder() const { return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation); }
    // Each message oscdump printed, without its time tag: "/osc/channel iii 0 1 127".
    QStringList oscDumpMessages() const { return m_messages; }

    // Runs a program to its end; returns its exit code, or -1 when it could not run.
    Q_INVOKABLE int run(const QString &program, const QStringList &arguments) const;
    Q_INVOKABLE bool isInstalled(const QString &program) const
    { return !QStandardPaths::findExecutable(program).isEmpty(); }
    Q_INVOKABLE QString readFile(const QString &path) const { return QString::fromUtf8(TestSupport::readBytes(path)); }
    // Writes the file anew, making its folder when missing.
    Q_INVOKABLE bool writeFile(const QString &path, const QString &text) const
    { return QDir().mkpath(QFileInfo(path).absolutePath()) && TestSupport::writeBytes(path, text.toUtf8()); }
    // Starts `oscdump -L <port>` on a free loopback port and returns that port once it
    // hears, or -1.
    Q_INVOKABLE int startOscDump();
    Q_INVOKABLE void stopOscDump();
    // Whether oscdump has printed at least `count` messages, waiting up to `timeout` ms.
    Q_INVOKABLE bool waitForOscDump(int count, int timeout = 5000);
    Q_INVOKABLE void clearOscDump() { m_messages.clear(); emit oscDumpMessagesChanged(); }

signals:
    void oscDumpMessagesChanged();

private:
    void readOscDump();

    QProcess m_oscDump;
    QByteArray m_pending;
    QStringList m_messages;
    bool m_listening = false;
};
