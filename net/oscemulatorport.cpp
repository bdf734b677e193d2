#include "oscemulatorport.h"

#include <QDebug>

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
    if (m_socket.bind(QHostAddress::AnyIPv4, port, QAbstractSocket::DefaultForPlatform)) {
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
    const qint64 written = m_socket.writeDatagram(data, address, port);
    if (written == data.size()) {
        qDebug() << "Sent OSC datagram to" << address.toString() << "port" << port << "- size:" << written;
        return true;
    }
    qWarning() << "Failed to send OSC datagram to" << address.toString() << "port" << port
               << "- written:" << written << "error:" << m_socket.errorString();
    return false;
}

void OscEmulatorPort::readPendingDatagrams()
{
    while (m_socket.hasPendingDatagrams()) {
        QByteArray buffer(int(qMax<qint64>(m_socket.pendingDatagramSize(), 0)), '\0');
        QHostAddress sender;
        quint16 senderPort = 0;
        const qint64 read = m_socket.readDatagram(buffer.data(), buffer.size(), &sender, &senderPort);
        if (read <= 0)
            continue;
        buffer.truncate(int(read));
        qDebug() << "Received OSC datagram from" << sender.toString() << "port" << senderPort << "- size:" << read;
        emit dataReceived(buffer);
    }
}

void OscEmulatorPort::handleSocketError(QAbstractSocket::SocketError error)
{
    const QString text = m_socket.errorString();
    if (error == QAbstractSocket::ConnectionRefusedError || error == QAbstractSocket::RemoteHostClosedError) {
        emit targetUnreachable(text);
        return;
    }
    qWarning() << "OSC UDP socket error:" << text;
    emit errorOccurred(text);
}
