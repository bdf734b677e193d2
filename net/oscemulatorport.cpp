#include "oscemulatorport.h"

#include <QDebug>
#include <QNetworkInterface>
#include <QSignalBlocker>

#include "diagnostics.h"

#ifdef Q_OS_LINUX
#include <cerrno>
#include <cstring>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

namespace {
// Larger than any UDP payload.
constexpr qint64 kMaxDatagramSize = 65536;
// Datagrams handled per wake-up before the event loop gets its turn again (timers,
// painting); the rest wait in the socket's receive buffer.
constexpr int kMaxDatagramsPerWakeUp = 256;
// A flood from another program is absorbed here while the desk catches up: the kernel
// charges about 1 KiB for each small datagram queued, so this holds a burst of some
// 100,000, the rest of a second's flood that the desk, writing two lines for each, has
// not yet read. Memory only while they wait; without the right to exceed the system's
// limit (net.core.rmem_max) the buffer gets that limit.
constexpr int kReceiveBufferBytes = 64 << 20;

#ifdef Q_OS_LINUX
// The reason a send failed, in the socket's own English texts, not the C library's,
// which follow the user's language.
QString sendErrorText(int code)
{
    switch (code) {
    case EMSGSIZE:
        return QStringLiteral("Datagram was too large to send");
    case ENETUNREACH:
        return QStringLiteral("Network unreachable");
    case ENETDOWN:
        return QStringLiteral("Network is down");
    case EHOSTUNREACH:
        return QStringLiteral("Host unreachable");
    case ECONNREFUSED:
        return QStringLiteral("Connection refused");
    case ECONNRESET:
        return QStringLiteral("The remote host closed the connection");
    case EACCES:
    case EPERM:
        return QStringLiteral("Permission denied");
    case EAFNOSUPPORT:
        return QStringLiteral("The target's address family is not the socket's");
    case EADDRNOTAVAIL:
        return QStringLiteral("The address is not available");
    case ENOBUFS:
    case ENOMEM:
    case EAGAIN:
        return QStringLiteral("Insufficient resources");
    default:
        return QStringLiteral("Unable to send a message (error %1)").arg(code);
    }
}
#endif
} // namespace

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
        enableErrorQueue();
        enlargeReceiveBuffer();
        qDebug() << "OSC UDP port" << port << "bound successfully.";
        emit portOpened();
        return true;
    }
    const QString error = m_socket->errorString();
    renewSocket();
    qWarning() << "Failed to bind OSC UDP port" << port << ":" << error;
    emit errorOccurred(error);
    return false;
}

void OscEmulatorPort::close()
{
    if (!isOpen())
        return;
    m_socket->close();
    qDebug() << "OSC UDP port closed.";
    emit portClosed();
}

bool OscEmulatorPort::isOpen() const
{
    return m_socket->state() != QAbstractSocket::UnconnectedState;
}

bool OscEmulatorPort::send(const QByteArray &data, const QHostAddress &address, quint16 port)
{
    if (data.isEmpty())
        return false;
    QString error;
    qint64 written = -1;
    // The binding writeDatagram would make by itself (any address, ephemeral port), made
    // first so that the error queue is on before the first datagram can be refused.
    if (isOpen() || bindForSending(&error))
        written = writeDatagram(data, address, port, &error);
    if (written == data.size()) {
        if (debugEnabled()) {
            debugMessage(QStringLiteral("Sent OSC datagram to \"") + address.toString() + QStringLiteral("\" port ")
                         + QString::number(port) + QStringLiteral(" - size: ") + QString::number(written));
        }
        return true;
    }
    qWarning() << "Failed to send OSC datagram to" << address.toString() << "port" << port
               << "- written:" << written << "error:" << error;
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
    enableErrorQueue();
    return true;
}

// Writes one datagram on the bound socket; a failure is sorted as the socket's errors
// are, and its text returned in `error`.
qint64 OscEmulatorPort::writeDatagram(const QByteArray &data, const QHostAddress &address, quint16 port,
                                      QString *error)
{
#ifdef Q_OS_LINUX
    // The kernel fails a send while an error about an earlier datagram is pending; the
    // drain reports that error and clears it, and the datagram goes again.
    qint64 result = -1;
    for (int attempt = 0; attempt < 3; ++attempt) {
        result = sendTo(data, address, port);
        if (result >= 0 || drainErrorQueue() == 0)
            break;
    }
    if (result >= 0)
        return result;
    const int code = int(-result);
    *error = sendErrorText(code);
    reportSocketError(code == ECONNREFUSED || code == ECONNRESET, *error);
    return -1;
#else
    // A failure arrives through the socket's errorOccurred and the sorting below.
    const qint64 written = m_socket->writeDatagram(data, address, port);
    if (written < 0)
        *error = m_socket->errorString();
    return written;
#endif
}

