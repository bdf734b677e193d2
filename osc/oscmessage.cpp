#include "oscmessage.h"

#include <QVarLengthArray>
#include <QtEndian>

#include <cstring>

namespace Osc {

namespace {

// n bytes of text, one NUL, then NULs up to a multiple of 4.
constexpr qsizetype oscStringSize(qsizetype n)
{
    return (n + 4) & ~qsizetype(3);
}

// n bytes, then NULs up to a multiple of 4 (a blob's data: no terminator).
constexpr qsizetype paddedSize(qsizetype n)
{
    return (n + 3) & ~qsizetype(3);
}

bool isAscii(QStringView text)
{
    for (const QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

// A text's UTF-8 bytes; an all-ASCII text is copied char by char, without a temporary.
class Utf8Text
{
public:
    Utf8Text() = default;
    explicit Utf8Text(QStringView text)
        : m_text(text)
        , m_ascii(isAscii(text))
    {
        if (!m_ascii)
            m_utf8 = text.toUtf8();
    }

    qsizetype size() const { return m_ascii ? m_text.size() : m_utf8.size(); }

    char *copyTo(char *out) const
    {
        if (!m_ascii) {
            std::memcpy(out, m_utf8.constData(), size_t(m_utf8.size()));
            return out + m_utf8.size();
        }
        for (const QChar c : m_text)
            *out++ = char(c.unicode());
        return out;
    }

private:
    QStringView m_text;
    QByteArray m_utf8;
    bool m_ascii = true;
};

// Writes into a buffer already sized for everything it will hold.
class Writer
{
public:
    explicit Writer(char *out) : m_out(out) {}

    void int32(quint32 value) { qToBigEndian(value, m_out); m_out += 4; }
    void int64(quint64 value) { qToBigEndian(value, m_out); m_out += 8; }

    void oscString(const Utf8Text &text) { zeros(text.copyTo(m_out), oscStringSize(text.size()) - text.size()); }

    void blob(const Utf8Text &bytes)
    {
        int32(quint32(bytes.size()));
        zeros(bytes.copyTo(m_out), paddedSize(bytes.size()) - bytes.size());
    }

    // The type tag string: ',' then the tags as Latin-1 (outside it: '?', which no tag is).
    void typeTagString(QStringView tags)
    {
        *m_out++ = ',';
        for (const QChar c : tags)
            *m_out++ = c.unicode() <= 0xff ? char(c.unicode()) : '?';
        zeros(m_out, oscStringSize(tags.size() + 1) - tags.size() - 1);
    }

private:
    void zeros(char *at, qsizetype count)
    {
        std::memset(at, 0, size_t(count));
        m_out = at + count;
    }

    char *m_out;
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
// its conversion, kept in `converted` (reserved beforehand, so views into it stay valid).
QStringView toText(const QVariant &value, QStringList &converted, qsizetype capacity)
{
    if (value.typeId() == QMetaType::QString)
        return *static_cast<const QString *>(value.constData());
    if (converted.isEmpty())
        converted.reserve(capacity);
    converted.append(value.toString());
    return converted.last();
}

QByteArray singleArgumentMessage(const QString &address, char tag, quint32 bits)
{
    const Utf8Text text(address);
    QByteArray out(oscStringSize(text.size()) + 8, Qt::Uninitialized);
    Writer writer(out.data());
    writer.oscString(text);
    writer.int32((quint32(',') << 24) | (quint32(quint8(tag)) << 16));
    writer.int32(bits);
    return out;
}

} // namespace

void appendOscString(QByteArray &out, const QByteArray &text)
{
    out.append(text);
    out.append('\0');
    while (out.size() % 4 != 0)
        out.append('\0');
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
    // First pass: check every tag, pair it with its value and count the bytes.
    const Utf8Text addressText(address);
    qsizetype size = oscStringSize(addressText.size()) + oscStringSize(typeTags.size() + 1);
    QVarLengthArray<Utf8Text, 4> texts;
    QStringList converted;
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
        case 'i': case 'f': size += 4; break;
        case 'h': case 'd': size += 8; break;
        case 's':
            texts.append(Utf8Text(toText(value, converted, typeTags.size())));
            size += oscStringSize(texts.last().size());
            break;
        case 'b':
            texts.append(Utf8Text(toText(value, converted, typeTags.size())));
            size += 4 + paddedSize(texts.last().size());
            break;
        }
    }

    // Second pass: write.
    QByteArray out(size, Qt::Uninitialized);
    Writer writer(out.data());
    writer.oscString(addressText);
    writer.typeTagString(typeTags);
    cursor = 0;
    int textIndex = 0;
    for (const QChar tagChar : typeTags) {
        switch (tagChar.unicode()) {
        case 'i': writer.int32(quint32(toLongLong(values.at(cursor++)))); break;
        case 'h': writer.int64(quint64(toLongLong(values.at(cursor++)))); break;
        case 'f': writer.int32(float32Bits(float(toDouble(values.at(cursor++))))); break;
        case 'd': writer.int64(float64Bits(toDouble(values.at(cursor++)))); break;
        case 's': ++cursor; writer.oscString(texts.at(textIndex++)); break;
        case 'b': ++cursor; writer.blob(texts.at(textIndex++)); break;
        default: break;
        }
    }
    return out;
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

QString hexDigits(const QByteArray &data, int maxDigits)
{
    static const char digits[] = "0123456789abcdef";
    const qsizetype count = qMin(data.size() * 2, qsizetype(qMax(maxDigits, 0)));
    QString hex(count, Qt::Uninitialized);
    QChar *out = hex.data();
    for (qsizetype i = 0; i < count; ++i) {
        const quint8 byte = quint8(data.at(i / 2));
        out[i] = QLatin1Char(digits[(i % 2 == 0) ? byte >> 4 : byte & 0xf]);
    }
    return hex;
}

} // namespace Osc
