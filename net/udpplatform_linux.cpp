#include "udpplatform.h"

#include "diagnostics.h"

#include <QNetworkInterface>

#include <cerrno>
#include <cstring>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace UdpPlatform {

namespace {
// Larger than any UDP payload.
constexpr qsizetype kMaxDatagramSize = 65536;
// Datagrams taken by one recvmmsg call.
constexpr int kBatch = 32;
// A flood from another program is absorbed here while the desk catches up: the kernel
// charges about 1 KiB for each small datagram queued, so this holds a burst of some
// 100,000, the rest of a second's flood that the desk, writing two lines for each, has
// not yet read. Memory only while they wait; without the right to exceed the system's
// limit (net.core.rmem_max) the buffer gets that limit.
constexpr int kReceiveBufferBytes = 64 << 20;

int descriptor(const QUdpSocket &socket)
{
    return int(socket.socketDescriptor());
}

// The reason a send failed, in the socket's own English texts, not the C library's,
// which follow the user's language.
QString sendErrorText(int code)
{
    switch (code) {
    case EMSGSIZE: return QStringLiteral("Datagram was too large to send");
    case ENETUNREACH: return QStringLiteral("Network unreachable");
    case ENETDOWN: return QStringLiteral("Network is down");
    case EHOSTUNREACH: return QStringLiteral("Host unreachable");
    case ECONNREFUSED: return QStringLiteral("Connection refused");
    case ECONNRESET: return QStringLiteral("The remote host closed the connection");
    case EACCES:
    case EPERM: return QStringLiteral("Permission denied");
    case EAFNOSUPPORT: return QStringLiteral("The target's address family is not the socket's");
    case EADDRNOTAVAIL: return QStringLiteral("The address is not available");
    case ENOBUFS:
    case ENOMEM:
    case EAGAIN: return QStringLiteral("Insufficient resources");
    default: return QStringLiteral("Unable to send a message (error %1)").arg(code);
    }
}

// The target as the socket's family needs it: an IPv4 target from an IPv6 socket goes as
// an IPv4-mapped address; an IPv6 target from an IPv4 socket is refused by the kernel.
socklen_t socketAddress(const QUdpSocket &socket, const QHostAddress &address, quint16 port, sockaddr_storage *out)
{
    *out = {};
    bool ipv4 = false;
    const quint32 ipv4Address = address.toIPv4Address(&ipv4);
    if (ipv4 && socket.localAddress().protocol() == QAbstractSocket::IPv4Protocol) {
        auto *in = reinterpret_cast<sockaddr_in *>(out);
        in->sin_family = AF_INET;
        in->sin_port = htons(port);
        in->sin_addr.s_addr = htonl(ipv4Address);
        return sizeof *in;
    }
    auto *in6 = reinterpret_cast<sockaddr_in6 *>(out);
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
    return sizeof *in6;
}

quint16 portOf(const sockaddr_storage &address)
{
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6 &>(address).sin6_port
                                               : reinterpret_cast<const sockaddr_in &>(address).sin_port);
}
} // namespace

void prepareBoundSocket(QUdpSocket &socket)
{
    const int fd = descriptor(socket);
    if (fd < 0)
        return;
    int domain = AF_UNSPEC;
    socklen_t length = sizeof domain;
    ::getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &length);
    const int on = 1;
    // An IPv6 socket bound to any address carries IPv4 traffic too, whose errors need IP_RECVERR.
    if (::setsockopt(fd, SOL_IP, IP_RECVERR, &on, sizeof on) != 0)
        warningMessage(QStringLiteral("Cannot enable IP_RECVERR on the OSC UDP socket: ") + quotedText(qt_error_string(errno)));
    if (domain == AF_INET6 && ::setsockopt(fd, SOL_IPV6, IPV6_RECVERR, &on, sizeof on) != 0)
        warningMessage(QStringLiteral("Cannot enable IPV6_RECVERR on the OSC UDP socket: ") + quotedText(qt_error_string(errno)));

    const int bytes = kReceiveBufferBytes;
    // Beyond the system's limit only with the right to exceed it; else as large as allowed.
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

QueuedErrors takeQueuedErrors(QUdpSocket &socket)
{
    QueuedErrors taken;
    const int fd = descriptor(socket);
    if (fd < 0)
        return taken;
    for (;;) {
        char payload[1];
        iovec vector{payload, sizeof payload};
        // The extended error, then the address of the node that reported it.
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(sock_extended_err) + sizeof(sockaddr_storage))];
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        // Never blocks: an empty queue gives EAGAIN.
        if (::recvmsg(fd, &message, MSG_ERRQUEUE) < 0) {
            if (errno == EINTR)
                continue;
            return taken;
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
            ++taken.earlier;
            if (error.ee_errno == ECONNREFUSED)
                ++taken.refused;
            else if (debugEnabled())
                debugMessage(QStringLiteral("Ignored error reported for an OSC datagram: ")
                             + quotedText(qt_error_string(int(error.ee_errno))));
        }
    }
}

bool sendDatagram(QUdpSocket &socket, const QByteArray &data, const QHostAddress &address, quint16 port,
                  SendFailure *failure)
{
    sockaddr_storage target;
    const socklen_t length = socketAddress(socket, address, port, &target);
    ssize_t sent;
    do {
        sent = ::sendto(descriptor(socket), data.constData(), size_t(data.size()), MSG_NOSIGNAL,
                        reinterpret_cast<const sockaddr *>(&target), length);
    } while (sent < 0 && errno == EINTR);
    if (sent == data.size())
        return true;
    const int code = sent < 0 ? errno : EMSGSIZE;
    failure->text = sendErrorText(code);
    failure->refused = code == ECONNREFUSED || code == ECONNRESET;
    return false;
}

int receiveDatagrams(QUdpSocket &socket, int limit, QByteArray &scratch, const DatagramSink &sink)
{
    // recvmmsg takes a batch of datagrams in one call, where QUdpSocket needs three calls
    // for each one (pending?, size?, read).
    const int fd = descriptor(socket);
    if (fd < 0 || limit <= 0)
        return 0;
    const int batch = qMin(limit, kBatch);
    if (scratch.size() < kBatch * kMaxDatagramSize)
        scratch = QByteArray(kBatch * kMaxDatagramSize, Qt::Uninitialized);
    mmsghdr messages[kBatch];
    iovec vectors[kBatch];
    sockaddr_storage senders[kBatch];
    for (int i = 0; i < batch; ++i) {
        vectors[i] = {scratch.data() + i * kMaxDatagramSize, size_t(kMaxDatagramSize)};
        messages[i] = {};
        messages[i].msg_hdr.msg_iov = &vectors[i];
        messages[i].msg_hdr.msg_iovlen = 1;
        messages[i].msg_hdr.msg_name = &senders[i];
        messages[i].msg_hdr.msg_namelen = sizeof senders[i];
    }
    int received;
    do {
        received = ::recvmmsg(fd, messages, uint(batch), MSG_DONTWAIT, nullptr);
    } while (received < 0 && errno == EINTR);
    if (received <= 0)
        return 0;
    for (int i = 0; i < received; ++i) {
        const qsizetype size = messages[i].msg_len;
        const QByteArray datagram(static_cast<const char *>(vectors[i].iov_base), size);
        if (!sink(datagram, QHostAddress(reinterpret_cast<const sockaddr *>(&senders[i])), portOf(senders[i])))
            break;
    }
    return received;
}

} // namespace UdpPlatform
