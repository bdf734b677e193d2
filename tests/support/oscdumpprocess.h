#pragma once

#include <QObject>
#include <QProcess>
#include <QStringList>

// liblo's `oscdump -L <port>` as an independent receiver for QML tests. Each received
// message becomes one entry of `messages`: the dump line without its time tag, such as
// "/osc/channel iii 0 1 127".
class OscDumpProcess : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList messages READ messages NOTIFY messagesChanged)

public:
    explicit OscDumpProcess(QObject *parent = nullptr);
    ~OscDumpProcess() override;

    QStringList messages() const { return m_messages; }

    Q_INVOKABLE bool isInstalled() const;
    // Starts the listener on a free loopback UDP port; returns the port, or -1.
    Q_INVOKABLE int start();
    Q_INVOKABLE void stop();
    Q_INVOKABLE void clear();

signals:
    void messagesChanged();

private:
    void readLines();

    QProcess m_process;
    QByteArray m_pending;
    QStringList m_messages;
};
