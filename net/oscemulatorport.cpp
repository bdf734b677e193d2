#include "oscemulatorport.h"

#include <QDebug>
#include <QSignalBlocker>

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
        // A refusal still pending would fail this write: collect it first.
        drainErrorQueue();
        const quint64 drainedBefore = m_queuedErrorsDrained;
        written = m_socket.writeDatagram(data, address, port);
        if (written < 0 && m_queuedErrorsDrained != drainedBefore) {
            // The write only picked up a refusal that arrived after the drain.
            written = m_socket.writeDatagram(data, address, port);
        }
    }
    if (written == data.size()) {
        qDebug() << "Sent OSC datagram to" << address.toString() << "port" << port << "- size:" << written;
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
    bool readAttempted = false;
    // isOpen() first: a receiver of the port's signals may close it.
    while (isOpen() && m_socket.hasPendingDatagrams()) {
        const qint64 size = m_socket.pendingDatagramSize();
        if (size < 0) {
            // An ICMP error that came in between: collect it and look again.
            if (drainErrorQueue() > 0)
                continue;
            break;
        }
        readOneDatagram(size, false);
        readAttempted = true;
    }
    // QUdpSocket re-enables its read notifier only when a datagram is read: after a wake-up
    // that brought nothing to read (an ICMP error alone) it would stay deaf for good. One
    // read with its signals blocked re-arms it; it fails quietly or takes a datagram that
    // arrived meanwhile.
    if (!readAttempted && isOpen())
        readOneDatagram(kMaxDatagramSize, true);
}

void OscEmulatorPort::readOneDatagram(qint64 size, bool quietly)
{
    QByteArray buffer(int(size), '\0');
    QHostAddress sender;
    quint16 senderPort = 0;
    qint64 read;
    {
        const QSignalBlocker quiet(quietly ? &m_socket : nullptr);
        read = m_socket.readDatagram(buffer.data(), buffer.size(), &sender, &senderPort);
    }
    if (read <= 0)
        return;
    buffer.truncate(int(read));
    qDebug() << "Received OSC datagram from" << sender.toString() << "port" << senderPort << "- size:" << read;
    emit dataReceived(buffer);
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
    // Emitted after the loop: a receiver may close the socket.
    for (int i = 0; i < refused; ++i)
        emit targetUnreachable(qt_error_string(ECONNREFUSED));
#endif
    return drained;
}
