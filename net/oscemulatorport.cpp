#include "oscemulatorport.h"

#include "diagnostics.h"
#include "udpplatform.h"

#include <QSignalBlocker>

namespace {
// Larger than any UDP payload.
constexpr qint64 kMaxDatagramSize = 65536;
// Datagrams handled per wake-up before the event loop gets its turn again (timers,
// painting); the rest wait in the socket's receive buffer.
constexpr int kMaxDatagramsPerWakeUp = 256;
// A send fails while an error about an earlier datagram waits in the error queue: the
// queue is reported and emptied, and the datagram goes again, this many times at most.
constexpr int kSendAttempts = 3;
} // namespace

const QString &OscEmulatorPort::DatagramDiagnostic::text(const QHostAddress &address, quint16 port, qint64 size)
{
    // QHostAddress's == leaves the IPv6 scope out; the text does not.
    if (m_prefixSize == 0 || port != m_port || address != m_address || address.scopeId() != m_address.scopeId()) {
        m_address = address;
        m_port = port;
        m_text = QLatin1String(m_what) + QLatin1Char(' ') + quotedText(address.toString()) + QStringLiteral(" port ")
                + QString::number(port) + QStringLiteral(" - size: ");
        m_prefixSize = m_text.size();
    }
    m_text.truncate(m_prefixSize);
    appendDecimal(m_text, size);
    return m_text;
}

OscEmulatorPort::OscEmulatorPort(QObject *parent)
    : QObject(parent)
{
    renewSocket();
}

OscEmulatorPort::~OscEmulatorPort()
{
    close();
}

// A QUdpSocket whose bind failed keeps that attempt's descriptor, of the address family
// tried, for its next bind, and reports no later error but that first one: after a
// failed bind the port starts again from a new socket.
void OscEmulatorPort::renewSocket()
{
    m_socket.emplace();
    connect(&*m_socket, &QUdpSocket::readyRead, this, &OscEmulatorPort::readPendingDatagrams);
    connect(&*m_socket, &QUdpSocket::errorOccurred, this, &OscEmulatorPort::handleSocketError);
}

bool OscEmulatorPort::open(quint16 port)
{
    if (isOpen())
        close();
    bool bound;
    {
        // The socket announces a failed bind through errorOccurred as well; it is
        // reported once, below.
        const QSignalBlocker quiet(&*m_socket);
        bound = m_socket->bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DefaultForPlatform);
    }
    if (bound) {
        UdpPlatform::prepareBoundSocket(*m_socket);
        debugMessage(QStringLiteral("OSC UDP port %1 bound successfully.").arg(port));
        emit portOpened();
        return true;
    }
    const QString error = m_socket->errorString();
    renewSocket();
    warningMessage(QStringLiteral("Failed to bind OSC UDP port %1 : %2").arg(port).arg(quotedText(error)));
    emit errorOccurred(error);
    return false;
}

void OscEmulatorPort::close()
{
    if (!isOpen())
        return;
    m_socket->close();
    debugMessage(QStringLiteral("OSC UDP port closed."));
    emit portClosed();
}

bool OscEmulatorPort::isOpen() const
{
    return m_socket->state() != QAbstractSocket::UnconnectedState;
}

bool OscEmulatorPort::send(const QByteArray &data, const QHostAddress &address, quint16 port, QString *reason)
{
    if (data.isEmpty()) {
        if (reason)
            *reason = QStringLiteral("empty datagram");
        return false;
    }
    QString error;
    // The binding writeDatagram would make by itself (any address, ephemeral port), made
    // first so that the error queue is on before the first datagram can be refused.
    if ((isOpen() || bindForSending(&error)) && writeDatagram(data, address, port, &error)) {
        if (debugEnabled())
            debugMessage(m_sentDiagnostic.text(address, port, data.size()));
        return true;
    }
    warningMessage(QStringLiteral("Failed to send OSC datagram to %1 port %2 - written: -1 error: %3")
                           .arg(quotedText(address.toString()))
                           .arg(port)
                           .arg(quotedText(error)));
    if (reason)
        *reason = error;
    return false;
}

