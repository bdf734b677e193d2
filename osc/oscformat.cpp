#include "oscformat.h"


#include <QLocale>
#include <QtEndian>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace Osc {

namespace {

void appendHexByte(QString &out, uchar byte)
{
    static const char digits[] = "0123456789abcdef";
    out += QLatin1String("\\x");
    out += QLatin1Char(digits[byte >> 4]);
    out += QLatin1Char(digits[byte & 0xf]);
}

// The length of the valid UTF-8 sequence at p (of at most `left` bytes) and its code
// point; 0 for a byte that does not start one (overlong forms and surrogates included).
int utf8Sequence(const uchar *p, qsizetype left, char32_t &codePoint)
{
    const uchar lead = p[0];
    int length = 0;
    uchar low = 0x80;
    uchar high = 0xbf;
    if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
        codePoint = lead & 0x1f;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        codePoint = lead & 0x0f;
        low = lead == 0xe0 ? 0xa0 : 0x80;
        high = lead == 0xed ? 0x9f : 0xbf;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        codePoint = lead & 0x07;
        low = lead == 0xf0 ? 0x90 : 0x80;
        high = lead == 0xf4 ? 0x8f : 0xbf;
    } else {
        return 0;
    }
    if (left < length)
        return 0;
    for (int k = 1; k < length; ++k) {
        if (p[k] < low || p[k] > high)
            return 0;
        low = 0x80;
        high = 0xbf;
        codePoint = (codePoint << 6) | (p[k] & 0x3f);
    }
    return length;
}

QString formatReal(double value)
{
    // QString::number drops the sign of -0.
    if (value == 0 && std::signbit(value))
        return QStringLiteral("-0");
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

// The shortest decimal that reads back as this float, written as formatReal writes doubles.
QString formatFloat32(float value)
{
    return formatReal(shortestDouble(value));
}

QString hex(const char *data, qsizetype size)
{
    return QString::fromLatin1(QByteArray::fromRawData(data, size).toHex());
}

QString formatChar(quint32 code)
{
    if (code == '\'')
        return QStringLiteral("'\\''");
    if (code == '"')
        return QStringLiteral("'\"'");
    if (code < 0x80) {
        const char ascii = char(code);
        return QLatin1Char('\'') + escapeOscText(QByteArrayView(&ascii, 1)) + QLatin1Char('\'');
    }
    const bool printable = code >= 0xa0 && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    if (!printable)
        return QStringLiteral("'\\x%1'").arg(code, 0, 16);
    const auto codePoint = char32_t(code);
    return QLatin1Char('\'') + QString::fromUcs4(&codePoint, 1) + QLatin1Char('\'');
}

} // namespace

QString escapeOscText(QByteArrayView utf8)
{
    const auto *p = reinterpret_cast<const uchar *>(utf8.data());
    const qsizetype size = utf8.size();
    const auto plain = [](uchar c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; };
    if (std::all_of(p, p + size, plain))
        return QString::fromLatin1(utf8);

    QString out;
    out.reserve(size + 8);
    for (qsizetype i = 0; i < size;) {
        const uchar c = p[i];
        if (c < 0x80) {
            switch (c) {
            case '"': out += QLatin1String("\\\""); break;
            case '\\': out += QLatin1String("\\\\"); break;
            case '\n': out += QLatin1String("\\n"); break;
            case '\t': out += QLatin1String("\\t"); break;
            default:
                if (plain(c))
                    out += QLatin1Char(char(c));
                else
                    appendHexByte(out, c);
            }
            ++i;
            continue;
        }
        char32_t codePoint = 0;
        const int length = utf8Sequence(p + i, size - i, codePoint);
        // Invalid bytes and the C1 control characters (U+0080 to U+009F) show as bytes.
        if (length == 0 || codePoint < 0xa0) {
            for (int k = 0; k < qMax(length, 1); ++k)
                appendHexByte(out, p[i + k]);
            i += qMax(length, 1);
            continue;
        }
        out += QString::fromUcs4(&codePoint, 1);
        i += length;
    }
    return out;
}

