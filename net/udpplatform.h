#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QUdpSocket>

#include <functional>

// What the desk's UDP socket needs beyond QUdpSocket, done with the platform's own calls
// where this is Linux, and with QUdpSocket's elsewhere.
//
// On Linux an unconnected UDP socket hears nothing of the ICMP port-unreachable replies
// to its datagrams unless the kernel's extended error reporting (IP_RECVERR and
// IPV6_RECVERR) is on; the replies then wait in the socket's error queue. Datagrams leave
// by sendto on the socket's descriptor, so that a failed send reports its own reason:
// QUdpSocket keeps the text of its first error for good.
namespace UdpPlatform {

// Call after every bind: error reporting on, and a receive buffer large enough to absorb
// a flood while the desk catches up.
void prepareBoundSocket(QUdpSocket &socket);

// The entries taken off the socket's error queue that are about earlier datagrams (from
// ICMP), and how many of those are refusals. An entry of local origin (such as EMSGSIZE)
// belongs to the call that just failed, which reports the same reason itself.
struct QueuedErrors
{
    int earlier = 0;
    int refused = 0;
};
QueuedErrors takeQueuedErrors(QUdpSocket &socket);

// Writes one datagram on the bound socket. On failure, fills the reason and whether it
// is a refusal (nobody listening) and returns false.
struct SendFailure
{
    QString text;
    bool refused = false;
};
bool sendDatagram(QUdpSocket &socket, const QByteArray &data, const QHostAddress &address, quint16 port,
                  SendFailure *failure);

// Reads at most `limit` waiting datagrams without blocking and hands each one, empty ones
// included, to `sink`, which returns false to stop. Returns how many were read: 0 when
// none was waiting or a read failed (take the queued errors and try again).
using DatagramSink = std::function<bool(const QByteArray &, const QHostAddress &, quint16)>;
int receiveDatagrams(QUdpSocket &socket, int limit, QByteArray &scratch, const DatagramSink &sink);

} // namespace UdpPlatform
