#pragma once

#include "oscdecoder.h"

#include <QByteArrayView>
#include <QString>

// How received OSC reads as text: one form for the monitor's list, its inspector and the
// headless output.
namespace Osc {

// UTF-8 text with \" \\ \n \t escaped, and \xNN for control characters and for bytes that
// are not valid UTF-8. No quotes around it.
QString escapeOscText(QByteArrayView utf8);

// The argument's value from its bytes as on the wire (padding may follow):
//   i h  decimal                      f d  shortest form that reads back the same value
//   s S  "quoted and escaped"         b    blob[5] 0102030405
//   T F N I  true false nil infinitum c    'A' (a quoted character)
//   r    #rrggbbaa                    m    midi 00903c7f (port, status, data 1, data 2)
//   t    a time tag, as formatOscTimeTag writes it
// Too few bytes for the tag give "?".
QString formatOscArgument(char tag, QByteArrayView bytes);

// The double with the fewest digits that reads back as this float: 0.1f gives 0.1, not
// 0.10000000149011612. Infinities and NaN stay as they are.
double shortestDouble(float value);

// "immediately" for 1; otherwise the seconds since 1900 and the fraction in nanoseconds,
// rounded down: "3913056000.500000000".
QString formatOscTimeTag(OscTimeTag timeTag);

// "/address ,tags value value ...": the address escaped, then the type tags and each value.
QString formatOscMessage(const OscPacket &packet, const OscDecodedMessage &message);

// What a field means, for the inspector: "address /osc/channel", "padding",
// "type tags ,iii", "int32 200", "time tag immediately", "element of 36 bytes"...
QString describeField(const OscPacket &packet, const OscField &field);

} // namespace Osc
