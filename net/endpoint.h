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

// endpointText of the last endpoint asked for, kept: datagrams come in runs from one peer.
class EndpointText
{
public:
    const QString &operator()(const QHostAddress &address, quint16 port)
    {
        // QHostAddress's == leaves the IPv6 scope out; the text does not.
        if (m_text.isEmpty() || port != m_port || address != m_address || address.scopeId() != m_address.scopeId()) {
            m_address = address;
            m_port = port;
            m_text = endpointText(address, port);
        }
        return m_text;
    }

private:
    QHostAddress m_address;
    quint16 m_port = 0;
    QString m_text;
};
