#pragma once

#include <QByteArray>
#include <QString>

// Reading received datagrams: a pure function, no state, no QObject.
namespace Osc {

// What one datagram says. Only the fields of its kind are meaningful.
struct ParsedDatagram
{
    enum class Kind {
        Ignored,  // an empty datagram: no event at all
        Channel,  // "/osc/channel ,iii": universe, channel 1 to kChannelCount, value clamped to 0-255
        Universe, // "/osc/universe ,ib": universe and the values of channels 1, 2, 3...
        Error,    // anything else, with a readable error text
    };

    Kind kind = Kind::Ignored;
    qint32 universe = 0;
    qint32 channel = 0;
    quint8 value = 0;
    QByteArray data;
    QString error;
};

// Accepts exactly one OSC message per datagram; bundles are refused. Allocates nothing
// for an accepted "/osc/channel" message; texts are decoded only to build an error.
ParsedDatagram parseDatagram(const QByteArray &datagram);

} // namespace Osc
