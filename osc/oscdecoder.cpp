#include "oscdecoder_p.h"

#include "oscwire.h"

#include <QtAlgorithms>
#include <QtEndian>

#include <cstring>

namespace Osc {

using namespace Decoding;

namespace {

constexpr char kBundleHeader[8] = {'#', 'b', 'u', 'n', 'd', 'l', 'e', '\0'};

} // namespace

inline bool OscDecoder::packet(qsizetype datagramSize)
{
    // Offsets are 32-bit; a UDP datagram is at most 64 KiB.
    if (datagramSize > (qsizetype(1) << 30))
        return fail(0, QStringLiteral("packet of %1 bytes is too large").arg(datagramSize));
    const auto size = qint32(datagramSize);
    if (size == 0)
        return fail(0, QStringLiteral("empty datagram"));
    m_out.isBundle = isBundle(0, size);
    return m_out.isBundle ? bundle(0, size, 1) : message(0, size, 0, kOscImmediately);
}

inline bool OscDecoder::isBundle(qint32 begin, qint32 end) const
{
    return end - begin >= 8 && std::memcmp(m_data + begin, kBundleHeader, 8) == 0;
}

// "#bundle", the time tag, then elements: an int32 size and that many bytes each.
// `depth` counts this bundle and those around it.
inline bool OscDecoder::bundle(qint32 begin, qint32 end, int depth)
{
    if (depth > kOscMaxBundleDepth)
        return fail(begin, QStringLiteral("bundles nested deeper than %1 levels").arg(kOscMaxBundleDepth));
    const auto fieldDepth = quint8(depth - 1);
    add(OscField::Kind::BundleHeader, begin, 8, fieldDepth);
    qint32 at = begin + 8;
    if (end - at < 8)
        return fail(at, QStringLiteral("bundle time tag needs 8 bytes, %1 left").arg(byteCount(end - at)));
    const OscTimeTag timeTag = qFromBigEndian<quint64>(m_data + at);
    add(OscField::Kind::TimeTag, at, 8, fieldDepth);
    at += 8;
    while (at < end) {
        const qint32 left = end - at - 4;
        if (left < 0) {
            return fail(at, QStringLiteral("bundle element size needs 4 bytes, %1 left")
                                    .arg(byteCount(end - at)));
        }
        // Read unsigned: a size of 2^31 or more is too large, never negative.
        const quint32 size = qFromBigEndian<quint32>(m_data + at);
        if (size > quint32(left)) {
            return fail(at, QStringLiteral("bundle element size %1 exceeds the %2 left")
                                    .arg(size)
                                    .arg(byteCount(left)));
        }
        if (size == 0)
            return fail(at, QStringLiteral("empty bundle element"));
        add(OscField::Kind::ElementSize, at, 4, fieldDepth);
        const qint32 elementBegin = at + 4;
        const qint32 elementEnd = elementBegin + qint32(size);
        const bool ok = isBundle(elementBegin, elementEnd) ? bundle(elementBegin, elementEnd, depth + 1)
                                                           : message(elementBegin, elementEnd, depth, timeTag);
        if (!ok)
            return false;
        at = elementEnd;
    }
    return true;
}

// Address, type tags, arguments, and nothing after them; `depth` bundles around it.
inline bool OscDecoder::message(qint32 begin, qint32 end, int depth, OscTimeTag timeTag)
{
    const char *data = m_data;
    const auto fieldDepth = quint8(depth);
    auto &fields = m_out.fields;
    const qsizetype headAt = fields.m_size;
    // The message's head: the address, its padding, the type tags and their padding.
    // Their fields are written once the arguments' count is known; on a fault, those
    // complete before it (keepHead).
    const qint32 addressEnd = findNul(begin, end);
    if (Q_UNLIKELY(addressEnd < 0))
        return fail(begin, "unterminated address");
    const qint32 tagsAt = padding(begin, addressEnd, end, Where{"address"});
    if (Q_UNLIKELY(tagsAt < 0))
        return keepHead({begin, addressEnd}, fieldDepth);

    if (Q_UNLIKELY(tagsAt == end)) {
        keepHead({begin, addressEnd, tagsAt}, fieldDepth);
        return fail(tagsAt, "missing type tag string");
    }
    if (Q_UNLIKELY(data[tagsAt] != ',')) {
        keepHead({begin, addressEnd, tagsAt}, fieldDepth);
        return failWithChar(tagsAt, "type tag string starts with '%1' instead of ','", data[tagsAt]);
    }
    const qint32 tagsBegin = tagsAt + 1;
    const qint32 tagsEnd = findNul(tagsAt, end);
    if (Q_UNLIKELY(tagsEnd < 0)) {
        keepHead({begin, addressEnd, tagsAt}, fieldDepth);
        fail(tagsAt, "unterminated type tag string");
        return unknownTagFirst(tagsBegin, end, headAt);
    }
    const qint32 argumentsAt = padding(tagsAt, tagsEnd, end, Where{"type tag string"});
    if (Q_UNLIKELY(argumentsAt < 0)) {
        keepHead({begin, addressEnd, tagsAt, tagsEnd}, fieldDepth);
        return unknownTagFirst(tagsBegin, tagsEnd, headAt);
    }

    const qint32 tagCount = tagsEnd - tagsBegin;
    OscField *field = fields.room(4 + tagCount);
    set(field[0], OscField::Kind::Address, begin, addressEnd - begin, fieldDepth);
    set(field[1], OscField::Kind::Padding, addressEnd, tagsAt - addressEnd, fieldDepth);
    set(field[2], OscField::Kind::TypeTags, tagsAt, tagsEnd - tagsAt, fieldDepth);
    set(field[3], OscField::Kind::Padding, tagsEnd, argumentsAt - tagsEnd, fieldDepth);
    field += 4;
    qint32 at = argumentsAt;
    for (qint32 i = 0; i < tagCount; ++i) {
        const char tag = data[tagsBegin + i];
        qint32 size = kTagSizes.of[uchar(tag)];
        if (size < 0)
            size = sizeFromContent(tag, i + 1, at, end);
        else if (Q_UNLIKELY(size > end - at))
            size = truncated(tag, i + 1, at, end, size);
        if (Q_UNLIKELY(size < 0)) {
            fields.m_size = headAt + 4 + i;
            return unknownTagFirst(tagsBegin, tagsEnd, headAt);
        }
        set(*field++, OscField::Kind::Argument, at, size, fieldDepth, tag);
        at += size;
    }
    fields.m_size = headAt + 4 + tagCount;
    if (Q_UNLIKELY(at != end))
        return failWithCount(at, "%1 after the end of the message", end - at);

    OscDecodedMessage &decoded = *m_out.messages.room(1);
    ++m_out.messages.m_size;
    decoded.offset = begin;
    decoded.size = end - begin;
    decoded.addressSize = addressEnd - begin;
    decoded.typeTagsOffset = tagsBegin;
    decoded.firstArgument = qint32(headAt + 4);
    decoded.argumentCount = tagCount;
    decoded.inBundle = depth > 0;
    decoded.bundleTimeTag = timeTag;
    return true;
}

// The first NUL in [at, end), or -1. Eight bytes at a time while eight are left.
inline qint32 OscDecoder::findNul(qint32 at, qint32 end) const
{
    for (; end - at >= 8; at += 8) {
        const auto word = qFromLittleEndian<quint64>(m_data + at);
        // Its lowest set bit marks the first zero byte (higher ones may be false).
        const quint64 zeros = (word - 0x0101010101010101u) & ~word & 0x8080808080808080u;
        if (zeros)
            return at + qint32(qCountTrailingZeroBits(zeros) / 8);
    }
    for (; at < end; ++at) {
        if (m_data[at] == '\0')
            return at;
    }
    return -1;
}

// Where the padding after a text begun at `begin` ends: its NUL at `nul`, then NULs up
// to a multiple of 4. -1 when they do not fit before `end` or one is not zero.
inline qint32 OscDecoder::padding(qint32 begin, qint32 nul, qint32 end, const Where &where)
{
    const qint32 to = begin + qint32(oscStringSize(nul - begin));
    if (Q_UNLIKELY(to > end))
        return paddingCut(nul, to, end, where);
    return zeros(nul, to, where) ? to : -1;
}

// Whether the 0 to 4 bytes [from, to) are zero, with one read of the word that ends at
// `to`, which must belong to the field.
inline bool OscDecoder::zeros(qint32 from, qint32 to, const Where &where)
{
    if (from == to)
        return true;
    const quint32 word = qFromBigEndian<quint32>(m_data + to - 4);
    return Q_LIKELY((word << (8 * (from - (to - 4)))) == 0) || nonZero(from, where);
}

// The bytes of a string or blob argument (number `number`, from 1) at `at`, padding
// included; -1 on a fault.
inline qint32 OscDecoder::sizeFromContent(char tag, qint32 number, qint32 at, qint32 end)
{
    const Where where{nullptr, number};
    if (Q_UNLIKELY(kTagSizes.of[uchar(tag)] == kUnknownTag))
        return -1; // reported by unknownTagFirst
    if (tag != 'b') {
        const qint32 nul = findNul(at, end);
        if (Q_UNLIKELY(nul < 0))
            return failed(at, QStringLiteral("unterminated string in argument %1").arg(number));
        const qint32 to = padding(at, nul, end, where);
        return Q_LIKELY(to >= 0) ? to - at : -1;
    }
    if (Q_UNLIKELY(end - at < 4))
        return truncated(tag, number, at, end, 4);
    // Read unsigned: a count of 2^31 or more is too large, never negative.
    const quint32 count = qFromBigEndian<quint32>(m_data + at);
    if (Q_UNLIKELY(count > quint32(end - at - 4))) {
        return failed(at, QStringLiteral("blob size %1 in argument %2 exceeds the %3 left")
                                  .arg(count)
                                  .arg(number)
                                  .arg(byteCount(end - at - 4)));
    }
    const auto size = qint32(4 + paddedSize(count));
    if (Q_UNLIKELY(size > end - at))
        return truncated(tag, number, at, end, size);
    return zeros(at + 4 + qint32(count), at + size, where) ? size : -1;
}

QVariant OscPacket::value(const OscField &argument) const
{
    const char *at = data.data() + argument.offset;
    switch (argument.tag) {
    case 'i': return qFromBigEndian<qint32>(at);
    case 'h': return qlonglong(qFromBigEndian<qint64>(at));
    case 'f': {
        const quint32 bits = qFromBigEndian<quint32>(at);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    case 'd': {
        const quint64 bits = qFromBigEndian<quint64>(at);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    case 's': case 'S': return QString::fromUtf8(at, qstrnlen(at, size_t(argument.size)));
    case 'b': return QByteArray(at + 4, qFromBigEndian<qint32>(at));
    case 'T': return true;
    case 'F': return false;
    case 'N': return QVariant::fromValue(nullptr);
    case 'c': return QVariant::fromValue(char32_t(qFromBigEndian<quint32>(at)));
    case 'r': return qFromBigEndian<quint32>(at);
    case 'm': return QByteArray(at, 4);
    case 't': return qFromBigEndian<quint64>(at);
    default: return QVariant();
    }
}

bool decodeOscPacket(const QByteArray &datagram, OscPacket *out, OscDecodeError *error)
{
    return OscDecoder(datagram, *out, error).packet(datagram.size());
}

} // namespace Osc
