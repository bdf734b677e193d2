#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

// Turns each non-empty received datagram into exactly one event, raised before parseData
// returns: a channel value, a whole universe of values, or a protocol error with a
// readable message. An empty datagram raises nothing.
class OscProtocolHandler : public QObject
{
    Q_OBJECT
public:
    enum ProtocolType : qint32 { OscChannelProtocol = 0 };

    explicit OscProtocolHandler(QObject *parent = nullptr);

    ProtocolType protocolType() const { return m_protocolType; }

signals:
    void oscDataReceived(int universe, QByteArray data);
    void oscChannelReceived(int universe, int channel, quint8 value);
    void protocolError(QString error);

public slots:
    void parseData(const QByteArray &data);
    void setProtocolType(OscProtocolHandler::ProtocolType type);

private:
    ProtocolType m_protocolType = OscChannelProtocol;
};

Q_DECLARE_METATYPE(OscProtocolHandler::ProtocolType)
