#include "udpplatform.h"

#include <QSignalBlocker>

// Where only QUdpSocket is at hand: no error queue, and the socket's own reads and writes.
namespace UdpPlatform {

void prepareBoundSocket(QUdpSocket &)
{
}

QueuedErrors takeQueuedErrors(QUdpSocket &)
{
    return {};
}

bool sendDatagram(QUdpSocket &socket, const QByteArray &data, const QHostAddress &address, quint16 port,
                  SendFailure *failure)
{
    qint64 written;
    {
        // Reported once, by the caller, from what is returned here.
        const QSignalBlocker quiet(&socket);
        written = socket.writeDatagram(data, address, port);
    }
    if (written == data.size())
        return true;
    failure->text = socket.errorString();
    failure->refused = socket.error() == QAbstractSocket::ConnectionRefusedError
            || socket.error() == QAbstractSocket::RemoteHostClosedError;
    return false;
}

int receiveDatagrams(QUdpSocket &socket, int limit, QByteArray &scratch, const DatagramSink &sink)
{
    int read = 0;
    while (read < limit && socket.hasPendingDatagrams()) {
        const qint64 size = socket.pendingDatagramSize();
        if (size < 0)
            break;
        if (scratch.size() < size)
            scratch.resize(size);
        QHostAddress sender;
        quint16 senderPort = 0;
        const qint64 got = socket.readDatagram(scratch.data(), size, &sender, &senderPort);
        ++read;
        if (got >= 0 && !sink(scratch.left(int(got)), sender, senderPort))
            break;
    }
    return read;
}

} // namespace UdpPlatform
