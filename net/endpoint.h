#pragma once

#include <QHostAddress>
#include <QString>

// "host:port" as people write it: an IPv4-mapped address as IPv4, IPv6 in brackets.
inline QString endpointText(const QHostAddress &address, quint16 port)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    const QString host = isIpv4 ? QHostAddress(ipv4).toString() : QLatin1Char('[') + address.toString() + QLatin1Char(']');
    return host + QLatin1Char(':') + QString::number(port);
}
