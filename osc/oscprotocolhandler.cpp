#include "oscprotocolhandler.h"

#include "oscparser.h"

#include <QDebug>

OscProtocolHandler::OscProtocolHandler(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<OscProtocolHandler::ProtocolType>("OscProtocolHandler::ProtocolType");
}

void OscProtocolHandler::parseData(const QByteArray &data)
{
    const Osc::ParsedDatagram parsed = Osc::parseDatagram(data);
    switch (parsed.kind) {
    case Osc::ParsedDatagram::Kind::Ignored:
        break;
    case Osc::ParsedDatagram::Kind::Channel:
        emit oscChannelReceived(parsed.universe, parsed.channel, parsed.value);
        break;
    case Osc::ParsedDatagram::Kind::Universe:
        emit oscDataReceived(parsed.universe, parsed.data);
        break;
    case Osc::ParsedDatagram::Kind::Error:
        emit protocolError(parsed.error);
        break;
    }
}

void OscProtocolHandler::setProtocolType(OscProtocolHandler::ProtocolType type)
{
    if (type == m_protocolType)
        return;
    m_protocolType = type;
    qDebug() << "OscProtocolHandler: protocol type set to" << static_cast<int>(type);
}
