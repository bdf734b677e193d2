#include "oscprotocolhandler.h"

#include <QDebug>

OscProtocolHandler::OscProtocolHandler(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<OscProtocolHandler::ProtocolType>("OscProtocolHandler::ProtocolType");
}

void OscProtocolHandler::parseData(const QByteArray &data)
{
    if (data.isEmpty())
        return;
    // TODO parser
}

void OscProtocolHandler::setProtocolType(OscProtocolHandler::ProtocolType type)
{
    if (type == m_protocolType)
        return;
    m_protocolType = type;
    qDebug() << "OscProtocolHandler: protocol type set to" << static_cast<int>(type);
}
