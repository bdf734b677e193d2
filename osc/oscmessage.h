#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantList>

// The OSC 1.0 wire format of everything the desk sends: pure functions, no state.
namespace Osc {

// The fixed 36-byte "/osc/channel ,iii" message. Checks nothing.
QByteArray buildOscChannelMessage(int universe, int channel, int value);

// A message with one int32 or one float32 argument (",i" / ",f").
QByteArray buildInt32Message(const QString &address, qint32 value);
QByteArray buildFloat32Message(const QString &address, float value);

// Any address with the type tags i h f d s b T F N I (given without the leading ',').
// Returns an empty array and writes the reason into *error (when not null) on failure;
// *error is untouched on success.
QByteArray buildTypedOscMessage(const QString &address, const QString &typeTags,
                                const QVariantList &values, QString *error);

// "#bundle", time tag 1 (immediately), the element size, the message.
QByteArray wrapInBundle(const QByteArray &message);

} // namespace Osc