#ifdef Q_OS_LINUX
// One sendto on the socket's descriptor: the bytes sent, or minus errno.
qint64 OscEmulatorPort::sendTo(const QByteArray &data, const QHostAddress &address, quint16 port) const
{
    sockaddr_storage target{};
    socklen_t length;
    bool ipv4 = false;
    const quint32 ipv4Address = address.toIPv4Address(&ipv4);
    if (ipv4 && m_family == AF_INET) {
        auto *in = reinterpret_cast<sockaddr_in *>(&target);
        in->sin_family = AF_INET;
        in->sin_port = htons(port);
        in->sin_addr.s_addr = htonl(ipv4Address);
        length = sizeof *in;
    } else {
        // An IPv4 target from an IPv6 socket goes as an IPv4-mapped address; an IPv6 target
        // from an IPv4 socket is refused by the kernel (EAFNOSUPPORT).
        auto *in6 = reinterpret_cast<sockaddr_in6 *>(&target);
        in6->sin6_family = AF_INET6;
        in6->sin6_port = htons(port);
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(&in6->sin6_addr, bytes.c, sizeof bytes.c);
        const QString scope = address.scopeId();
        if (!scope.isEmpty()) {
            bool numeric = false;
            in6->sin6_scope_id = scope.toUInt(&numeric);
            if (!numeric)
                in6->sin6_scope_id = uint(QNetworkInterface::interfaceIndexFromName(scope));
        }
        length = sizeof *in6;
    }
    ssize_t sent;
    do {
        sent = ::sendto(int(m_socket->socketDescriptor()), data.constData(), size_t(data.size()), MSG_NOSIGNAL,
                        reinterpret_cast<const sockaddr *>(&target), length);
    } while (sent < 0 && errno == EINTR);
    return sent < 0 ? -qint64(errno) : qint64(sent);
}
#endif

void OscEmulatorPort::readPendingDatagrams()
{
    // A queued ICMP error wakes readyRead too, and while one is pending the socket's
    // reads fail: take the errors off the queue first.
    drainErrorQueue();
#ifdef Q_OS_LINUX
    int handled = 0;
    while (handled < kMaxDatagramsPerWakeUp) {
        const int received = receiveBatch();
        if (received <= 0)
            break;
        handled += received;
    }
#else
    int handled = 0;
    // isOpen() first: a receiver of the port's signals may close it.
    while (handled < kMaxDatagramsPerWakeUp && isOpen() && m_socket->hasPendingDatagrams()) {
        const qint64 size = m_socket->pendingDatagramSize();
        if (size < 0) {
            if (drainErrorQueue() > 0)
                continue;
            break;
        }
        readOneDatagram(size, false);
        ++handled;
    }
#endif
    // QUdpSocket re-enables its read notifier only when it reads a datagram itself: one
    // read with its signals blocked re-arms it. It fails quietly, or takes a datagram
    // that arrived meanwhile.
    if (isOpen())
        readOneDatagram(kMaxDatagramSize, true);
}

#ifdef Q_OS_LINUX
int OscEmulatorPort::receiveBatch()
{
    // recvmmsg takes a batch of datagrams in one call, where QUdpSocket needs three calls
    // for each one (pending?, size?, read).
    constexpr int kBatch = 32;
    const int fd = int(m_socket->socketDescriptor());
    if (fd < 0 || !isOpen())
        return 0;
    if (m_batchBuffer.isEmpty())
        m_batchBuffer = QByteArray(kBatch * kMaxDatagramSize, Qt::Uninitialized);
    mmsghdr messages[kBatch];
    iovec vectors[kBatch];
    sockaddr_storage senders[kBatch];
    for (int i = 0; i < kBatch; ++i) {
        vectors[i] = {m_batchBuffer.data() + i * kMaxDatagramSize, size_t(kMaxDatagramSize)};
        messages[i] = {};
        messages[i].msg_hdr.msg_iov = &vectors[i];
        messages[i].msg_hdr.msg_iovlen = 1;
        messages[i].msg_hdr.msg_name = &senders[i];
        messages[i].msg_hdr.msg_namelen = sizeof senders[i];
    }
    int received;
    do {
        received = ::recvmmsg(fd, messages, kBatch, MSG_DONTWAIT, nullptr);
    } while (received < 0 && errno == EINTR);
    if (received < 0) {
        // A refusal that came in between: collect it and look again.
        return drainErrorQueue() > 0 ? receiveBatch() : 0;
    }
    for (int i = 0; i < received; ++i) {
        const qint64 size = messages[i].msg_len;
        if (size <= 0)
            continue;  // an empty datagram: dropped without a word
        const QHostAddress sender(reinterpret_cast<const sockaddr *>(&senders[i]));
        deliver(QByteArray(static_cast<const char *>(vectors[i].iov_base), int(size)), sender,
                quint16(sender.protocol() == QAbstractSocket::IPv6Protocol
                                ? ntohs(reinterpret_cast<const sockaddr_in6 *>(&senders[i])->sin6_port)
                                : ntohs(reinterpret_cast<const sockaddr_in *>(&senders[i])->sin_port)));
        if (!isOpen())
            return 0;  // a receiver closed the port
    }
    return received;
}
#endif

