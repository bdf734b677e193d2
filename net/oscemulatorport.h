#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QUdpSocket>

// The desk's one UDP socket: listening for the emulated device and sending to the target.
class OscEmulatorPort : public QObject
{
    Q_OBJECT
public:
    explicit OscEmulatorPort(QObject *parent = nullptr);
    ~OscEmulatorPort() override;

    bool open(quint16 port);
    void close();
    bool isOpen() const;
    bool send(const QByteArray &data, const QHostAddress &address, quint16 port);

    quint16 localPort() const { return m_socket.localPort(); }

signals:
    void dataReceived(QByteArray data);
    void errorOccurred(QString error);
    void targetUnreachable(QString error);
    void portOpened();
    void portClosed();

private slots:
    void readPendingDatagrams();

private:
    void handleSocketError(QAbstractSocket::SocketError error);

    QUdpSocket m_socket;
};
