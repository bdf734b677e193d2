#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QUdpSocket>

#include <optional>

// The desk's one UDP socket: listening for the emulated device and sending to the target.
//
// On Linux an unconnected UDP socket hears nothing of the ICMP port-unreachable replies
// to its datagrams unless the kernel's extended error reporting (IP_RECVERR and
// IPV6_RECVERR) is on; the port turns it on whenever the socket gets bound and reads
// the refusals from the socket's error queue, one targetUnreachable per refused datagram.
// There datagrams leave by sendto on the socket's descriptor, so that a failed send
// reports its own reason: QUdpSocket keeps the text of its first error for good.
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

    quint16 localPort() const { return m_socket->localPort(); }

signals:
    void dataReceived(QByteArray data);
    void errorOccurred(QString error);
    void targetUnreachable(QString error);
    void portOpened();
    void portClosed();

private slots:
    void readPendingDatagrams();

private:
    void renewSocket();
    void handleSocketError(QAbstractSocket::SocketError error);
    void reportSocketError(bool refused, const QString &text);
    qint64 writeDatagram(const QByteArray &data, const QHostAddress &address, quint16 port, QString *error);
    qint64 sendTo(const QByteArray &data, const QHostAddress &address, quint16 port) const;
    void readOneDatagram(qint64 size, bool quietly);
    int receiveBatch();
    void deliver(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);
    void enlargeReceiveBuffer();
    bool bindForSending(QString *error);
    void enableErrorQueue();
    int drainErrorQueue();

    // Always holds a socket; made anew after a failed bind (see renewSocket).
    std::optional<QUdpSocket> m_socket;
    // The bound descriptor's address family (AF_INET or AF_INET6), for sendTo.
    int m_family = 0;
    QByteArray m_readBuffer;
    QByteArray m_batchBuffer;
};
