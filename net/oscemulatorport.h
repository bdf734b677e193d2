#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QUdpSocket>

// The desk's one UDP socket: listening for the emulated device and sending to the target.
//
// On Linux an unconnected UDP socket hears nothing of the ICMP port-unreachable replies
// to its datagrams unless the kernel's extended error reporting (IP_RECVERR and
// IPV6_RECVERR) is on; the port turns it on whenever the socket gets bound and reads
// the refusals from the socket's error queue, one targetUnreachable per refused datagram.
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
    void readOneDatagram(qint64 size, bool quietly);
    int receiveBatch();
    void deliver(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);
    void enlargeReceiveBuffer();
    bool bindForSending();
    void enableErrorQueue();
    int drainErrorQueue();

    QUdpSocket m_socket;
    QByteArray m_readBuffer;
    QByteArray m_batchBuffer;
    // Entries taken from the error queue so far; lets send() tell a write that failed
    // only because it collected an earlier refusal.
    quint64 m_queuedErrorsDrained = 0;
};
