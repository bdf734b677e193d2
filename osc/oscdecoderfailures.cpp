#include "oscdecoder_p.h"

#include "oscformat.h"

namespace Osc {

using namespace Decoding;

namespace {

constexpr OscField::Kind kHeadKinds[4] = {OscField::Kind::Address, OscField::Kind::Padding,
                                          OscField::Kind::TypeTags, OscField::Kind::Padding};

} // namespace

QString Decoding::byteCount(qint64 count)
{
    return count == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(count);
}

QString Decoding::Where::text() const
{
    return number ? QStringLiteral("argument %1").arg(number) : QStringLiteral("the %1").arg(QLatin1String(name));
}

// After a fault met past the type tags' start: an unknown tag among [from, to) is the
// fault to report instead, the type tags being read before anything after them; only
// the address's fields are kept then. False.
bool OscDecoder::unknownTagFirst(qint32 from, qint32 to, qsizetype headAt)
{
    for (qint32 i = from; i < to; ++i) {
        if (kTagSizes.of[uchar(m_data[i])] == kUnknownTag) {
            m_out.fields.m_size = headAt + 2;
            return failWithChar(i, "unknown type tag '%1'", m_data[i]);
        }
    }
    return false;
}

// The fields of a message's head complete before a fault: each runs from one of
// `bounds` to the next. False.
bool OscDecoder::keepHead(std::initializer_list<qint32> bounds, quint8 depth)
{
    const qint32 *at = bounds.begin();
    for (int k = 0; at + 1 != bounds.end(); ++k, ++at)
        add(kHeadKinds[k], at[0], at[1] - at[0], depth);
    return false;
}

qint32 OscDecoder::paddingCut(qint32 nul, qint32 to, qint32 end, const Where &where)
{
    return failed(nul, QStringLiteral("padding after %1 needs %2, %3 left")
                               .arg(where.text(), byteCount(to - nul), byteCount(end - nul)));
}

bool OscDecoder::nonZero(qint32 from, const Where &where)
{
    while (m_data[from] == 0)
        ++from;
    return fail(from, QStringLiteral("non-zero padding byte after %1").arg(where.text()));
}

qint32 OscDecoder::truncated(char tag, qint32 number, qint32 at, qint32 end, qint64 needed)
{
    return failed(at, QStringLiteral("argument %1 ('%2') needs %3, %4 left")
                              .arg(number)
                              .arg(QLatin1Char(tag))
                              .arg(byteCount(needed), byteCount(end - at)));
}

bool OscDecoder::fail(qint32 offset, const QString &reason) noexcept
{
    if (m_error) {
        m_error->reason = reason;
        m_error->offset = offset;
    }
    return false;
}

// The reasons built here, out of the decoding path: a fixed text, one with a byte count
// ("1 byte", "12 bytes"), or one with a character, escaped.
bool OscDecoder::fail(qint32 offset, const char *reason)
{
    return fail(offset, QString::fromLatin1(reason));
}

bool OscDecoder::failWithCount(qint32 offset, const char *reason, qint64 count)
{
    return fail(offset, QString::fromLatin1(reason).arg(byteCount(count)));
}

bool OscDecoder::failWithChar(qint32 offset, const char *reason, char c)
{
    return fail(offset, QString::fromLatin1(reason).arg(escapeOscText(QByteArrayView(&c, 1))));
}

// fail() for the readers that return a size or an offset: -1.
qint32 OscDecoder::failed(qint32 offset, const QString &reason) noexcept
{
    fail(offset, reason);
    return -1;
}

} // namespace Osc