QString formatOscArgument(char tag, QByteArrayView bytes)
{
    const char *at = bytes.data();
    const qsizetype size = bytes.size();
    const QString unreadable = QStringLiteral("?");
    switch (tag) {
    case 'T': return QStringLiteral("true");
    case 'F': return QStringLiteral("false");
    case 'N': return QStringLiteral("nil");
    case 'I': return QStringLiteral("infinitum");
    case 's':
    case 'S':
        return QLatin1Char('"') + escapeOscText(QByteArrayView(at, qstrnlen(at, size_t(size)))) + QLatin1Char('"');
    case 'b': {
        if (size < 4)
            return unreadable;
        const quint32 count = qFromBigEndian<quint32>(at);
        if (count > quint32(size - 4))
            return unreadable;
        if (count == 0)
            return QStringLiteral("blob[0]");
        return QStringLiteral("blob[%1] %2").arg(count).arg(hex(at + 4, count));
    }
    case 'h':
    case 'd':
    case 't':
        if (size < 8)
            return unreadable;
        break;
    default:
        if (size < 4)
            return unreadable;
    }

    switch (tag) {
    case 'i': return QString::number(qFromBigEndian<qint32>(at));
    case 'h': return QString::number(qFromBigEndian<qint64>(at));
    case 'f': {
        const quint32 bits = qFromBigEndian<quint32>(at);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return formatFloat32(value);
    }
    case 'd': {
        const quint64 bits = qFromBigEndian<quint64>(at);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return formatReal(value);
    }
    case 'c': return formatChar(qFromBigEndian<quint32>(at));
    case 'r': return QLatin1Char('#') + hex(at, 4);
    case 'm': return QStringLiteral("midi ") + hex(at, 4);
    case 't': return formatOscTimeTag(qFromBigEndian<quint64>(at));
    default: return unreadable;
    }
}

double shortestDouble(float value)
{
    if (!std::isfinite(value))
        return value;
    char text[32];
    const char *end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr;
    double shortest = 0;
    std::from_chars(text, end, shortest);
    return shortest;
}

QString formatOscTimeTag(OscTimeTag timeTag)
{
    if (timeTag == kOscImmediately)
        return QStringLiteral("immediately");
    const quint64 nanoseconds = ((timeTag & 0xffffffffu) * 1000000000u) >> 32;
    return QStringLiteral("%1.%2").arg(timeTag >> 32).arg(nanoseconds, 9, 10, QLatin1Char('0'));
}

QString formatOscMessage(const OscPacket &packet, const OscDecodedMessage &message)
{
    QString line = escapeOscText(packet.addressBytes(message));
    line += QLatin1String(" ,");
    line += packet.typeTags(message);
    for (int i = 0; i < message.argumentCount; ++i) {
        const OscField &argument = packet.argument(message, i);
        line += QLatin1Char(' ');
        line += formatOscArgument(argument.tag, packet.bytes(argument));
    }
    return line;
}

QString describeField(const OscPacket &packet, const OscField &field)
{
    const QByteArrayView bytes = packet.bytes(field);
    switch (field.kind) {
    case OscField::Kind::BundleHeader: return QStringLiteral("bundle header #bundle");
    case OscField::Kind::TimeTag: return QStringLiteral("time tag ") + formatOscArgument('t', bytes);
    case OscField::Kind::ElementSize:
        return QStringLiteral("element of %1 bytes").arg(qFromBigEndian<quint32>(bytes.data()));
    case OscField::Kind::Address: return QStringLiteral("address ") + escapeOscText(bytes);
    case OscField::Kind::TypeTags: return QStringLiteral("type tags ") + escapeOscText(bytes);
    case OscField::Kind::Padding: return QStringLiteral("padding");
    case OscField::Kind::Argument: break;
    }
    const QString value = formatOscArgument(field.tag, bytes);
    switch (field.tag) {
    case 'i': return QStringLiteral("int32 ") + value;
    case 'h': return QStringLiteral("int64 ") + value;
    case 'f': return QStringLiteral("float32 ") + value;
    case 'd': return QStringLiteral("float64 ") + value;
    case 's': return QStringLiteral("string ") + value;
    case 'S': return QStringLiteral("symbol ") + value;
    case 'c': return QStringLiteral("char ") + value;
    case 'r': return QStringLiteral("colour ") + value;
    case 't': return QStringLiteral("time tag ") + value;
    default: return value; // blob[n] ..., true, false, nil, infinitum, midi ...
    }
}

} // namespace Osc
