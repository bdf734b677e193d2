#include "oscemulatorport.h"

#include <QDebug>
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
}

OscEmulatorPort::OscEmulatorPort(QObject *parent)
    : QObject(parent)
{
    connect(&m_socket, &QUdpSocket::readyRead, this, &OscEmulatorPort::readPendingDatagrams);
    connect(&m_socket, &QUdpSocket::errorOccurred, this, &OscEmulatorPort::handleSocketError);
}

OscEmulatorPort::~OscEmulatorPort()
{
    close();
}

bool OscEmulatorPort::open(quint16 port)
{
    if (isOpen())
        close();
    bool bound;
    {
        // The socket announces a failed bind through errorOccurred as well; it is
        // reported once, below.
        const QSignalBlocker quiet(&m_socket);
        bound = m_socket.bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DefaultForPlatform);
    }
    if (bound) {
        enableErrorQueue();
        enlargeReceiveBuffer();
        qDebug() << "OSC UDP port" << port << "bound successfully.";
        emit portOpened();
        return true;
    }
    const QString error = m_socket.errorString();
    qWarning() << "Failed to bind OSC UDP port" << port << ":" << error;
    emit errorOccurred(error);
    return false;
}

void OscEmulatorPort::close()
{
    if (!isOpen())
        return;
    m_socket.close();
    qDebug() << "OSC UDP port closed.";
    emit portClosed();
}

bool OscEmulatorPort::isOpen() const
{
    return m_socket.state() != QAbstractSocket::UnconnectedState;
}

bool OscEmulatorPort::send(const QByteArray &data, const QHostAddress &address, quint16 port)
{
    if (data.isEmpty())
        return false;
    qint64 written = -1;
    // The binding writeDatagram would make by itself (any address, ephemeral port), made
    // first so that the error queue is on before the first datagram can be refused.
    if (isOpen() || bindForSending()) {
        const quint64 drainedBefore = m_queuedErrorsDrained;
        written = m_socket.writeDatagram(data, address, port);
        if (written < 0 && m_queuedErrorsDrained != drainedBefore) {
            // The write only picked up a refusal still pending from an earlier datagram
            // (the error handler has reported it): this one has not been sent yet.
            written = m_socket.writeDatagram(data, address, port);
        }
    }
    if (written == data.size()) {
        if (debugEnabled()) {
            debugMessage(QStringLiteral("Sent OSC datagram to \"") + address.toString() + QStringLiteral("\" port ")
                         + QString::number(port) + QStringLiteral(" - size: ") + QString::number(written));
        }
        return true;
    }
    qWarning() << "Failed to send OSC datagram to" << address.toString() << "port" << port
               << "- written:" << written << "error:" << m_socket.errorString();
    return false;
}

bool OscEmulatorPort::bindForSending()
{
    // A failure arrives through the socket's errorOccurred and the sorting below.
    if (!m_socket.bind(QHostAddress::Any, 0))
        return false;
    enableErrorQueue();
    return true;
}

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
    while (handled < kMaxDatagramsPerWakeUp && isOpen() && m_socket.hasPendingDatagrams()) {
        const qint64 size = m_socket.pendingDatagramSize();
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
    const int fd = int(m_socket.socketDescriptor());
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
        const QSignalBlocker quiet(quietly ? &m_socket : nullptr);
        read = m_socket.readDatagram(m_readBuffer.data(), size, &sender, &senderPort);
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
    const QString text = m_socket.errorString();
    // A call that failed only because an ICMP error was pending: the queue holds that
    // error, and reporting the queue's entries counts each refusal once.
    if (drainErrorQueue() > 0)
        return;
    if (error == QAbstractSocket::ConnectionRefusedError || error == QAbstractSocket::RemoteHostClosedError) {
        emit targetUnreachable(text);
        return;
    }
    qWarning() << "OSC UDP socket error:" << text;
    emit errorOccurred(text);
}

void OscEmulatorPort::enlargeReceiveBuffer()
{
#ifdef Q_OS_LINUX
    const int fd = int(m_socket.socketDescriptor());
    const int bytes = kReceiveBufferBytes;
    // Beyond the system's limit only with the right to exceed it; else as large as allowed.
    if (fd >= 0 && ::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
#endif
}

void OscEmulatorPort::enableErrorQueue()
{
#ifdef Q_OS_LINUX
    const int fd = int(m_socket.socketDescriptor());
    if (fd < 0)
        return;
    int domain = AF_UNSPEC;
    socklen_t length = sizeof domain;
    ::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &length);
    const int on = 1;
    // An IPv6 socket bound to any address carries IPv4 traffic too, whose errors need IP_RECVERR.
    if (::setsockopt(fd, SOL_IP, IP_RECVERR, &on, sizeof on) != 0)
        qWarning() << "Cannot enable IP_RECVERR on the OSC UDP socket:" << qt_error_string(errno);
    if (domain == AF_INET6 && ::setsockopt(fd, SOL_IPV6, IPV6_RECVERR, &on, sizeof on) != 0)
        qWarning() << "Cannot enable IPV6_RECVERR on the OSC UDP socket:" << qt_error_string(errno);
#endif
}

int OscEmulatorPort::drainErrorQueue()
{
    int drained = 0;
#ifdef Q_OS_LINUX
    const int fd = int(m_socket.socketDescriptor());
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
        ++drained;
        for (cmsghdr *header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            const bool extendedError = (header->cmsg_level == SOL_IP && header->cmsg_type == IP_RECVERR)
                    || (header->cmsg_level == SOL_IPV6 && header->cmsg_type == IPV6_RECVERR);
            if (!extendedError)
                continue;
            sock_extended_err error;
            std::memcpy(&error, CMSG_DATA(header), sizeof error);
            const bool fromIcmp = error.ee_origin == SO_EE_ORIGIN_ICMP || error.ee_origin == SO_EE_ORIGIN_ICMP6;
            if (fromIcmp && error.ee_errno == ECONNREFUSED)
                ++refused;
            else
                qDebug() << "Ignored error reported for an OSC datagram:" << qt_error_string(int(error.ee_errno));
        }
    }
    m_queuedErrorsDrained += quint64(drained);
    // Emitted after the loop: a receiver may close the socket. The text is the socket's
    // own for this error, not the C library's, which follows the user's language.
    for (int i = 0; i < refused; ++i)
        emit targetUnreachable(QStringLiteral("Connection refused"));
#endif
    return drained;
}
