#include "oscmessage.h"

#include "oscwire.h"

#include <QVarLengthArray>
#include <QtEndian>

#include <cstring>

namespace Osc {

namespace {

// Whether every UTF-16 unit is ASCII, and so its own UTF-8 byte.
bool isAscii(QStringView text)
{
    for (const QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

// Builds a message in a stack buffer, growing it only for large messages: one
// allocation in all, for the QByteArray that is returned.
class Writer
{
public:
    void int32(quint32 value) { qToBigEndian(value, grow(4)); }
    void int64(quint64 value) { qToBigEndian(value, grow(8)); }

    // OSC-string: the UTF-8 bytes, one NUL, then NULs up to a multiple of 4.
    void oscString(QStringView text) { padded(text, oscStringSize); }

    // Blob: the byte count, the bytes (the text's UTF-8), then NULs up to a multiple of 4.
    void blob(QStringView bytes)
    {
        if (!isAscii(bytes)) {
            const QByteArray utf8 = bytes.toUtf8();
            int32(quint32(utf8.size()));
            zeroPadded(utf8.constData(), utf8.size(), paddedSize(utf8.size()));
            return;
        }
        int32(quint32(bytes.size()));
        asciiPadded(bytes, paddedSize(bytes.size()));
    }

    // The type tag string: ',' then the tags as Latin-1 (outside it: '?', which no tag is).
    void typeTagString(QStringView tags)
    {
        const qsizetype size = oscStringSize(tags.size() + 1);
        char *out = grow(size);
        zeroLastWord(out, size);
        *out++ = ',';
        for (const QChar c : tags)
            *out++ = c.unicode() <= 0xff ? char(c.unicode()) : '?';
    }

    QByteArray bytes() const { return QByteArray(m_buffer.constData(), m_buffer.size()); }

private:
    char *grow(qsizetype count)
    {
        const qsizetype at = m_buffer.size();
        m_buffer.resize(at + count);
        return m_buffer.data() + at;
    }

    void padded(QStringView text, qsizetype (*padding)(qsizetype))
    {
        // Copied as ASCII on the way, and again as UTF-8 where that was wrong.
        const qsizetype at = m_buffer.size();
        if (asciiPadded(text, padding(text.size())))
            return;
        m_buffer.resize(at);
        const QByteArray utf8 = text.toUtf8();
        zeroPadded(utf8.constData(), utf8.size(), padding(utf8.size()));
    }

    // Each UTF-16 unit of an ASCII text is its own UTF-8 byte. False when the text is not
    // ASCII: what was written is then wrong.
    bool asciiPadded(QStringView text, qsizetype paddedTo)
    {
        char *out = grow(paddedTo);
        zeroLastWord(out, paddedTo);
        const char16_t *in = text.utf16();
        const qsizetype size = text.size();
        quint64 all = 0;
        qsizetype i = 0;
        if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN) {
            // Four units at a time: their low bytes packed into four bytes.
            for (; i + 4 <= size; i += 4) {
                quint64 units;
                std::memcpy(&units, in + i, sizeof units);
                all |= units;
                const quint32 bytes = quint32((units & 0xff) | ((units >> 8) & 0xff00) | ((units >> 16) & 0xff0000)
                                              | ((units >> 24) & 0xff000000));
                std::memcpy(out + i, &bytes, sizeof bytes);
            }
        }
        for (; i < size; ++i) {
            all |= in[i];
            out[i] = char(in[i]);
        }
        return (all & 0xff80ff80ff80ff80) == 0;
    }

    // The padding after `size` bytes lies in the last 4 of `paddedTo` (a multiple of 4, at
    // most 4 more): zeroed first in one store, then the bytes are written over them.
    static void zeroLastWord(char *out, qsizetype paddedTo)
    {
        if (paddedTo >= 4)
            std::memset(out + paddedTo - 4, 0, 4);
    }

    void zeroPadded(const char *data, qsizetype size, qsizetype paddedTo)
    {
        char *out = grow(paddedTo);
        zeroLastWord(out, paddedTo);
        std::memcpy(out, data, size_t(size));
    }

    QVarLengthArray<char, 256> m_buffer;
};

quint32 float32Bits(float value)
{
    quint32 bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

quint64 float64Bits(double value)
{
    quint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// QVariant's own conversions, with the common exact types read directly: the general
// conversion machinery costs more than the encoding itself.
double toDouble(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double: return *static_cast<const double *>(value.constData());
    case QMetaType::Int: return *static_cast<const int *>(value.constData());
    default: return value.toDouble();
    }
}

qint64 toLongLong(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int: return *static_cast<const int *>(value.constData());
    case QMetaType::LongLong: return *static_cast<const qint64 *>(value.constData());
    default: return value.toLongLong();
    }
}

// A view of the variant's text: of the variant itself when it holds a QString, else of
// its conversion, kept in `converted`.
QStringView toText(const QVariant &value, QString &converted)
{
    if (value.typeId() == QMetaType::QString)
        return *static_cast<const QString *>(value.constData());
    converted = value.toString();
    return converted;
}

QByteArray singleArgumentMessage(const QString &address, char tag, quint32 bits)
{
    Writer writer;
    writer.oscString(address);
    writer.int32((quint32(',') << 24) | (quint32(quint8(tag)) << 16));
    writer.int32(bits);
    return writer.bytes();
}

} // namespace

QByteArray buildOscChannelMessage(int universe, int channel, int value)
{
    // "/osc/channel" + 4 NULs, ",iii" + 4 NULs, then the three int32.
    static const char head[] = "/osc/channel\0\0\0\0,iii\0\0\0\0";
    QByteArray out(36, Qt::Uninitialized);
    char *data = out.data();
    std::memcpy(data, head, 24);
    qToBigEndian(qint32(universe), data + 24);
    qToBigEndian(qint32(channel), data + 28);
    qToBigEndian(qint32(value), data + 32);
    return out;
}

QByteArray buildInt32Message(const QString &address, qint32 value)
{
    return singleArgumentMessage(address, 'i', quint32(value));
}

QByteArray buildFloat32Message(const QString &address, float value)
{
    return singleArgumentMessage(address, 'f', float32Bits(value));
}

QByteArray buildTypedOscMessage(const QString &address, const QString &typeTags,
                                const QVariantList &values, QString *error)
{
    Writer writer;
    writer.oscString(address);
    writer.typeTagString(typeTags);
    qsizetype cursor = 0;
    QString converted;
    for (const QChar tagChar : typeTags) {
        // A character outside Latin-1 becomes 0, which no tag matches.
        const char tag = tagChar.unicode() <= 0xff ? char(tagChar.unicode()) : '\0';
        if (tag == 'T' || tag == 'F' || tag == 'N' || tag == 'I')
            continue;
        const bool known = tag == 'i' || tag == 'h' || tag == 'f' || tag == 'd' || tag == 's' || tag == 'b';
        if (!known || cursor >= values.size()) {
            if (error) {
                *error = (known ? QStringLiteral("missing value for type tag '%1'")
                                : QStringLiteral("unsupported type tag '%1'"))
                                 .arg(tagChar);
            }
            return QByteArray();
        }
        const QVariant &value = values.at(cursor++);
        switch (tag) {
        case 'i': writer.int32(quint32(toLongLong(value))); break;
        case 'h': writer.int64(quint64(toLongLong(value))); break;
        case 'f': writer.int32(float32Bits(float(toDouble(value)))); break;
        case 'd': writer.int64(float64Bits(toDouble(value))); break;
        case 's': writer.oscString(toText(value, converted)); break;
        case 'b': writer.blob(toText(value, converted)); break;
        }
    }
    return writer.bytes();
}

QByteArray wrapInBundle(const QByteArray &message)
{
    // "#bundle" and its NUL, the time tag 1 ("immediately"), the element's size.
    static const char head[] = "#bundle\0\0\0\0\0\0\0\0\1";
    QByteArray out(20 + message.size(), Qt::Uninitialized);
    char *data = out.data();
    std::memcpy(data, head, 16);
    qToBigEndian(qint32(message.size()), data + 16);
    std::memcpy(data + 20, message.constData(), size_t(message.size()));
    return out;
}

} // namespace Osc