void OscEmulatorPort::readOneDatagram(qint64 size, bool quietly)
{
    if (m_readBuffer.size() < size)
        m_readBuffer.resize(size);
    QHostAddress sender;
    quint16 senderPort = 0;
    qint64 read;
    {
        const QSignalBlocker quiet(quietly ? &*m_socket : nullptr);
        read = m_socket->readDatagram(m_readBuffer.data(), size, &sender, &senderPort);
    }
    if (read > 0)
        deliver(m_readBuffer.left(int(read)), sender, senderPort);
}

void OscEmulatorPort::deliver(const QByteArray &datagram, const QHostAddress &sender, quint16 senderPort)
{
    if (debugEnabled()) {
        debugMessage(QStringLiteral("Received OSC datagram from \"") + sender.toString() + QStringLiteral("\" port ")
                     + QString::number(senderPort) + QStringLiteral(" - size: ") + QString::number(datagram.size()));
    }
    emit dataReceived(datagram);
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
    qWarning() << "OSC UDP socket error:" << text;
    emit errorOccurred(text);
}

void OscEmulatorPort::enlargeReceiveBuffer()
{
#ifdef Q_OS_LINUX
    const int fd = int(m_socket->socketDescriptor());
    const int bytes = kReceiveBufferBytes;
    // Beyond the system's limit only with the right to exceed it; else as large as allowed.
    if (fd >= 0 && ::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
#endif
}

void OscEmulatorPort::enableErrorQueue()
{
#ifdef Q_OS_LINUX
    const int fd = int(m_socket->socketDescriptor());
    if (fd < 0)
        return;
    int domain = AF_UNSPEC;
    socklen_t length = sizeof domain;
    ::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &length);
    m_family = domain;
    const int on = 1;
    // An IPv6 socket bound to any address carries IPv4 traffic too, whose errors need IP_RECVERR.
    if (::setsockopt(fd, SOL_IP, IP_RECVERR, &on, sizeof on) != 0)
        qWarning() << "Cannot enable IP_RECVERR on the OSC UDP socket:" << qt_error_string(errno);
    if (domain == AF_INET6 && ::setsockopt(fd, SOL_IPV6, IPV6_RECVERR, &on, sizeof on) != 0)
        qWarning() << "Cannot enable IPV6_RECVERR on the OSC UDP socket:" << qt_error_string(errno);
#endif
}

// Takes every entry off the socket's error queue and reports each refusal; returns the
// number of entries about earlier datagrams (from ICMP). An entry of local origin (such
// as EMSGSIZE) belongs to the call that just failed, which reports the same reason.
int OscEmulatorPort::drainErrorQueue()
{
    int earlier = 0;
#ifdef Q_OS_LINUX
    const int fd = int(m_socket->socketDescriptor());
    if (fd < 0)
        return 0;
    int refused = 0;
    for (;;) {
        char payload[1];
        iovec vector{payload, sizeof payload};
        alignas(cmsghdr) char control[512];
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        // Never blocks: an empty queue gives EAGAIN.
        if (::recvmsg(fd, &message, MSG_ERRQUEUE) < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        for (cmsghdr *header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            const bool extendedError = (header->cmsg_level == SOL_IP && header->cmsg_type == IP_RECVERR)
                    || (header->cmsg_level == SOL_IPV6 && header->cmsg_type == IPV6_RECVERR);
            if (!extendedError)
                continue;
            sock_extended_err error;
            std::memcpy(&error, CMSG_DATA(header), sizeof error);
            if (error.ee_origin != SO_EE_ORIGIN_ICMP && error.ee_origin != SO_EE_ORIGIN_ICMP6)
                continue;
            ++earlier;
            if (error.ee_errno == ECONNREFUSED)
                ++refused;
            else
                qDebug() << "Ignored error reported for an OSC datagram:" << qt_error_string(int(error.ee_errno));
        }
    }
    // Emitted after the loop: a receiver may close the socket. The text is the socket's
    // own for this error, not the C library's, which follows the user's language.
    for (int i = 0; i < refused; ++i)
        emit targetUnreachable(QStringLiteral("Connection refused"));
#endif
    return earlier;
}
