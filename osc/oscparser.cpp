#include "oscparser.h"

#include "oscwire.h"

#include <QByteArrayView>
#include <QtEndian>

#include <cstring>
#include <utility>

namespace Osc {

namespace {

// The readers' failure texts, quoted by the parse errors after their own prefix.
constexpr char kStringOffsetOutOfRange[] = "offset out of range while reading string";
constexpr char kUnterminatedString[] = "unterminated OSC string";
constexpr char kNoInt32[] = "not enough data for int32";
constexpr char kNoBlob[] = "not enough data for blob";

// Fields are padded to a multiple of 4 from the start of the datagram; the skip stops at
// its end, and the padding bytes are not checked.
qsizetype skipPadding(qsizetype offset, qsizetype size)
{
    return qMin(paddedSize(offset), size);
}

// OSC-string: the bytes up to the first NUL, then padding. On failure offset is unchanged.
bool readOscString(const QByteArray &data, qsizetype &offset, QByteArrayView &out, const char *&error)
{
    if (offset < 0 || offset >= data.size()) {
        error = kStringOffsetOutOfRange;
        return false;
    }
    const char *start = data.constData() + offset;
    const auto *nul = static_cast<const char *>(std::memchr(start, '\0', size_t(data.size() - offset)));
    if (!nul) {
        error = kUnterminatedString;
        return false;
    }
    out = QByteArrayView(start, nul - start);
    offset = skipPadding(nul + 1 - data.constData(), data.size());
    return true;
}

// int32: big-endian two's complement. On failure offset is unchanged.
bool readOscInt32(const QByteArray &data, qsizetype &offset, qint32 &out, const char *&error)
{
    if (offset < 0 || offset > data.size() - 4) {
        error = kNoInt32;
        return false;
    }
    out = qFromBigEndian<qint32>(data.constData() + offset);
    offset += 4;
    return true;
}

// Blob: int32 byte count, the bytes, then padding. A missing count, a negative one or one
// that runs past the datagram are all "not enough data". On failure offset is unchanged.
bool readOscBlob(const QByteArray &data, qsizetype &offset, QByteArrayView &out, const char *&error)
{
    const qsizetype size = data.size();
    if (offset < 0 || offset > size - 4) {
        error = kNoBlob;
        return false;
    }
    const qint32 count = qFromBigEndian<qint32>(data.constData() + offset);
    if (count < 0 || count > size - offset - 4) {
        error = kNoBlob;
        return false;
    }
    out = QByteArrayView(data.constData() + offset + 4, count);
    offset = skipPadding(offset + 4 + count, size);
    return true;
}

template<qsizetype N>
bool matches(QByteArrayView bytes, const char (&text)[N])
{
    return bytes.size() == N - 1 && std::memcmp(bytes.data(), text, N - 1) == 0;
}

ParsedDatagram failure(QString error)
{
    ParsedDatagram result;
    result.kind = ParsedDatagram::Kind::Error;
    result.error = std::move(error);
    return result;
}

ParsedDatagram invalidUniverse(qint32 universe)
{
    return failure(QStringLiteral("Invalid OSC universe %1 (must be >= 0)").arg(universe));
}

ParsedDatagram readChannelArguments(const QByteArray &datagram, qsizetype offset, QByteArrayView typeTags)
{
    if (!matches(typeTags, ",iii")) {
        return failure(QStringLiteral("Unsupported OSC type tags for /osc/channel: '%1' (expected ',iii')")
                               .arg(QString::fromUtf8(typeTags)));
    }
    qint32 universe = 0;
    qint32 channel = 0;
    qint32 value = 0;
    const char *readError = nullptr;
    if (!readOscInt32(datagram, offset, universe, readError) || !readOscInt32(datagram, offset, channel, readError)
        || !readOscInt32(datagram, offset, value, readError)) {
        return failure(QStringLiteral("OSC parse error (/osc/channel args): %1").arg(QLatin1String(readError)));
    }
    // The channel is checked before the universe.
    if (!isValidChannel(channel))
        return failure(QStringLiteral("Invalid OSC channel %1 (must be 1-%2)").arg(channel).arg(kChannelCount));
    if (!isValidUniverse(universe))
        return invalidUniverse(universe);

    ParsedDatagram result;
    result.kind = ParsedDatagram::Kind::Channel;
    result.universe = universe;
    result.channel = channel;
    result.value = static_cast<quint8>(qBound(0, value, 255));
    return result;
}

ParsedDatagram readUniverseArguments(const QByteArray &datagram, qsizetype offset, QByteArrayView typeTags)
{
    if (!matches(typeTags, ",ib")) {
        return failure(QStringLiteral("Unsupported OSC type tags for /osc/universe: '%1' (expected ',ib')")
                               .arg(QString::fromUtf8(typeTags)));
    }
    qint32 universe = 0;
    QByteArrayView values;
    const char *readError = nullptr;
    if (!readOscInt32(datagram, offset, universe, readError) || !readOscBlob(datagram, offset, values, readError))
        return failure(QStringLiteral("OSC parse error (/osc/universe args): %1").arg(QLatin1String(readError)));
    if (!isValidUniverse(universe))
        return invalidUniverse(universe);

    ParsedDatagram result;
    result.kind = ParsedDatagram::Kind::Universe;
    result.universe = universe;
    result.data = values.toByteArray();
    return result;
}

} // namespace

ParsedDatagram parseDatagram(const QByteArray &datagram)
{
    if (datagram.isEmpty())
        return {};
    // Only the seven letters are compared: "#bundle" followed by any byte is a bundle.
    if (datagram.size() >= 7 && std::memcmp(datagram.constData(), "#bundle", 7) == 0)
        return failure(QStringLiteral("OSC bundles are not supported yet; expected a single OSC message."));

    qsizetype offset = 0;
    QByteArrayView address;
    QByteArrayView typeTags;
    const char *readError = nullptr;
    if (!readOscString(datagram, offset, address, readError))
        return failure(QStringLiteral("OSC parse error (address): %1").arg(QLatin1String(readError)));
    if (!readOscString(datagram, offset, typeTags, readError))
        return failure(QStringLiteral("OSC parse error (type tags): %1").arg(QLatin1String(readError)));
    if (!typeTags.startsWith(',')) {
        return failure(QStringLiteral("OSC type tag string must start with ','. Got: '%1'")
                               .arg(QString::fromUtf8(typeTags)));
    }

    if (matches(address, "/osc/channel"))
        return readChannelArguments(datagram, offset, typeTags);
    if (matches(address, "/osc/universe"))
        return readUniverseArguments(datagram, offset, typeTags);
    return failure(QStringLiteral("Unsupported OSC address: '%1'").arg(QString::fromUtf8(address)));
}

} // namespace Osc
