#include "oscmessage.h"

#include <QtEndian>

#include <cstring>

namespace Osc {

namespace {

void padToFour(QByteArray &out)
{
    while (out.size() % 4 != 0)
        out.append('\0');
}

void appendInt64(QByteArray &out, qint64 value)
{
    char bytes[8];
    qToBigEndian(value, bytes);
    out.append(bytes, 8);
}

void appendFloat32(QByteArray &out, float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    appendInt32(out, static_cast<qint32>(bits));
}

void appendFloat64(QByteArray &out, double value)
{
    quint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    appendInt64(out, static_cast<qint64>(bits));
}

// Blob: int32 size, the bytes, then zeros to a multiple of 4 (no terminator).
void appendBlob(QByteArray &out, const QByteArray &bytes)
{
    appendInt32(out, static_cast<qint32>(bytes.size()));
    out.append(bytes);
    padToFour(out);
}

QByteArray messageHead(const QString &address, const char *typeTagString, int argumentBytes)
{
    const QByteArray utf8 = address.toUtf8();
    QByteArray out;
    out.reserve(utf8.size() + 4 + 8 + argumentBytes);
    appendOscString(out, utf8);
    appendOscString(out, QByteArray::fromRawData(typeTagString, int(std::strlen(typeTagString))));
    return out;
}

} // namespace

void appendOscString(QByteArray &out, const QByteArray &text)
{
    out.append(text);
    out.append('\0');
    padToFour(out);
}

void appendInt32(QByteArray &out, qint32 value)
{
    char bytes[4];
    qToBigEndian(value, bytes);
    out.append(bytes, 4);
}

QByteArray buildOscChannelMessage(int universe, int channel, int value)
{
    // "/osc/channel" + 4 NULs, ",iii" + 4 NULs, then the three int32.
    static const char head[] = "/osc/channel\0\0\0\0,iii\0\0\0\0";
    QByteArray out;
    out.reserve(36);
    out.append(head, 24);
    appendInt32(out, universe);
    appendInt32(out, channel);
    appendInt32(out, value);
    return out;
}

QByteArray buildInt32Message(const QString &address, qint32 value)
{
    QByteArray out = messageHead(address, ",i", 4);
    appendInt32(out, value);
    return out;
}

QByteArray buildFloat32Message(const QString &address, float value)
{
    QByteArray out = messageHead(address, ",f", 4);
    appendFloat32(out, value);
    return out;
}

QByteArray buildTypedOscMessage(const QString &address, const QString &typeTags,
                                const QVariantList &values, QString *error)
{
    QByteArray out;
    appendOscString(out, address.toUtf8());
    appendOscString(out, QByteArrayLiteral(",") + typeTags.toLatin1());

    int cursor = 0;
    for (const QChar tagChar : typeTags) {
        // A character outside Latin-1 becomes 0, which no tag matches.
        const char tag = tagChar.unicode() <= 0xff ? char(tagChar.unicode()) : '\0';
        switch (tag) {
        case 'T': case 'F': case 'N': case 'I':
            continue;
        case 'i': case 'h': case 'f': case 'd': case 's': case 'b':
            break;
        default:
            if (error)
                *error = QStringLiteral("unsupported type tag '%1'").arg(tagChar);
            return QByteArray();
        }
        if (cursor >= values.size()) {
            if (error)
                *error = QStringLiteral("missing value for type tag '%1'").arg(tagChar);
            return QByteArray();
        }
        const QVariant &value = values.at(cursor++);
        switch (tag) {
        case 'i': appendInt32(out, static_cast<qint32>(value.toLongLong())); break;
        case 'h': appendInt64(out, value.toLongLong()); break;
        case 'f': appendFloat32(out, static_cast<float>(value.toDouble())); break;
        case 'd': appendFloat64(out, value.toDouble()); break;
        case 's': appendOscString(out, value.toString().toUtf8()); break;
        case 'b': appendBlob(out, value.toString().toUtf8()); break;
        }
    }
    return out;
}

QByteArray wrapInBundle(const QByteArray &message)
{
    static const char head[] = "#bundle\0\0\0\0\0\0\0\0\1";
    QByteArray out;
    out.reserve(20 + message.size());
    out.append(head, 16);
    appendInt32(out, static_cast<qint32>(message.size()));
    out.append(message);
    return out;
}

QString hexDigits(const QByteArray &data, int maxDigits)
{
    const int bytes = qMin(data.size(), (maxDigits + 1) / 2);
    QByteArray hex = QByteArray::fromRawData(data.constData(), bytes).toHex();
    hex.truncate(maxDigits);
    return QString::fromLatin1(hex);
}

} // namespace Osc
