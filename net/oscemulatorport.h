#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QUdpSocket>

#include <optional>

// The desk's one UDP socket: listening for the emulated device and sending to the target.
// A datagram refused by its target (nobody listening) ends as targetUnreachable, one per
// refused datagram, every other socket failure as errorOccurred; the platform details
// behind that are in udpplatform.h.
class OscEmulatorPort : public QObject
{
    Q_OBJECT
public:
    explicit OscEmulatorPort(QObject *parent = nullptr);
    ~OscEmulatorPort() override;

    bool open(quint16 port);
    void close();
    bool isOpen() const;
    // False when the datagram did not leave, with the socket's own reason in *error.
    bool send(const QByteArray &data, const QHostAddress &address, quint16 port, QString *error = nullptr);

    quint16 localPort() const { return m_socket->localPort(); }

signals:
    // Every datagram but an empty one, which the device ignores.
    void dataReceived(QByteArray data);
    void errorOccurred(QString error);
    void targetUnreachable(QString error);
    void portOpened();
    void portClosed();
    // Every datagram, empty ones included, with its sender: for the monitor, which
    // reports what it cannot decode.
    void datagramReceived(QByteArray data, QHostAddress sender, quint16 senderPort);

private slots:
    void readPendingDatagrams();

private:
    void renewSocket();
    bool bindForSending(QString *error);
    bool writeDatagram(const QByteArray &data, const QHostAddress &address, quint16 port, QString *error);
    bool deliver(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort);
    void rearmReadNotifier();
    int reportQueuedErrors();
    void handleSocketError(QAbstractSocket::SocketError error);
    void reportSocketError(bool refused, const QString &text);

    // A datagram's diagnostic: "<what> "<address>" port <port> - size: <size>". The text up
    // to the size is kept for the next datagram of the same peer: a flood comes from one.
    class DatagramDiagnostic
    {
    public:
        explicit DatagramDiagnostic(const char *what) : m_what(what) {}
        // Valid until the next call.
        const QString &text(const QHostAddress &address, quint16 port, qint64 size);

    private:
        const char *m_what;
        QHostAddress m_address;
        quint16 m_port = 0;
        qsizetype m_prefixSize = 0; // of m_text, the text up to the size
        QString m_text;
    };

    // Always holds a socket; made anew after a failed bind (see renewSocket).
    std::optional<QUdpSocket> m_socket;
    QByteArray m_readBuffer;
    DatagramDiagnostic m_sentDiagnostic{"Sent OSC datagram to"};
    DatagramDiagnostic m_receivedDiagnostic{"Received OSC datagram from"};
};
