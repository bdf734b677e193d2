#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <vector>

// Decoding any OSC 1.0 packet, messages and bundles, for the monitor and its inspector:
// pure functions, no state. Decoding records offsets and sizes only; texts and values are
// read from the packet's bytes when asked for.
namespace Osc {

// Seconds since 1900-01-01 in the high 32 bits, a binary fraction of a second in the low
// 32 bits. The value 1 means "immediately".
using OscTimeTag = quint64;
constexpr OscTimeTag kOscImmediately = 1;

// A packet that is a bundle has depth 1; a bundle inside it depth 2, and so on.
constexpr int kOscMaxBundleDepth = 8;

// One run of bytes with one meaning: a line of the inspector's annotated hex. The fields
// of a decoded packet tile it in byte order, each starting where the one before ends.
struct OscField
{
    enum class Kind : quint8 {
        BundleHeader, // "#bundle" and its NUL
        TimeTag,      // the bundle's time tag
        ElementSize,  // int32 byte count of the bundle element that follows
        Address,      // the message's address, without its terminator
        TypeTags,     // ',' and the type tags, without the terminator
        Padding,      // the terminator and padding after the address or the type tags
        Argument,     // one argument with its padding (T F N I: no bytes); `tag` is its type
    };

    qint32 offset = 0; // from the start of the packet
    qint32 size = 0;
    Kind kind = Kind::Address;
    char tag = 0;     // Argument only
    quint8 depth = 0; // bundles around the field; a bundle's own header, time tag and element
                      // sizes count the bundles around that bundle
};

// One message, wherever it sits. Its arguments are the Argument fields
// fields[firstArgument] to fields[firstArgument + argumentCount - 1], one per type tag.
struct OscDecodedMessage
{
    qint32 offset = 0;      // of the address: the message's first byte
    qint32 size = 0;
    qint32 addressSize = 0; // UTF-8 bytes, terminator excluded
    qint32 typeTagsOffset = 0; // of the first tag, after the ','
    qint32 firstArgument = 0;
    qint32 argumentCount = 0;
    bool inBundle = false;
    OscTimeTag bundleTimeTag = kOscImmediately; // the innermost bundle's; 1 outside bundles
};

struct OscDecodeError
{
    QString reason;    // English, e.g. "unknown type tag 'x'"
    qint32 offset = 0; // where decoding stopped: the field, or the padding byte, at fault
};

class OscDecoder;

// A list that only the decoder writes. Its storage never shrinks: one OscPacket reused for
// many datagrams decodes without allocating once it has seen the largest.
template<typename T>
class OscDecodedList
{
public:
    qsizetype size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    const T &operator[](qsizetype index) const { return m_storage[size_t(index)]; }
    const T *begin() const { return m_storage.data(); }
    const T *end() const { return m_storage.data() + m_size; }

private:
    friend class OscDecoder;

    // Room for `count` more elements after the last, left as they are until written.
    T *room(qsizetype count)
    {
        if (Q_UNLIKELY(m_size + count > m_capacity)) {
            m_storage.resize(size_t(qMax(m_size + count, 2 * m_capacity)));
            m_capacity = qsizetype(m_storage.size());
        }
        return m_storage.data() + m_size;
    }

    std::vector<T> m_storage;
    qsizetype m_capacity = 0; // m_storage.size(), kept: that one divides by sizeof(T)
    qsizetype m_size = 0;
};

// A decoded packet. It refers to the datagram's bytes without copying or sharing them:
// the datagram must stay alive and unchanged while the packet is read.
struct OscPacket
{
    QByteArrayView data;
    bool isBundle = false;
    OscDecodedList<OscDecodedMessage> messages; // in byte order, bundles flattened
    OscDecodedList<OscField> fields;            // in byte order

    QByteArrayView bytes(const OscField &field) const
    {
        return QByteArrayView(data.data() + field.offset, field.size);
    }
    QByteArrayView addressBytes(const OscDecodedMessage &message) const
    {
        return QByteArrayView(data.data() + message.offset, message.addressSize);
    }
    QString address(const OscDecodedMessage &message) const { return QString::fromUtf8(addressBytes(message)); }
    QLatin1String typeTags(const OscDecodedMessage &message) const // without the ','
    {
        return QLatin1String(data.data() + message.typeTagsOffset, message.argumentCount);
    }
    const OscField &argument(const OscDecodedMessage &message, int index) const
    {
        return fields[message.firstArgument + index];
    }

    // i: int, h: qlonglong, f: float, d: double, s S: QString, b: QByteArray, T F: bool,
    // N: std::nullptr_t, I: an invalid QVariant, c: char32_t, r: quint32 (0xrrggbbaa),
    // m: QByteArray of its 4 bytes, t: OscTimeTag.
    QVariant value(const OscField &argument) const;
};

// Decodes one datagram: a message with the type tags i h f d s S b T F N I c r m t, or a
// bundle of such messages and bundles, at most kOscMaxBundleDepth deep. Every count, size,
// terminator and padding byte is checked against the bytes at hand; padding must be zero
// and nothing may follow a message's last argument. Returns false at the first fault and
// writes it into *error (when not null); out keeps the fields and the whole messages
// decoded before it. On success *error is untouched. `out` refers to the datagram.
bool decodeOscPacket(const QByteArray &datagram, OscPacket *out, OscDecodeError *error);
// A temporary would leave the packet pointing at freed bytes.
bool decodeOscPacket(QByteArray &&datagram, OscPacket *out, OscDecodeError *error) = delete;

} // namespace Osc