bool OscEmulatorPort::bindForSending(QString *error)
{
    // A failure arrives through the socket's errorOccurred and the sorting below.
    if (!m_socket->bind(QHostAddress::Any, 0)) {
        *error = m_socket->errorString();
        renewSocket();
        return false;
    }
    UdpPlatform::prepareBoundSocket(*m_socket);
    return true;
}

// A failure is sorted as the socket's errors are, and its text returned in `error`.
bool OscEmulatorPort::writeDatagram(const QByteArray &data, const QHostAddress &address, quint16 port,
                                    QString *error)
{
    UdpPlatform::SendFailure failure;
    for (int attempt = 0; attempt < kSendAttempts; ++attempt) {
        if (UdpPlatform::sendDatagram(*m_socket, data, address, port, &failure))
            return true;
        if (reportQueuedErrors() == 0)
            break;
    }
    *error = failure.text;
    reportSocketError(failure.refused, failure.text);
    return false;
}

void OscEmulatorPort::readPendingDatagrams()
{
    // A queued ICMP error wakes readyRead too, and while one waits the socket's reads
    // fail: the errors come off the queue first, and again whenever a read fails.
    reportQueuedErrors();
    const auto sink = [this](const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort) {
        return deliver(datagram, sender, senderPort);
    };
    int handled = 0;
    while (handled < kMaxDatagramsPerWakeUp && isOpen()) {
        const int read = UdpPlatform::receiveDatagrams(*m_socket, kMaxDatagramsPerWakeUp - handled,
                                                       m_readBuffer, sink);
        if (read > 0)
            handled += read;
        else if (reportQueuedErrors() == 0)
            break;
    }
    rearmReadNotifier();
}

// QUdpSocket re-enables its read notifier only when it reads a datagram itself: one
// read with its signals blocked re-arms it. It fails quietly, or takes a datagram that
// arrived meanwhile.
void OscEmulatorPort::rearmReadNotifier()
{
    if (!isOpen())
        return;
    if (m_readBuffer.size() < kMaxDatagramSize)
        m_readBuffer.resize(kMaxDatagramSize);
    QHostAddress sender;
    quint16 senderPort = 0;
    qint64 read;
    {
        const QSignalBlocker quiet(&*m_socket);
        read = m_socket->readDatagram(m_readBuffer.data(), kMaxDatagramSize, &sender, &senderPort);
    }
    if (read >= 0)
        deliver(m_readBuffer.left(int(read)), sender, senderPort);
}

// Returns false once a receiver of dataReceived has closed the port.
bool OscEmulatorPort::deliver(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort)
{
    if (debugEnabled())
        debugMessage(m_receivedDiagnostic.text(sender, senderPort, datagram.size()));
    if (!datagram.isEmpty())
        emit dataReceived(datagram);
    emit datagramReceived(datagram, sender, senderPort);
    return isOpen();
}

// Reports every refusal waiting in the error queue; returns how many entries about
// earlier datagrams it took. Emitted after the queue is empty: a receiver may close the
// socket. The text is the socket's own for a refusal, not the C library's, which follows
// the user's language.
int OscEmulatorPort::reportQueuedErrors()
{
    const UdpPlatform::QueuedErrors errors = UdpPlatform::takeQueuedErrors(*m_socket);
    for (int i = 0; i < errors.refused; ++i)
        emit targetUnreachable(QStringLiteral("Connection refused"));
    return errors.earlier;
}

void OscEmulatorPort::handleSocketError(QAbstractSocket::SocketError error)
{
    reportSocketError(error == QAbstractSocket::ConnectionRefusedError
                              || error == QAbstractSocket::RemoteHostClosedError,
                      m_socket->errorString());
}

void OscEmulatorPort::reportSocketError(bool refused, const QString &text)
{
    if (refused) {
        emit targetUnreachable(text);
        return;
    }
    warningMessage(QStringLiteral("OSC UDP socket error: ") + quotedText(text));
    emit errorOccurred(text);
}
